// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import QtQuick.Templates as T
import Quillmount.Components

// One tab of a TabStrip: a symbol above its title.
T.TabButton {
    id: root

    property string symbol
    property bool hovering: root.hovered
    property bool focusShown: root.visualFocus

    focusPolicy: root.checked ? Qt.TabFocus : Qt.NoFocus
    hoverEnabled: true
    font.family: Typeface.family
    font.pixelSize: 11
    font.weight: root.checked ? Font.DemiBold : Font.Medium
    implicitWidth: 88
    implicitHeight: 56
    Accessible.role: Accessible.PageTab
    Accessible.name: root.text
    Accessible.selectable: true
    Accessible.selected: root.checked
    Accessible.onPressAction: root.clicked()
    contentItem: Column {
        topPadding: 9
        spacing: 4

        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            name: root.symbol
            pixelSize: 18
            color: root.checked ? Colors.route : Colors.secondary
        }
        PlainText {
            anchors.horizontalCenter: parent.horizontalCenter
            text: root.text
            font: root.font
            color: root.checked ? Colors.primary : Colors.secondary
        }
    }
    background: Rectangle {
        anchors.fill: parent
        anchors.margins: 3
        radius: 8
        color: Colors.primary
        opacity: Looks.quietButton(root.hovering && !root.checked, root.down)
    }

    Rectangle {
        anchors.fill: parent
        anchors.margins: 2
        visible: root.focusShown
        radius: 9
        color: "transparent"
        border.width: 2
        border.color: Colors.route
    }
}
