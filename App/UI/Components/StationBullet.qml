// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

Item {
    id: root

    property alias symbol: sign.name
    property real size: 32
    property alias ring: disc.ring
    property alias filled: disc.filled

    implicitWidth: root.size
    implicitHeight: root.size

    StationDisc {
        id: disc

        anchors.fill: parent
        fill: Colors.station
    }
    Symbol {
        id: sign

        anchors.centerIn: parent
        pixelSize: root.size * 0.42
        color: root.filled ? Colors.windowBackground : root.ring
    }
}
