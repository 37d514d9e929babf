// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components
import Quillmount.MenuPanel

// The account, and what is always there.
Item {
    id: root

    required property MenuPanelModel panel

    implicitHeight: 40

    ShortenedText {
        x: 16
        anchors.verticalCenter: root.verticalCenter
        width: Math.min(Math.ceil(implicitWidth), buttons.x - 12 - x)
        visible: text !== ""
        text: root.panel.email
        spoken: true
        font.pixelSize: 11
        color: Colors.secondary
    }
    Row {
        id: buttons

        anchors.right: root.right
        anchors.rightMargin: 8
        anchors.verticalCenter: root.verticalCenter
        spacing: 4

        QuietButton {
            text: "Settings"
            symbol: "gearshape"
            onClicked: root.panel.openSettings()
        }
        QuietButton {
            text: "Quit"
            symbol: "power"
            tip: "Quit Quillmount"
            onClicked: root.panel.quit()
        }
    }
}
