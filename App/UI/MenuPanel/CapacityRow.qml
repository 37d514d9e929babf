// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// How full something is.
Item {
    id: root

    required property string title
    required property string value
    required property double fraction
    required property color color

    implicitHeight: cells.y + cells.height
    Accessible.role: Accessible.StaticText
    Accessible.name: root.title + ": " + root.value

    PlainText {
        id: titleText

        width: root.width - valueText.width - 8
        text: root.title
        elide: Text.ElideRight
        font.weight: Font.Medium
    }
    MonospacedDigits {
        id: valueText

        anchors.right: root.right
        anchors.baseline: titleText.baseline
        text: root.value
        font.family: titleText.font.family
        font.pixelSize: 12
        color: Colors.secondary
    }
    CellBar {
        id: cells

        anchors.top: titleText.bottom
        anchors.topMargin: 8
        width: root.width
        height: 8
        cells: 24
        fraction: root.fraction
        color: root.color
        Accessible.ignored: true
    }
}
