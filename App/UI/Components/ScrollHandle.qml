// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import QtQuick.Templates as T
import Quillmount.Components

// The indicator at the right edge of what scrolls, and its handle.
T.ScrollBar {
    id: root

    implicitWidth: 10
    padding: 2
    minimumSize: 0.06
    visible: root.size < 1
    contentItem: Rectangle {
        implicitWidth: 6
        implicitHeight: 24
        radius: 3
        color: Colors.primary
        opacity: root.pressed ? 0.5 : 0.28
    }
}
