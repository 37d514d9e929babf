// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

RouteDiagramBase {
    id: root

    implicitWidth: 308
    implicitHeight: Math.max(left.height, right.height)
    Accessible.role: Accessible.Graphic
    Accessible.name: root.accessibilityText

    RouteTrack {
        // 2 points under each bullet, wherever in its column that is.
        x: left.bulletX + 30
        width: right.x + right.bulletX + 2 - x
        height: 32
        color: root.lineColor
        dashed: !root.connected
        movingCount: root.movingCount
        riderColor: Colors.transit
        background: Colors.windowBackground
        seconds: time.seconds
        reduceMotion: Motion.reduceMotion

        FrameTime {
            id: time

            wanted: root.movingCount > 0
        }
    }
    Station {
        id: left

        symbol: "laptopcomputer"
        ring: root.ringColor
        filled: true
        label: root.leftLabel
    }
    Station {
        id: right

        anchors.right: root.right
        symbol: "cloud.fill"
        ring: root.ringColor
        filled: root.connected
        label: root.rightLabel
    }
}
