// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components
import Quillmount.Settings

// A question before something that cannot be undone. Cancel is the default.
Sheet {
    id: root

    required property ConfirmationModel confirmation
    readonly property real neededHeight: root.shown ? root.card.height + 48 : 0

    shown: root.confirmation.isOpen
    title: root.confirmation.title
    firstFocus: cancel
    card.width: 400
    card.height: buttons.y + buttons.height + 20

    AppIcon {
        x: 20
        y: 20
        width: 48
        height: 48
        visible: !root.confirmation.isWarning
    }
    Symbol {
        x: 22
        y: 22
        width: 44
        height: 44
        visible: root.confirmation.isWarning
        name: "exclamationmark.triangle.fill"
        color: Colors.fault
    }
    Column {
        id: texts

        x: 84
        y: 22
        width: root.card.width - x - 24
        spacing: 6

        HeadlineText {
            width: texts.width
            text: root.confirmation.title
            font.pixelSize: 15
        }
        BodyText {
            width: texts.width
            text: root.confirmation.message
            font.pixelSize: 13
            lineHeight: 1.15
        }
    }
    Row {
        id: buttons

        anchors.right: parent.right
        anchors.rightMargin: 20
        y: Math.max(texts.y + texts.height, 68) + 20
        spacing: 8

        Spinner {
            anchors.verticalCenter: parent.verticalCenter
            visible: root.confirmation.isWorking
        }
        SecondaryButton {
            id: cancel

            text: root.confirmation.cancelTitle
            visible: !root.confirmation.isWorking
            onClicked: root.confirmation.cancel()
        }
        PrimaryButton {
            text: root.confirmation.actionTitle
            visible: text !== ""
            enabled: root.confirmation.isAsking
            tint: Colors.destructive
            takesReturn: false
            onClicked: root.confirmation.confirm()
        }
    }
}
