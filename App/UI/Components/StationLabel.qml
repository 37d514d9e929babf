// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

PlainText {
    font.pixelSize: 10
    font.weight: Font.Bold
    font.letterSpacing: 0.8
    font.capitalization: Font.AllUppercase
    color: Colors.secondary
    horizontalAlignment: Text.AlignHCenter
}
