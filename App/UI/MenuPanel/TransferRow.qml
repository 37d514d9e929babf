// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// One upload, and a button that shows its file.
ButtonBase {
    id: root

    required property string transferId
    required property string name
    required property double fraction
    required property string percentText
    required property string spokenText

    implicitHeight: implicitContentHeight
    leftPadding: 0
    rightPadding: 0
    corner: 4
    // Not its text, in which an ampersand would make a shortcut.
    Accessible.name: root.spokenText
    background: Item {
        Rectangle {
            anchors.fill: parent
            anchors.margins: -4
            radius: root.corner + 4
            color: Colors.primary
            opacity: Looks.quietButton(root.hovering, root.down)
        }
    }
    contentItem: Item {
        implicitHeight: bar.y + bar.height

        Symbol {
            id: sign

            anchors.verticalCenter: nameText.verticalCenter
            name: "doc"
            pixelSize: 11
            color: Colors.secondary
        }
        ShortenedText {
            id: nameText

            anchors.left: sign.right
            anchors.leftMargin: 6
            anchors.right: percentDigits.left
            anchors.rightMargin: 8
            text: root.name
        }
        MonospacedDigits {
            id: percentDigits

            anchors.right: parent.right
            anchors.baseline: nameText.baseline
            text: root.percentText
            font.family: nameText.font.family
            font.pixelSize: 11
            color: Colors.secondary
        }
        Rectangle {
            id: bar

            anchors.top: nameText.bottom
            anchors.topMargin: 4
            width: parent.width
            height: 3
            radius: 1.5
            color: Colors.rail

            Rectangle {
                width: bar.width * root.fraction
                height: bar.height
                radius: bar.radius
                color: Colors.transit
            }
        }
    }
}
