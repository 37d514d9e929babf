// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import QtQuick.Templates as T
import Quillmount.Components

// What all buttons share: a title with a symbol before it, the keys, the ring of focus and the tooltip.
T.Button {
    id: root

    property string symbol
    property string tip
    property color foreground: Colors.primary
    property real corner: 8
    // Whether Return presses it. Otherwise the key is the window's.
    property bool takesReturn: true
    // Of these a picture can be taken without a pointer and keys.
    property bool hovering: root.hovered
    property bool focusShown: root.visualFocus

    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    font.family: Typeface.family
    implicitWidth: Math.ceil(implicitContentWidth) + leftPadding + rightPadding
    implicitHeight: 32
    topPadding: 0
    bottomPadding: 0
    Accessible.name: root.text
    Accessible.description: root.tip
    Accessible.onPressAction: root.clicked()
    // A focused button takes the key before a shortcut of the window does.
    Keys.onShortcutOverride: event => event.accepted = root.takesReturn && (event.key === Qt.Key_Return || event.key === Qt.Key_Enter)
    Keys.onReturnPressed: event => {
        if (root.takesReturn && !event.isAutoRepeat)
            root.clicked();
    }
    Keys.onEnterPressed: event => {
        if (root.takesReturn && !event.isAutoRepeat)
            root.clicked();
    }
    contentItem: Item {
        implicitWidth: children[0].implicitWidth

        ButtonContent {
            anchors.centerIn: parent
            symbol: root.symbol
            text: root.text
            font: root.font
            color: root.foreground
        }
    }

    Rectangle {
        anchors.fill: parent
        anchors.margins: -4
        visible: root.focusShown
        radius: root.corner + 4
        color: "transparent"
        border.width: 2
        border.color: Colors.route
    }
    Tip {
        text: root.tip
        shown: root.hovered && !root.down
    }
}
