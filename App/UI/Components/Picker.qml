// SPDX-License-Identifier: LicenseRef-Quillmount
pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Quillmount.Components

// A choice of one text among several; `title` is what it chooses. Only `activated` is the user's choice.
T.ComboBox {
    id: root

    property string title
    property bool focusShown: root.visualFocus

    focusPolicy: Qt.TabFocus
    font.family: Typeface.family
    font.pixelSize: 13
    implicitWidth: 140
    implicitHeight: 28
    leftPadding: 12
    rightPadding: 30
    Accessible.role: Accessible.ComboBox
    Accessible.name: root.title + ": " + root.displayText
    Accessible.onPressAction: root.popup.open()
    contentItem: PlainText {
        text: root.displayText
        font: root.font
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    indicator: Symbol {
        x: root.width - width - 10
        anchors.verticalCenter: parent.verticalCenter
        name: "chevron.up.chevron.down"
        pixelSize: 11
        color: Colors.secondary
    }
    background: Rectangle {
        radius: 7
        color: Colors.primary
        opacity: Looks.secondaryButton(root.down)
    }
    delegate: PickerRow {
        required property int index
        required property string modelData

        width: ListView.view ? ListView.view.width : 0
        text: modelData
        chosen: index === root.currentIndex
        highlighted: index === root.highlightedIndex
    }
    popup: T.Popup {
        y: root.height + 4
        width: root.width
        implicitHeight: contentItem.implicitHeight + 8
        padding: 4
        contentItem: ListView {
            implicitHeight: contentHeight
            // Qt 6.4 does not tell its tools of the type.
            model: root.delegateModel // qmllint disable
            currentIndex: root.highlightedIndex
            interactive: false
        }
        background: Rectangle {
            radius: 9
            color: Colors.windowBackground
            border.width: 1
            border.color: Colors.rail
        }
    }

    FocusRing {
        shown: root.focusShown
        corner: 7
    }
}
