// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components
import Quillmount.Settings

// What came of the question for a new version. Its place is kept, so that the window does not jump.
Item {
    id: root

    required property AboutSettingsModel about

    implicitWidth: row.width
    implicitHeight: 28

    Row {
        id: row

        height: root.height
        spacing: 8

        Spinner {
            anchors.verticalCenter: parent.verticalCenter
            visible: root.about.isCheckingForUpdates
        }
        PlainText {
            id: answer

            anchors.verticalCenter: parent.verticalCenter
            visible: text !== ""
            text: root.about.updateText
            spoken: true
            onTextChanged: root.about.announce(answer)
            color: root.about.hasUpdate ? Colors.primary : Colors.secondary
        }
        FormButton {
            visible: root.about.hasUpdate
            text: "Open Download Page"
            onClicked: root.about.openUpdatePage()
        }
    }
}
