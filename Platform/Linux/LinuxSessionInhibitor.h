// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SessionInhibitor.h"

#include <QDBusMessage>
#include <QObject>

#include <functional>
#include <optional>

namespace quillmount {

// Asks the session manager of GNOME and its relatives, else the desktop's portal. Both forget it when the application
// leaves the bus. The login manager is not asked: what it lets an application do is to delay the end of the machine by
// seconds without telling the user why, or to forbid it to them.
class LinuxSessionInhibitor final : public SessionInhibitor {
public:
    void hold(const QString &reason) override;
    void release() override;

private:
    // Calls, and takes back at once what it got if it is no longer wanted by then.
    void ask(const QDBusMessage &question, const std::function<void()> &otherwise);

    QObject m_context; // of answers that are still to come
    std::optional<QString> m_reason;
    std::optional<QDBusMessage> m_undo; // the call that ends what is held
    int m_round = 0;                    // an answer to a former call of `hold` is not wanted
};

} // namespace quillmount
