// SPDX-License-Identifier: LicenseRef-Quillmount
pragma ComponentBehavior: Bound
import QtQuick
import Quillmount.Components
import Quillmount.MenuPanel

// The body of a live drive.
RouteBody {
    id: root

    required property LiveBodyModel body

    implicitHeight: actions.y + actions.height + 16
    line: root.body.line
    moving: root.body.moving
    origin: root.body.origin
    destination: root.body.destination
    headline: root.body.headline
    detail: root.body.subline

    Column {
        id: transfers

        readonly property bool shown: root.body.transfers.shown

        x: 16
        y: root.textBottom + 12
        width: root.width - 32
        spacing: 8
        // What fades out is reached neither by keys nor by the pointer.
        enabled: transfers.shown
        opacity: transfers.shown ? 1 : 0
        visible: transfers.opacity > 0

        Behavior on opacity {
            StateFade {}
        }

        Repeater {
            model: root.body.transfers

            delegate: TransferRow {
                width: transfers.width
                onClicked: root.body.reveal(transferId)
            }
        }
    }
    CapacitySection {
        id: capacity

        x: 16
        y: (transfers.shown ? transfers.y + transfers.height : root.textBottom) + 24
        width: root.width - 32
        body: root.body
    }
    PrimaryButton {
        id: openDrive

        anchors.top: capacity.bottom
        anchors.topMargin: 24
        anchors.left: root.left
        anchors.leftMargin: 16
        anchors.right: actions.left
        anchors.rightMargin: 8
        text: root.body.openTitle
        symbol: "folder"
        onClicked: root.body.openDrive()
    }
    Row {
        id: actions

        anchors.top: openDrive.top
        anchors.right: root.right
        anchors.rightMargin: 16
        spacing: 8

        SecondaryButton {
            visible: root.body.offersHelp
            text: root.body.helpTitle
            onClicked: root.body.getHelp()
        }
        SecondaryButton {
            width: 64
            leftPadding: 0
            rightPadding: 0
            text: root.body.ejectTitle
            symbol: "eject"
            tip: root.body.ejectTip
            onClicked: root.body.eject()
        }
    }
    Shortcut {
        sequences: ["Return", "Enter"]
        enabled: root.enabled && root.visible
        autoRepeat: false
        onActivated: root.body.openDrive()
    }
}
