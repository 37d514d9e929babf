// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components
import Quillmount.Settings

Item {
    id: root

    required property AboutSettingsModel about

    implicitHeight: Math.max(280, content.height + 48)

    Column {
        id: content

        y: 32
        width: root.width
        spacing: 16

        AppIcon {
            anchors.horizontalCenter: parent.horizontalCenter
            width: 80
            height: 80
        }
        Column {
            width: content.width
            spacing: 4

            PlainText {
                anchors.horizontalCenter: parent.horizontalCenter
                text: "Quillmount"
                spoken: true
                font.pixelSize: 18
                font.weight: Font.Bold
            }
            PlainText {
                anchors.horizontalCenter: parent.horizontalCenter
                text: root.about.version
                spoken: true
                color: Colors.secondary
            }
            PlainText {
                anchors.horizontalCenter: parent.horizontalCenter
                visible: text !== ""
                text: root.about.copyright
                spoken: true
                font.pixelSize: 11
                color: Colors.tertiary
            }
        }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 8

            FormButton {
                text: "Contact Support"
                onClicked: root.about.contactSupport()
            }
            FormButton {
                text: "Check for Updates\u2026"
                onClicked: root.about.checkForUpdates()
            }
            FormButton {
                text: "Acknowledgements"
                onClicked: root.about.showLicenses()
            }
        }
        UpdateAnswer {
            anchors.horizontalCenter: parent.horizontalCenter
            about: root.about
        }
    }
}
