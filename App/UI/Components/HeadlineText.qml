// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick

PlainText {
    spoken: true
    font.pixelSize: 13
    font.weight: Font.DemiBold
    wrapMode: Text.Wrap
}
