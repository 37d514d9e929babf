// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// One upload. A click shows its file.
Item {
    id: root

    required property string transferId
    required property string name
    required property int percent
    required property string spokenText
    signal clicked

    implicitHeight: bar.y + bar.height
    Accessible.role: Accessible.StaticText
    Accessible.name: root.spokenText
    Accessible.onPressAction: root.clicked()

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
        anchors.right: percentText.left
        anchors.rightMargin: 8
        text: root.name
    }
    MonospacedDigits {
        id: percentText

        anchors.right: root.right
        anchors.baseline: nameText.baseline
        text: root.percent + "%"
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
            width: bar.width * root.percent / 100
            height: bar.height
            radius: bar.radius
            color: Colors.transit
        }
    }
    TapHandler {
        onTapped: root.clicked()
    }
}
