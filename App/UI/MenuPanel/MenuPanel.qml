// SPDX-License-Identifier: LicenseRef-Quillmount
pragma ComponentBehavior: Bound
import QtQuick
import Quillmount.Components
import Quillmount.MenuPanel

// The status panel. Its height follows its content up to `maximumHeight`; the content scrolls beyond that.
Item {
    id: root

    required property MenuPanelModel panel
    property real maximumHeight: Infinity
    // Draws its own edge, in a window that has none.
    property bool framed: false
    // The user wants the panel out of the way.
    signal closeRequested

    implicitWidth: 340
    implicitHeight: Math.min(band.height + content.contentHeight + footer.height, root.maximumHeight)

    Rectangle {
        anchors.fill: parent
        color: Colors.windowBackground
    }
    SignageBand {
        id: band

        width: root.width

        StatusPill {
            label: root.panel.pillLabel
            dotColor: Colors[root.panel.pillColor]
            pulsing: root.panel.isPillPulsing
        }
    }
    Flickable {
        id: content

        anchors.top: band.bottom
        anchors.bottom: footer.top
        width: root.width
        contentHeight: bodies.count > 0 ? bodies.itemAt(bodies.count - 1).implicitHeight : 0
        clip: content.contentHeight > content.height
        interactive: content.contentHeight > content.height
        boundsBehavior: Flickable.StopAtBounds

        // What is reached by keys does not stay out of sight.
        function show(item: Item): void {
            const top = item.mapToItem(content.contentItem, 0, 0).y;
            const highest = Math.max(0, Math.min(top - 8, content.contentHeight - content.height));
            const lowest = Math.max(0, top + item.height + 8 - content.height);
            content.contentY = Math.max(lowest, Math.min(content.contentY, highest));
        }

        Repeater {
            id: bodies

            model: root.panel.bodies

            delegate: BodyView {
                width: content.width
                panel: root.panel
            }
        }
    }
    Connections {
        target: root.Window.window

        function onActiveFocusItemChanged() {
            const item = root.Window.activeFocusItem;
            if (item && content.interactive && bodies.itemAt(bodies.count - 1).activeFocus)
                content.show(item);
        }
    }
    Hairline {
        anchors.bottom: footer.top
        width: root.width
        visible: content.interactive
    }
    PanelFooter {
        id: footer

        anchors.bottom: root.bottom
        width: root.width
        panel: root.panel
    }
    Rectangle {
        anchors.fill: parent
        visible: root.framed
        color: "transparent"
        border.width: 1
        border.color: Colors.rail
    }
    Shortcut {
        sequence: "Ctrl+,"
        autoRepeat: false
        onActivated: root.panel.openSettings()
    }
    Shortcut {
        sequence: "Ctrl+Q"
        autoRepeat: false
        onActivated: root.panel.quit()
    }
    Shortcut {
        sequence: "Escape"
        autoRepeat: false
        onActivated: root.closeRequested()
    }
}
