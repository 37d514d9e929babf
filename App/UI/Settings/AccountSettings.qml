// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components
import Quillmount.Settings

Item {
    id: root

    required property AccountSettingsModel account

    implicitHeight: uninstall.y + uninstall.height + 16

    Column {
        id: content

        x: 20
        y: 20
        width: root.width - 40
        spacing: 20

        FormSection {
            width: content.width

            FormRow {
                title: "Google account"
                value: root.account.email
            }
            FormRow {
                title: "Folder in Google Drive"
                value: root.account.folder
                separated: true
            }
            FormRow {
                visible: root.account.storage !== ""
                title: "Storage"
                value: root.account.storage
                separated: true
            }
        }
        FormSection {
            width: content.width
            footer: root.account.footer

            FormRow {
                DestructiveButton {
                    text: "Disconnect Account\u2026"
                    visible: root.account.isSignedIn
                    onClicked: root.account.askToDisconnect()
                }
                PrimaryButton {
                    implicitHeight: 28
                    text: "Connect Google Drive"
                    visible: !root.account.isSignedIn
                    onClicked: root.account.connectAccount()
                }
            }
        }
    }
    LinkButton {
        id: uninstall

        anchors.right: root.right
        anchors.rightMargin: 20
        y: content.y + content.height + 20
        text: "Uninstall Quillmount\u2026"
        foreground: Colors.fault
        onClicked: root.account.askToUninstall()
    }
}
