// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components
import Quillmount.Settings

Rectangle {
    id: root

    required property SettingsModel model

    implicitWidth: 420
    implicitHeight: 160
    color: Colors.windowBackground

    Shortcut {
        sequence: "Escape"
        onActivated: root.model.close()
    }
    SignageBand {
        id: band

        width: root.width
        leadingInset: 24
    }
    BodyText {
        anchors.left: root.left
        anchors.leftMargin: 24
        anchors.top: band.bottom
        anchors.topMargin: 24
        text: root.model.versionText
    }
}
