// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// The name of an upload, and how far it is.
Item {
    id: root

    required property string name
    required property string percentText
    required property double fraction

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

        anchors.right: root.right
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
        width: root.width
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
