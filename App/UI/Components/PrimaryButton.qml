// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

FilledButton {
    id: root

    property color tint: Colors.action

    font.weight: Font.DemiBold
    leftPadding: 16
    rightPadding: 16
    foreground: Colors.buttonText
    fill: root.tint
    fillOpacity: Looks.primaryButton(root.enabled, root.parent?.enabled ?? true, root.down)
}
