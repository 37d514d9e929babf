// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/MenuBarLabelModel.h"

#include <utility>

namespace quillmount {

using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration detailPeriod = 10s;

} // namespace

MenuBarLabelModel::MenuBarLabelModel(const DriveSnapshot &drive, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_label(MenuBarLabel::of(drive))
    , m_detail(m_label.pendingText)
    , m_detailTaken(clock.uptime()) {}

MenuBarLabelModel::~MenuBarLabelModel() {
    m_clock.cancel(m_timer);
}

void MenuBarLabelModel::update(const DriveSnapshot &drive) {
    const MenuBarLabel former = std::exchange(m_label, MenuBarLabel::of(drive));
    const bool isOtherStatus = m_label.statusText != former.statusText;
    // Before anything is told: whoever hears of the image looks at the texts as well.
    if (isOtherStatus)
        takeDetail();
    if (m_label.image != former.image || m_label.opacity != former.opacity)
        Q_EMIT imageChanged();
    if (m_label.menu != former.menu)
        Q_EMIT menuChanged();
    if (isOtherStatus)
        Q_EMIT tooltipChanged();
    else
        updateDetail();
}

void MenuBarLabelModel::updateDetail() {
    const auto takeAndTell = [this] {
        if (takeDetail())
            Q_EMIT tooltipChanged();
    };
    const Clock::Duration wait = m_detailTaken + detailPeriod - m_clock.uptime();
    if (wait <= 0s)
        takeAndTell();
    else if (m_timer == 0 && m_label.pendingText != m_detail)
        m_timer = m_clock.schedule(wait, takeAndTell);
}

bool MenuBarLabelModel::takeDetail() {
    m_clock.cancel(std::exchange(m_timer, 0));
    if (std::exchange(m_detail, m_label.pendingText) == m_label.pendingText)
        return false;
    m_detailTaken = m_clock.uptime();
    return true;
}

} // namespace quillmount
