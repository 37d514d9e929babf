// SPDX-License-Identifier: LicenseRef-Quillmount
pragma ComponentBehavior: Bound
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
    opacity: root.shown && root.isCurrent ? 1 : 0
    visible: root.opacity > 0
    Component.onCompleted: {
        root.shown = true;
        root.panel.announce(root.view.headlineItem);
    }
    // What fades out takes no keys.
    onIsCurrentChanged: root.focus = root.isCurrent

    Behavior on opacity {
        StateFade {}
    }
    Loader {
        id: loader

        width: root.width
        sourceComponent: root.body instanceof LiveBodyModel ? live : status
    }
    Component {
        id: live

        LiveBody {
            body: root.body as LiveBodyModel
        }
    }
    Component {
        id: status

        StatusBody {
            body: root.body as StatusBodyModel
        }
    }
    Connections {
        target: root.body

        function onKindChanged() {
            root.view.freshen();
            root.panel.announce(root.view.headlineItem);
        }
    }
}
