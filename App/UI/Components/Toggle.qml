// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import QtQuick.Templates as T
import Quillmount.Components

// A switch, of which `text` is what a screen reader says. `checked` follows what it is bound to: set that on `toggled`.
T.Switch {
    id: root

    property bool focusShown: root.visualFocus

    focusPolicy: Qt.TabFocus
    implicitWidth: 38
    implicitHeight: 22
    padding: 0
    opacity: Looks.control(root.enabled)
    Accessible.role: Accessible.CheckBox
    Accessible.name: root.text
    Accessible.checkable: true
    Accessible.checked: root.checked
    Accessible.onPressAction: press()
    Accessible.onToggleAction: press()

    function press(): void {
        root.toggle();
        root.toggled();
    }

    indicator: Rectangle {
        width: root.width
        height: root.height
        radius: height / 2
        color: root.checked ? Colors.action : Colors.rail

        Rectangle {
            x: root.checked ? parent.width - width - 2 : 2
            y: 2
            width: parent.height - 4
            height: width
            radius: width / 2
            color: Colors.buttonText
            border.width: 1
            border.color: Colors.knobEdge

            Behavior on x {
                enabled: !Motion.reduceMotion

                NumberAnimation {
                    duration: Motion.press
                    easing: Motion.pressCurve
                }
            }
        }
    }

    FocusRing {
        shown: root.focusShown
        corner: root.height / 2
    }
}
