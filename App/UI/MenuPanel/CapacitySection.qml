// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components
import Quillmount.MenuPanel

// How full Google Drive and the local cache are.
Column {
    id: root

    required property LiveBodyModel body

    spacing: 12

    CapacityRow {
        width: root.width
        visible: root.body.quotaText !== ""
        title: "Google Drive"
        value: root.body.quotaText
        fraction: root.body.quotaFraction
        color: Colors.route
    }
    CapacityRow {
        width: root.width
        title: "Recent files on this Mac"
        value: root.body.cacheText
        fraction: root.body.cacheFraction
        color: Colors.faint(Colors.station, 0.7)
    }
    LinkButton {
        text: "See your files on Google Drive"
        symbol: "arrow.up.forward.square"
        onClicked: root.body.openWebDrive()
    }
}
