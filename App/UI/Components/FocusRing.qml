// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// Around a control that has the focus of the keys; `corner` is the control's own.
Rectangle {
    id: root

    property bool shown: false
    property real corner: 0

    anchors.fill: parent
    anchors.margins: -4
    visible: root.shown
    radius: root.corner + 4
    color: "transparent"
    border.width: 2
    border.color: Colors.route
}
