// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

// How content comes and goes with a change of state.
NumberAnimation {
    duration: Motion.state
    easing: Motion.curve
}
