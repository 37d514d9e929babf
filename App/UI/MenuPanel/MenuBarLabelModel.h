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
    // The second line of the tooltip, below the label's `accessibleText`: how many files; and the menu. While only
    // their figures change they do so every ten seconds at most.
    [[nodiscard]] const QString &tooltipDetail() const { return m_paced.detail; }
    [[nodiscard]] const QList<MenuBarLabel::Entry> &menu() const { return m_paced.menu; }

Q_SIGNALS:
    void imageChanged();
    void menuChanged();
    void tooltipChanged();

private:
    // What is shown of the label at a pace of its own.
    struct Paced {
        QString detail;
        QList<MenuBarLabel::Entry> menu;

        friend bool operator==(const Paced &, const Paced &) = default;
    };

    [[nodiscard]] Paced wanted() const { return {m_label.pendingText, m_label.menu}; }
    void takePaced();
    void takePacedInTime();
    void tell(const Paced &former);

    Clock &m_clock;
    MenuBarLabel m_label;
    Paced m_paced;
    Clock::Duration m_pacedTaken; // uptime
    Clock::TimerId m_timer = 0;   // 0: none
};

} // namespace quillmount
