// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

Rectangle {
    implicitHeight: 1
    color: Colors.hairline
}
