// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// A group of rows on a card, and what there is to say about them below it. Rows are FormRow; each but the first shows a
// line above itself.
Column {
    id: root

    default property alias content: rows.data
    property string footer

    spacing: 8

    Rectangle {
        width: root.width
        height: rows.height
        radius: 10
        color: Colors.card
        border.width: 1
        border.color: Colors.hairline

        Column {
            id: rows

            width: parent.width
        }
    }
    PlainText {
        x: 12
        width: root.width - 24
        visible: text !== ""
        text: root.footer
        spoken: true
        font.pixelSize: 11
        color: Colors.secondary
        wrapMode: Text.Wrap
        lineHeight: 1.15
    }
}
