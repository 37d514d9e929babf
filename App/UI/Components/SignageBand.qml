// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// The dark band at the top of a window. What is declared in it stands at its right end.
Rectangle {
    id: root

    property real leadingInset: 16
    default property alias trailing: trailingRow.data

    implicitHeight: 44
    color: Colors.band

    Symbol {
        id: logo

        x: root.leadingInset
        y: Math.round((root.height - height) / 2)
        width: 20
        height: 20
        name: "MenuBarIcon"
        color: Colors.route
    }
    PlainText {
        anchors.left: logo.right
        anchors.leftMargin: 8
        anchors.verticalCenter: logo.verticalCenter
        text: "Quillmount"
        spoken: true
        font.pixelSize: 15
        font.weight: Font.Bold
        font.letterSpacing: -0.2
        color: Colors.bandText
    }
    Row {
        id: trailingRow

        anchors.right: root.right
        anchors.rightMargin: 16
        anchors.verticalCenter: logo.verticalCenter
        spacing: 8
    }
    Rectangle {
        anchors.bottom: root.bottom
        width: root.width
        height: 1
        color: Colors.bandEdge
    }
}
