// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Components

SpinnerRing {
    color: Colors.secondary
    rail: Colors.rail
    seconds: time.seconds
    still: Motion.reduceMotion

    FrameTime {
        id: time

        wanted: true
    }
}
