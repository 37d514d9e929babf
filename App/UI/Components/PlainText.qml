// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// What every text is made of. It is in no accessibility tree by itself: set `spoken` where it stands for itself, and is no
// part of an element that speaks for it.
Text {
    id: root

    property bool spoken: false

    textFormat: Text.PlainText
    font.family: Typeface.family
    font.pixelSize: 12
    color: Colors.primary
    Accessible.role: Accessible.StaticText
    Accessible.name: root.text
    Accessible.ignored: !root.spoken
}
