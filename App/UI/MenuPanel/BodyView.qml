// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.MenuPanel

// One body of the panel: fades in when it replaces another, and out when it is replaced.
FocusScope {
    id: root

    required property PanelBodyModel body
    required property bool isCurrent
    required property MenuPanelModel panel
    readonly property RouteBody view: loader.item as RouteBody
    property bool shown: root.panel.bodies.isFirst

    implicitHeight: loader.implicitHeight
    // What fades out takes no keys.
    enabled: root.isCurrent
    opacity: root.shown && root.isCurrent ? 1 : 0
    visible: root.opacity > 0
    Component.onCompleted: {
        loader.setSource(root.body.view, {
            body: root.body
        });
        root.shown = true;
        root.panel.announce(root.view.headlineItem);
    }
    onIsCurrentChanged: root.focus = false

    Behavior on opacity {
        StateFade {}
    }
    Loader {
        id: loader

        width: root.width
    }
    Connections {
        target: root.body

        function onKindChanged() {
            root.view.freshen();
            root.panel.announce(root.view.headlineItem);
        }
    }
}
