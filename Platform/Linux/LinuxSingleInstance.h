// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SingleInstance.h"

#include <QString>

#include <memory>

namespace quillmount {

class InstanceSocket;

// A lock that the kernel holds for this process alone: neither a program that it starts nor its own end by any signal
// leaves it behind. The file holds the number of the process, for whoever looks.
class LinuxSingleInstance final : public SingleInstance {
    Q_OBJECT

public:
    explicit LinuxSingleInstance(const QString &file);
    ~LinuxSingleInstance() override;
    Q_DISABLE_COPY_MOVE(LinuxSingleInstance)

    // Throws when the lock file cannot be made or written: two instances on one cache would do worse than none.
    [[nodiscard]] Outcome acquire() override;
    bool tellOther(Wish wish, const QByteArray &activationToken) override;
    void removeTraces() override;

private:
    [[noreturn]] void fail(const char *what) const;

    QString m_file;
    int m_lock = -1;
    std::unique_ptr<InstanceSocket> m_socket; // of the one instance
};

} // namespace quillmount
