// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// One line, shortened in the middle where there is too little room. Its tooltip has all of it then.
PlainText {
    id: root

    elide: Text.ElideMiddle
    maximumLineCount: 1

    HoverHandler {
        id: pointer
    }
    Tip {
        text: root.text
        shown: pointer.hovered && root.truncated
    }
}
