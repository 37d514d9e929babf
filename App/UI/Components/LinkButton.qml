// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

ButtonBase {
    id: root

    implicitHeight: 16
    // What is drawn of a symbol begins one point to the right of its left edge.
    leftPadding: root.symbol === "" ? 0 : -1
    rightPadding: 0
    corner: 3
    font.pixelSize: 12
    font.weight: Font.Medium
    foreground: Colors.route

    HoverHandler {
        cursorShape: Qt.PointingHandCursor
    }
}
