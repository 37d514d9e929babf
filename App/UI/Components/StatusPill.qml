// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

Rectangle {
    id: root

    property string label
    property color dotColor: Colors.rail
    property bool pulsing: false

    implicitWidth: row.width + 20
    implicitHeight: 24
    radius: height / 2
    color: Colors.pill
    Accessible.role: Accessible.StaticText
    Accessible.name: Looks.spokenStatus(root.label)

    Row {
        id: row

        x: 10
        height: root.height
        spacing: 8

        Rectangle {
            id: dot

            anchors.verticalCenter: parent.verticalCenter
            width: 8
            height: 8
            radius: 4
            color: root.dotColor
            opacity: Looks.pulse(time.seconds)
        }
        PlainText {
            anchors.verticalCenter: parent.verticalCenter
            width: Math.ceil(implicitWidth)
            text: root.label
            font.weight: Font.DemiBold
            color: Colors.pillText
        }
    }
    FrameTime {
        id: time

        wanted: root.pulsing
    }
}
