// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// A row of a FormSection: its title, and what is declared in it at the other end. With a `value` alone it is one element
// for a screen reader; the title of a row with controls is part of their names.
Item {
    id: root

    default property alias controls: trailing.data
    property string title
    property string value
    property bool separated: false

    width: parent ? parent.width : 0
    implicitHeight: 44
    Accessible.role: Accessible.StaticText
    Accessible.name: root.title + ": " + root.value
    Accessible.ignored: root.value === ""

    Hairline {
        visible: root.separated
        x: 12
        width: root.width - 24
    }
    PlainText {
        id: label

        x: 12
        anchors.verticalCenter: root.verticalCenter
        text: root.title
        font.pixelSize: 13
    }
    ShortenedText {
        visible: root.value !== ""
        anchors.right: root.right
        anchors.rightMargin: 12
        anchors.verticalCenter: root.verticalCenter
        width: Math.min(Math.ceil(implicitWidth), root.width - 36 - label.width)
        text: root.value
        font.pixelSize: 13
        color: Colors.secondary
    }
    Row {
        id: trailing

        anchors.right: root.right
        anchors.rightMargin: 12
        anchors.verticalCenter: root.verticalCenter
        spacing: 8
    }
}
