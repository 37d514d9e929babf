// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

ButtonBase {
    id: root

    implicitHeight: 16
    leftPadding: 0
    rightPadding: 0
    corner: 3
    font.pixelSize: 12
    font.weight: Font.Medium
    foreground: Colors.route

    HoverHandler {
        cursorShape: Qt.PointingHandCursor
    }
}
