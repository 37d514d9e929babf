// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Alerts.h"

#include <QHash>
#include <QPointer>

#include <memory>

class QMessageBox;

namespace quillmount {

// Message boxes, and the notifications of the desktop. Without a session bus a notification is a line of the log: no
// bus is started for its sake.
class LinuxAlerts final : public Alerts {
public:
    [[nodiscard]] int ask(const QString &message, const QString &informative, const QStringList &buttons) override;
    void raise() override;
    void dismiss() override;
    void notify(const QString &title, const QString &text, const QString &kind = {}) override;

private:
    using ShownNotices = QHash<QString, uint>; // the desktop's number of the last notice of each kind

    QPointer<QMessageBox> m_question;
    std::shared_ptr<ShownNotices> m_shown = std::make_shared<ShownNotices>();
};

} // namespace quillmount
