// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

PlainText {
    spoken: true
    color: Colors.secondary
    wrapMode: Text.Wrap
}
