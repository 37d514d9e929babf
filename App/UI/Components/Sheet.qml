// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// A card in front of a window's content, which is to be disabled meanwhile. What is declared in it lies on the card; it
// takes the keys for `firstFocus` when it is shown.
FocusScope {
    id: root

    default property alias content: card.data
    property alias card: card
    property bool shown: false
    property string title
    property Item firstFocus: null

    function takeFocus(): void {
        if (root.shown && root.firstFocus)
            root.firstFocus.forceActiveFocus(Qt.TabFocusReason);
    }

    visible: root.shown
    onVisibleChanged: root.takeFocus()
    onFirstFocusChanged: root.takeFocus()

    Rectangle {
        anchors.fill: parent
        color: Colors.veil

        // What lies behind is out of reach.
        MouseArea {
            anchors.fill: parent
            hoverEnabled: true
        }
    }
    Rectangle {
        id: card

        anchors.centerIn: parent
        radius: 12
        color: Colors.windowBackground
        border.width: 1
        border.color: Colors.rail
        Accessible.role: Accessible.Dialog
        Accessible.name: root.title
    }
}
