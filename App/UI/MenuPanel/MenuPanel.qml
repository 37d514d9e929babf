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

        Repeater {
            id: bodies

            model: root.panel.bodies

            delegate: BodyView {
                width: content.width
                panel: root.panel
            }
        }
    }
    PanelFooter {
        id: footer

        anchors.bottom: root.bottom
        width: root.width
        panel: root.panel
    }
    Shortcut {
        sequence: "Ctrl+,"
        onActivated: root.panel.openSettings()
    }
    Shortcut {
        sequence: "Ctrl+Q"
        onActivated: root.panel.quit()
    }
    Shortcut {
        sequence: "Escape"
        onActivated: root.closeRequested()
    }
}
