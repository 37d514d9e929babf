// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// A symbol, if there is one, and a title. Their middle is at a whole point.
Row {
    id: root

    property alias symbol: sign.name
    property alias text: title.text
    property alias font: title.font
    property alias color: title.color

    spacing: 5

    Symbol {
        id: sign

        anchors.verticalCenter: parent.verticalCenter
        visible: name !== ""
        pixelSize: title.font.pixelSize
        color: title.color
    }
    PlainText {
        id: title

        anchors.verticalCenter: parent.verticalCenter
    }
}
