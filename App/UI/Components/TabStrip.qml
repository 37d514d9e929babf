// SPDX-License-Identifier: LicenseRef-Quillmount
pragma ComponentBehavior: Bound
import QtQuick
import Quillmount.Components

// The tabs at the top of a window, on a line like a map's: the route runs under the one that is chosen. The strip is one
// stop of the Tab key; arrow keys, Home and End choose.
Item {
    id: root

    property list<string> titles
    property list<string> symbols
    property int current: 0
    signal chosen(int index)

    function choose(index: int): void {
        root.chosen(Math.max(0, Math.min(index, tabs.count - 1)));
        root.focusCurrent();
    }
    // Gives the focus to the tab that is chosen, and shows it unless a pointer did that.
    function focusCurrent(): void {
        const tab = tabs.itemAt(root.current) as TabItem;
        tab.forceActiveFocus(tab.hovered ? Qt.MouseFocusReason : Qt.TabFocusReason);
    }

    implicitHeight: 64
    Accessible.role: Accessible.PageTabList
    Accessible.name: "Settings"

    Rectangle {
        anchors.bottom: root.bottom
        width: root.width
        height: 2
        color: Colors.rail
    }
    Rectangle {
        x: row.x + root.current * 92 + 12
        anchors.bottom: root.bottom
        width: 64
        height: 4
        radius: 2
        color: Colors.route

        Behavior on x {
            enabled: !Motion.reduceMotion

            NumberAnimation {
                duration: Motion.state
                easing: Motion.curve
            }
        }
    }
    Row {
        id: row

        x: Math.round((root.width - width) / 2)
        y: 2
        spacing: 4

        Repeater {
            id: tabs

            model: root.titles

            delegate: TabItem {
                id: tab

                required property int index
                required property string modelData

                text: tab.modelData
                symbol: root.symbols[tab.index]
                checked: tab.index === root.current
                onClicked: root.chosen(tab.index)
                Keys.onLeftPressed: root.choose(tab.index - 1)
                Keys.onRightPressed: root.choose(tab.index + 1)
                Keys.onPressed: event => {
                    if (event.key === Qt.Key_Home)
                        root.choose(0);
                    else if (event.key === Qt.Key_End)
                        root.choose(tabs.count - 1);
                }
            }
        }
    }
}
