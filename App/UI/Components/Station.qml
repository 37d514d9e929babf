// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick

// A bullet above its label, both in the middle of a column of whole points.
Item {
    id: root

    property alias symbol: bullet.symbol
    property alias ring: bullet.ring
    property alias filled: bullet.filled
    property alias label: label.text
    readonly property real bulletX: bullet.x

    implicitWidth: Math.max(bullet.width, 2 * Math.ceil(label.implicitWidth / 2))
    implicitHeight: bullet.height + 8 + Math.ceil(label.implicitHeight)

    StationBullet {
        id: bullet

        x: (root.width - width) / 2
    }
    StationLabel {
        id: label

        y: bullet.height + 8
        width: root.width
    }
}
