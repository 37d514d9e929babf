// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// What all bodies begin with: the route, a headline and a detail below it.
Item {
    id: root

    property alias line: route.style
    property alias moving: route.movingCount
    property alias origin: route.leftLabel
    property alias destination: route.rightLabel
    property alias headline: headlineText.text
    property alias detail: detailText.text
    readonly property Item headlineItem: headlineText
    readonly property real textBottom: detailText.y + detailText.height

    // Shows that the texts speak of something else now.
    function freshen(): void {
        fade.restart();
    }

    RouteDiagram {
        id: route

        x: 16
        y: 16
        width: root.width - 32
    }
    HeadlineText {
        id: headlineText

        x: 16
        anchors.top: route.bottom
        anchors.topMargin: 16
        width: route.width
    }
    BodyText {
        id: detailText

        x: 16
        anchors.top: headlineText.bottom
        anchors.topMargin: 4
        width: route.width
    }
    StateFade {
        id: fade

        targets: [route, headlineText, detailText]
        property: "opacity"
        from: 0
        to: 1
    }
}
