// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Authorization.h"
#include "Platform/Clock.h"

#include <QStringList>

#include <memory>

class QProcess;

namespace quillmount {

// Asks through polkit, which shows the desktop's own dialog; root is not asked.
class LinuxAuthorization final : public Authorization {
public:
    // `command` is what is run in front of the verb. `clock` outlives it.
    LinuxAuthorization(Clock &clock, const QStringList &command);
    // The command of the system, with the program where only a package puts it.
    [[nodiscard]] static QStringList systemCommand();
    // Waits for a program that already acts as root.
    ~LinuxAuthorization() override;
    Q_DISABLE_COPY_MOVE(LinuxAuthorization)

    [[nodiscard]] QCoro::Task<Outcome> run(Verb verb) override;
    void cancel() override;

private:
    Clock &m_clock;
    QStringList m_command;
    std::unique_ptr<QProcess> m_process;
};

} // namespace quillmount
