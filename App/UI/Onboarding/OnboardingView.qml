// SPDX-License-Identifier: LicenseRef-Quillmount
pragma ComponentBehavior: Bound

import QtQuick
import Quillmount.Components
import Quillmount.Onboarding

// The sign-in: one sentence, what went wrong, and the buttons.
Rectangle {
    id: root

    required property SignInModel model

    implicitWidth: 420
    implicitHeight: band.height + content.height + 48
    color: Colors.windowBackground

    Shortcut {
        sequence: "Escape"
        onActivated: root.model.close()
    }
    Shortcut {
        sequences: ["Return", "Enter"]
        enabled: start.visible
        autoRepeat: false
        onActivated: root.model.start()
    }
    SignageBand {
        id: band

        width: root.width
        leadingInset: 24
    }
    Column {
        id: content

        x: 24
        y: band.height + 24
        width: root.width - 48

        HeadlineText {
            width: content.width
            text: root.model.title
        }
        Item {
            width: 1
            height: 4
        }
        BodyText {
            width: content.width
            text: root.model.text
        }
        BodyText {
            width: content.width
            topPadding: 12
            visible: root.model.hasError
            text: root.model.errorText
            color: Colors.fault
        }
        Item {
            width: 1
            height: 24
        }
        Row {
            spacing: 8
            height: 32

            PrimaryButton {
                id: start

                text: root.model.startTitle
                visible: root.model.canStart
                onClicked: root.model.start()
            }
            Spinner {
                anchors.verticalCenter: parent.verticalCenter
                visible: root.model.isWorking
            }
            SecondaryButton {
                text: root.model.reopenTitle
                visible: root.model.canReopenBrowser
                onClicked: root.model.reopenBrowser()
            }
            SecondaryButton {
                text: root.model.cancelTitle
                visible: root.model.canCancel
                onClicked: root.model.cancel()
            }
        }
    }
}
