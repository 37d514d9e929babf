// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

FilledButton {
    id: root

    font.weight: Font.Medium
    leftPadding: 14
    rightPadding: 14
    fill: Colors.primary
    fillOpacity: Looks.secondaryButton(root.down)
}
