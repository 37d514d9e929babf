// SPDX-License-Identifier: LicenseRef-Quillmount
pragma ComponentBehavior: Bound
import QtQuick
import Quillmount.Components
import Quillmount.Settings

// The settings window: the tabs, and in front of them a confirmation or the licences. Its height follows the tab.
Rectangle {
    id: root

    required property SettingsModel model
    readonly property list<Item> pages: [general, account, about]
    // Where the focus returns when nothing lies in front any more.
    property Item lastFocus: null

    implicitWidth: 520
    implicitHeight: Math.max(strip.height + root.pages[root.model.currentTab].implicitHeight, confirmation.neededHeight, licenses.neededHeight)
    color: Colors.windowBackground

    FocusScope {
        id: content

        anchors.fill: parent
        enabled: !root.model.hasSheet

        TabStrip {
            id: strip

            width: root.width
            titles: root.model.tabTitles
            symbols: root.model.tabSymbols
            current: root.model.currentTab
            onChosen: index => root.model.selectTab(index)
        }
        GeneralSettings {
            id: general

            y: strip.height
            width: root.width
            visible: root.model.currentTab === 0
            general: root.model.general
        }
        AccountSettings {
            id: account

            y: strip.height
            width: root.width
            visible: root.model.currentTab === 1
            account: root.model.account
        }
        AboutSettings {
            id: about

            y: strip.height
            width: root.width
            visible: root.model.currentTab === 2
            about: root.model.about
        }
    }
    ConfirmationDialog {
        id: confirmation

        anchors.fill: parent
        confirmation: root.model.account.confirmation
    }
    AcknowledgementsSheet {
        id: licenses

        anchors.fill: parent
        about: root.model.about
    }
    Connections {
        target: root.Window.window

        function onActiveFocusItemChanged() {
            if (!root.model.hasSheet && content.activeFocus)
                root.lastFocus = root.Window.activeFocusItem;
        }
    }
    Connections {
        target: root.model

        // What had the focus is out of sight, and would lead nowhere.
        function onCurrentTabChanged() {
            strip.focusCurrent();
        }
        function onHasSheetChanged() {
            if (!root.model.hasSheet && root.lastFocus)
                Qt.callLater(root.lastFocus.forceActiveFocus, Qt.TabFocusReason);
        }
    }
    SettingsKeys {
        model: root.model
    }
}
