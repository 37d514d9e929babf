// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// A button for what cannot be undone. Return never presses it.
FormButton {
    foreground: Colors.fault
    takesReturn: false
}
