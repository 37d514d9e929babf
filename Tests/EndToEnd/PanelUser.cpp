// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/EndToEnd/PanelUser.h"

#include "Tests/EndToEnd/TestHome.h"
#include "Tests/Support/Desktop.h"

#include <QDeadlineTimer>
#include <QTest>

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr int limit = 30'000; // ms

// Waits for what is read from the screen. Reading keeps the application busy, so it is done ten times a second.
bool waitForScreen(const std::function<bool()> &condition, int timeout) {
    QDeadlineTimer next;
    const auto look = [&] {
        if (!next.hasExpired())
            return false;
        next.setRemainingTime(100);
        return condition();
    };
    return QTest::qWaitFor(look, timeout);
}

} // namespace

PanelUser::PanelUser(Desktop &desktop)
    : m_desktop(desktop)
    , m_reader(desktop) {}

QList<ScreenReader::Item> PanelUser::items() {
    const QList<ScreenReader::Item> all = m_reader.read(m_home->application());
    bool isInSettings = false;
    for (const ScreenReader::Item &item : all) {
        if (item.isWindow)
            isInSettings = item.name == u"Quillmount Settings"_s;
        else if (item.isButton && !isInSettings)
            m_buttons.insert(item.name);
    }
    return all;
}

QStringList PanelUser::texts() {
    QStringList names;
    const QList<ScreenReader::Item> all = items();
    for (const ScreenReader::Item &item : all)
        names.append(item.name);
    return names;
}

bool PanelUser::shows(const QStringList &wanted) {
    const auto shown = [&] {
        const QStringList names = texts();
        return std::ranges::all_of(wanted, [&](const QString &text) { return names.contains(text); });
    };
    return waitForScreen(shown, limit);
}

bool PanelUser::showsNothing() {
    return waitForScreen([this] { return items().isEmpty(); }, 5000);
}

bool PanelUser::press(const QString &name) {
    m_pressed.insert(name);
    const auto pressed = [&] {
        QList<ScreenReader::Item> found = items();
        found.removeIf([&](const ScreenReader::Item &item) { return !item.isButton || item.name != name; });
        return found.size() == 1 && m_reader.press(found.first());
    };
    return waitForScreen(pressed, limit);
}

QString PanelUser::focused() {
    const QList<ScreenReader::Item> all = items();
    const auto found = std::ranges::find_if(all, [](const auto &item) { return item.isFocused && !item.isWindow; });
    return found == all.end() ? QString() : found->name;
}

bool PanelUser::clickIcon() {
    // The tint of the icon, which alone on the screen has this colour until the first window opens.
    constexpr QRgb route = 0xff00875a;
    if (m_icon.isNull() && !waitForScreen([this] { return !(m_icon = m_desktop.centreOf(route)).isNull(); }, limit))
        return false;
    // A click that comes with the loss of the focus is none.
    bool isOpen = false;
    for (int attempt = 0; attempt < 5 && !isOpen; ++attempt) {
        m_desktop.click(m_icon);
        isOpen = waitForScreen([this] { return !items().isEmpty(); }, 1500);
    }
    m_desktop.movePointer({10, 790});
    return isOpen;
}

void PanelUser::takePicture(const QString &name, const QString &window) {
    const QString folder = qEnvironmentVariable("QUILLMOUNT_PICTURES");
    QList<ScreenReader::Item> all = folder.isEmpty() ? QList<ScreenReader::Item>() : items();
    if (!window.isEmpty())
        all.removeIf([&](const ScreenReader::Item &item) { return !item.isWindow || item.name != window; });
    if (all.isEmpty())
        return;
    // One body fades into another; some never stand still.
    QImage screen;
    const auto isStill = [&] { return std::exchange(screen, m_desktop.screenshot()) == screen; };
    (void)QTest::qWaitFor(isStill, 2000);
    if (!screen.copy(m_reader.geometry(all.first())).save(folder + u'/' + name + u".png"_s))
        qWarning("no picture is saved in %ls", qUtf16Printable(folder));
}

QStringList PanelUser::buttonsNotPressed() const {
    QStringList names;
    std::ranges::set_difference(m_buttons, m_pressed, std::back_inserter(names));
    // The uploads, each of which is a button as long as it runs.
    names.removeIf([](const QString &name) { return name.endsWith(" percent"_L1); });
    return names;
}

} // namespace quillmount
