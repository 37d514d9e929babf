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
        visible: root.panel.hasEmail
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
            text: root.panel.settingsTitle
            symbol: "gearshape"
            onClicked: root.panel.openSettings()
        }
        QuietButton {
            text: root.panel.quitTitle
            symbol: "power"
            tip: root.panel.quitTip
            onClicked: root.panel.quit()
        }
    }
}
