// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

Cells {
    id: root

    rail: Colors.rail
    Accessible.role: Accessible.ProgressBar
    Accessible.description: Looks.spokenPercent(root.fraction)
}
