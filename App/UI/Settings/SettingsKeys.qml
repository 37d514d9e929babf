// SPDX-License-Identifier: LicenseRef-Quillmount
import QtQuick
import Quillmount.Settings

// The keys of the window. A focused button takes Return before it gets here, unless it destroys something.
Item {
    id: root

    required property SettingsModel model

    Shortcut {
        sequence: "Escape"
        autoRepeat: false
        onActivated: root.model.escape()
    }
    Shortcut {
        sequences: ["Return", "Enter"]
        enabled: root.model.hasSheet
        autoRepeat: false
        onActivated: root.model.acceptDefault()
    }
    Shortcut {
        sequence: "Ctrl+W"
        autoRepeat: false
        onActivated: root.model.close()
    }
    Shortcut {
        sequence: "Ctrl+Q"
        autoRepeat: false
        onActivated: root.model.quit()
    }
    Shortcut {
        sequences: ["Ctrl+Tab", "Ctrl+PgDown"]
        onActivated: root.model.stepTab(1)
    }
    Shortcut {
        sequences: ["Ctrl+Shift+Tab", "Ctrl+PgUp"]
        onActivated: root.model.stepTab(-1)
    }
}
