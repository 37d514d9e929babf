// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components
import Quillmount.Settings

// The licences of what the application includes.
Sheet {
    id: root

    required property AboutSettingsModel about
    readonly property real neededHeight: root.shown ? root.card.height + 40 : 0

    shown: root.about.areLicensesShown
    title: "Acknowledgements"
    firstFocus: done
    card.width: 480
    card.height: 360
    onShownChanged: {
        if (root.shown)
            text.show(root.about.licenses());
        else
            text.clear();
    }

    HeadlineText {
        id: heading

        x: 20
        y: 20
        text: root.title
        font.pixelSize: 15
        font.weight: Font.Bold
    }
    BodyText {
        id: introduction

        x: 20
        anchors.top: heading.bottom
        anchors.topMargin: 4
        width: root.card.width - 40
        text: "Quillmount includes open-source software distributed under the following licenses."
    }
    LongText {
        id: text

        x: 20
        anchors.top: introduction.bottom
        anchors.topMargin: 12
        anchors.bottom: done.top
        anchors.bottomMargin: 12
        width: root.card.width - 40
        title: root.title
    }
    PrimaryButton {
        id: done

        anchors.right: parent.right
        anchors.rightMargin: 20
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 20
        text: "Done"
        onClicked: root.about.hideLicenses()
    }
}
