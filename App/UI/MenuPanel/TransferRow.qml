// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// One upload, and a button that shows its file.
ButtonBase {
    id: root

    required property string transferId
    required property string name
    required property double fraction
    required property string percentText
    required property string spokenText

    implicitHeight: implicitContentHeight
    leftPadding: 0
    rightPadding: 0
    corner: 4
    // Not its text, in which an ampersand would make a shortcut.
    Accessible.name: root.spokenText
    background: Item {
        Rectangle {
            anchors.fill: parent
            anchors.margins: -4
            radius: root.corner + 4
            color: Colors.primary
            opacity: Looks.quietButton(root.hovering, root.down)
        }
    }
    contentItem: TransferContent {
        name: root.name
        percentText: root.percentText
        fraction: root.fraction
    }
}
