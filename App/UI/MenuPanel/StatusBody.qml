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
        Repeater {
            model: root.body.buttons

            delegate: Loader {
                id: slot

                required property panelButton modelData
                required property int index

                sourceComponent: slot.modelData.isPrimary ? primary : secondary

                Component {
                    id: primary

                    PrimaryButton {
                        text: slot.modelData.title
                        onClicked: root.body.press(slot.index)
                    }
                }
                Component {
                    id: secondary

                    SecondaryButton {
                        text: slot.modelData.title
                        onClicked: root.body.press(slot.index)
                    }
                }
            }
        }
    }
}
