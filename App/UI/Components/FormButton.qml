// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// A button in a row of a form.
SecondaryButton {
    id: root

    implicitHeight: 28
    leftPadding: 12
    rightPadding: 12
    corner: 7
    opacity: Looks.control(root.enabled)
}
