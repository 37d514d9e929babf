// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/MenuBarLabel.h"
#include "Platform/Clock.h"

#include <QObject>

namespace quillmount {

// Tells the item in the bar what to show, and only what differs: each change goes over the desktop's bus.
class MenuBarLabelModel : public QObject {
    Q_OBJECT

public:
    MenuBarLabelModel(const DriveSnapshot &drive, Clock &clock, QObject *parent = nullptr);
    ~MenuBarLabelModel() override;
    Q_DISABLE_COPY_MOVE(MenuBarLabelModel)

    // Shows the drive as it is now.
    void update(const DriveSnapshot &drive);

    [[nodiscard]] const MenuBarLabel &label() const { return m_label; }
    // The second line of the tooltip, below the label's `accessibleText`: how many files. While the first line stays
    // the same it changes every ten seconds at most.
    [[nodiscard]] const QString &tooltipDetail() const { return m_detail; }

Q_SIGNALS:
    void imageChanged();
    void menuChanged();
    void tooltipChanged();

private:
    void updateDetail();
    // Takes the detail from the label. True when it differed.
    bool takeDetail();

    Clock &m_clock;
    MenuBarLabel m_label;
    QString m_detail;
    Clock::Duration m_detailTaken; // uptime
    Clock::TimerId m_timer = 0;    // 0: none
};

} // namespace quillmount
