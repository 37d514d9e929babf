// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import QtQuick.Templates as T
import Quillmount.Components

// One text of a Picker's list, with a mark before the one that is chosen.
T.ItemDelegate {
    id: root

    property bool chosen: false

    implicitHeight: 28
    leftPadding: 26
    hoverEnabled: true
    Accessible.role: Accessible.ListItem
    Accessible.name: root.text
    Accessible.selected: root.chosen
    contentItem: PlainText {
        text: root.text
        font.pixelSize: 13
        color: root.highlighted ? Colors.buttonText : Colors.primary
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        radius: 6
        color: Colors.action
        visible: root.highlighted

    }

    Symbol {
        x: 7
        anchors.verticalCenter: root.verticalCenter
        visible: root.chosen
        name: "checkmark"
        pixelSize: 11
        color: root.highlighted ? Colors.buttonText : Colors.primary
    }
}
