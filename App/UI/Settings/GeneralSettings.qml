// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components
import Quillmount.Settings

Item {
    id: root

    required property GeneralSettingsModel general

    implicitHeight: content.height + 40

    Column {
        id: content

        x: 20
        y: 20
        width: root.width - 40
        spacing: 20

        FormSection {
            width: content.width
            footer: root.general.cacheFooter

            FormRow {
                title: "Recent files on this Mac"

                Picker {
                    title: "Recent files on this Mac"
                    model: root.general.cacheSizes
                    currentIndex: root.general.cacheSizeRow
                    onActivated: index => root.general.chooseCacheSize(index)
                }
            }
        }
        FormSection {
            width: content.width
            footer: root.general.locationNote

            FormRow {
                title: "Open Quillmount when I log in"

                Toggle {
                    text: "Open Quillmount when I log in"
                    checked: root.general.opensAtLogin
                    onToggled: root.general.setOpensAtLogin(checked)
                }
            }
            FormRow {
                title: "Drive in Finder"
                separated: true

                FormButton {
                    text: "Add to Locations\u2026"
                    visible: root.general.canAddLocation
                    enabled: !root.general.isAddingLocation
                    onClicked: root.general.addLocation()
                }
                FormButton {
                    text: "Show in Finder"
                    onClicked: root.general.showDrive()
                }
            }
            FormRow {
                title: "Need help?"
                separated: true

                FormButton {
                    text: root.general.supportTitle
                    tip: "Opens your email app and copies the address"
                    onClicked: root.general.contactSupport()
                }
            }
        }
    }
}
