// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import QtQuick.Templates as T
import Quillmount.Components

// A tooltip of the item that it stands in. It stays within the window, and wraps.
T.ToolTip {
    id: root

    property bool shown: false

    visible: root.shown && root.text !== ""
    delay: 700
    margins: 8
    x: parent ? Math.round((parent.width - width) / 2) : 0
    y: parent ? parent.height + 6 : 0
    width: Math.min(implicitWidth, (parent && parent.Window.window ? parent.Window.width : 340) - 16)
    implicitWidth: Math.ceil(implicitContentWidth) + leftPadding + rightPadding
    implicitHeight: Math.ceil(implicitContentHeight) + topPadding + bottomPadding
    leftPadding: 8
    rightPadding: 8
    topPadding: 5
    bottomPadding: 5
    contentItem: PlainText {
        text: root.text
        font.pixelSize: 11
        color: Colors.windowBackground
        wrapMode: Text.Wrap
    }
    background: Rectangle {
        radius: 5
        color: Colors.station
    }
}
