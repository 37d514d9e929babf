// SPDX-License-Identifier: LicenseRef-Quillmount
pragma ComponentBehavior: Bound
import QtQuick
import Quillmount.Components
import Quillmount.MenuPanel

// The body of every state but the live one.
RouteBody {
    id: root

    required property StatusBodyModel body

    implicitHeight: actions.y + actions.height + 16
    line: root.body.line
    moving: root.body.moving
    origin: root.body.origin
    destination: root.body.destination
    headline: root.body.headline
    detail: root.body.detail

    Row {
        id: actions

        x: 16
        y: root.textBottom + 16
        spacing: 8

        Spinner {
            visible: root.body.isWorking
            anchors.verticalCenter: actions.verticalCenter
        }
        PrimaryButton {
            visible: root.body.hasPrimaryButton
            text: root.body.primaryButton
            onClicked: root.body.press(text)
        }
        Repeater {
            model: root.body.secondaryButtons

            delegate: SecondaryButton {
                id: button

                required property string modelData

                text: button.modelData
                onClicked: root.body.press(button.modelData)
            }
        }
    }
}
