// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// A button that leads to what cannot be undone, by way of a question.
FormButton {
    foreground: Colors.fault
}
