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
        visible: root.body.hasQuota
        title: root.body.quotaTitle
        value: root.body.quotaText
        spokenText: root.body.quotaSpoken
        cells: root.body.capacityCells
        fraction: root.body.quotaFraction
        color: Colors.route
    }
    CapacityRow {
        width: root.width
        title: root.body.cacheTitle
        value: root.body.cacheText
        spokenText: root.body.cacheSpoken
        cells: root.body.capacityCells
        fraction: root.body.cacheFraction
        color: Colors.stored
    }
    LinkButton {
        text: root.body.webDriveTitle
        symbol: "arrow.up.forward.square"
        onClicked: root.body.openWebDrive()
    }
}
