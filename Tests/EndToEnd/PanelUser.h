// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Tests/EndToEnd/ScreenReader.h"

#include <QPoint>
#include <QStringList>

#include <set>

namespace quillmount {

class Desktop;
class TestHome;

// Who uses the application on a desktop: reads its windows and presses their buttons as a screen reader does, and
// clicks its icon. What waits gives up after 30 seconds.
class PanelUser {
public:
    explicit PanelUser(Desktop &desktop);

    // From now on it is the application of this home, which has to outlive its use.
    void sitDownAt(const TestHome &home) { m_home = &home; }

    // All that is visible, and the names of it.
    [[nodiscard]] QList<ScreenReader::Item> items();
    [[nodiscard]] QStringList texts();
    // Waits until all of these are visible, or nothing is.
    [[nodiscard]] bool shows(const QStringList &wanted);
    [[nodiscard]] bool showsNothing();
    // Waits for a button and presses it.
    [[nodiscard]] bool press(const QString &name);
    // What has the focus; empty when nothing has.
    [[nodiscard]] QString focused();
    // Waits for the icon of the live drive in the bar and opens the panel by a click.
    [[nodiscard]] bool clickIcon();
    // The bar may show the icon at another place.
    void forgetIcon() { m_icon = {}; }
    // Saves a picture of the window of this title, or the first one, where QUILLMOUNT_PICTURES says.
    void takePicture(const QString &name, const QString &window = {});
    // All buttons that were ever seen outside the settings, but not pressed; without the uploads.
    [[nodiscard]] QStringList buttonsNotPressed() const;

private:
    Desktop &m_desktop;
    const TestHome *m_home = nullptr;
    ScreenReader m_reader;
    QPoint m_icon;
    std::set<QString> m_buttons;
    std::set<QString> m_pressed;
};

} // namespace quillmount
