// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// A long text in a typeface of equal widths, which scrolls, and can be selected and copied. It takes its pieces one a
// frame, so that the window goes on meanwhile.
Rectangle {
    id: root

    property string title
    property var pieces: []
    property int taken: 0

    function show(pieces: var): void {
        root.clear();
        root.pieces = pieces;
        root.take();
    }
    function clear(): void {
        root.pieces = [];
        root.taken = 0;
        text.clear();
        view.contentY = 0;
    }
    function take(): void {
        if (root.taken < root.pieces.length)
            text.insert(text.length, root.pieces[root.taken++]);
    }

    radius: 6
    color: Colors.card

    Timer {
        interval: 16
        repeat: true
        running: root.taken < root.pieces.length
        onTriggered: root.take()
    }
    Flickable {
        id: view

        anchors.fill: parent
        anchors.margins: 8
        contentWidth: width
        contentHeight: text.height
        boundsBehavior: Flickable.StopAtBounds
        clip: true

        TextEdit {
            id: text

            objectName: "longText"
            width: view.width - 8
            readOnly: true
            selectByMouse: true
            activeFocusOnTab: true
            textFormat: TextEdit.PlainText
            wrapMode: TextEdit.Wrap
            font.family: Typeface.monospaced
            font.pixelSize: 11
            color: Colors.primary
            selectionColor: Colors.action
            selectedTextColor: Colors.buttonText
            Accessible.role: Accessible.EditableText
            Accessible.name: root.title
            Accessible.readOnly: true
            Keys.onPressed: event => {
                const page = view.height - 20;
                const steps = {};
                steps[Qt.Key_Down] = 40;
                steps[Qt.Key_Up] = -40;
                steps[Qt.Key_PageDown] = page;
                steps[Qt.Key_PageUp] = -page;
                steps[Qt.Key_Home] = -text.height;
                steps[Qt.Key_End] = text.height;
                if (event.modifiers === Qt.NoModifier && steps[event.key] !== undefined) {
                    view.contentY = Math.max(0, Math.min(view.contentY + steps[event.key], view.contentHeight - view.height));
                    event.accepted = true;
                }
            }
        }
    }
    ScrollHandle {
        anchors.top: view.top
        anchors.right: view.right
        anchors.rightMargin: -6
        height: view.height
        orientation: Qt.Vertical
        size: view.visibleArea.heightRatio
        position: view.visibleArea.yPosition
        onPositionChanged: {
            if (pressed)
                view.contentY = position * view.contentHeight;
        }
    }
    FocusRing {
        shown: text.activeFocus
        corner: 2
    }
}
