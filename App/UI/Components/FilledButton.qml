// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// A button with a background that is always there, and that gives way when it is pressed.
ButtonBase {
    id: root

    property color fill
    property real fillOpacity: 1

    font.pixelSize: 13
    scale: Looks.pressScale(root.down, Motion.reduceMotion)
    background: Rectangle {
        radius: root.corner
        color: root.fill
        opacity: root.fillOpacity

        Behavior on opacity {
            enabled: root.enabled

            NumberAnimation {
                duration: Motion.press
                easing: Motion.pressCurve
            }
        }
    }

    Behavior on scale {
        NumberAnimation {
            duration: Motion.press
            easing: Motion.pressCurve
        }
    }
}
