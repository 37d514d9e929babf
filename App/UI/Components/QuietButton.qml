// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

ButtonBase {
    id: root

    implicitHeight: 24
    leftPadding: 8
    rightPadding: 8
    corner: 6
    font.pixelSize: 12
    font.weight: Font.Medium
    foreground: Colors.secondary
    background: Rectangle {
        radius: root.corner
        color: Colors.primary
        opacity: Looks.quietButton(root.hovering, root.down)
    }
}
