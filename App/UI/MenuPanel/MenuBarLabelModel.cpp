// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/MenuBarLabelModel.h"

#include <utility>

namespace quillmount {

using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration figuresPeriod = 10s;

// Whether the menus offer the same, whatever their first lines say.
bool offersTheSame(const QList<MenuBarLabel::Entry> &one, const QList<MenuBarLabel::Entry> &other) {
    return one.mid(1) == other.mid(1);
}

} // namespace

MenuBarLabelModel::MenuBarLabelModel(const DriveSnapshot &drive, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_label(MenuBarLabel::of(drive))
    , m_paced(wanted())
    , m_pacedTaken(clock.uptime()) {}

MenuBarLabelModel::~MenuBarLabelModel() {
    m_clock.cancel(m_timer);
}

void MenuBarLabelModel::update(const DriveSnapshot &drive) {
    const MenuBarLabel former = std::exchange(m_label, MenuBarLabel::of(drive));
    const Paced shown = m_paced;
    const bool isOtherStatus = m_label.statusText != former.statusText;
    // Before anything is told: whoever hears of the image looks at the texts as well.
    if (isOtherStatus || !offersTheSame(m_label.menu, shown.menu))
        takePaced();
    if (m_label.image != former.image || m_label.opacity != former.opacity)
        Q_EMIT imageChanged();
    if (isOtherStatus)
        Q_EMIT tooltipChanged();
    tell(isOtherStatus ? Paced{m_paced.detail, shown.menu} : shown);
    takePacedInTime();
}

void MenuBarLabelModel::takePacedInTime() {
    if (m_paced == wanted())
        return;
    const auto takeAndTell = [this] {
        const Paced shown = m_paced;
        takePaced();
        tell(shown);
    };
    const Clock::Duration wait = m_pacedTaken + figuresPeriod - m_clock.uptime();
    if (wait <= 0s)
        takeAndTell();
    else if (m_timer == 0)
        m_timer = m_clock.schedule(wait, takeAndTell);
}

void MenuBarLabelModel::takePaced() {
    m_clock.cancel(std::exchange(m_timer, 0));
    const Paced former = std::exchange(m_paced, wanted());
    if (m_paced != former)
        m_pacedTaken = m_clock.uptime();
}

void MenuBarLabelModel::tell(const Paced &former) {
    if (m_paced.menu != former.menu)
        Q_EMIT menuChanged();
    if (m_paced.detail != former.detail)
        Q_EMIT tooltipChanged();
}

} // namespace quillmount
