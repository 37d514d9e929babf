// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// How full something is.
Item {
    id: root

    required property string title
    required property string value
    required property string spokenText
    required property int cells
    required property double fraction
    required property color color

    implicitHeight: bar.y + bar.height
    Accessible.role: Accessible.StaticText
    Accessible.name: root.spokenText

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
        id: bar

        anchors.top: titleText.bottom
        anchors.topMargin: 8
        width: root.width
        height: 8
        cells: root.cells
        fraction: root.fraction
        color: root.color
        Accessible.ignored: true
    }
}
