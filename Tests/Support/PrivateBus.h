// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QDBusConnection>
#include <QProcess>
#include <QString>

namespace quillmount {

// A message bus for one test program, as its session bus and its system bus. Made before anything there uses a bus.
class PrivateBus {
public:
    PrivateBus();
    // Ends the bus.
    ~PrivateBus();
    Q_DISABLE_COPY_MOVE(PrivateBus)

    // Another program on it: a connection that goes with `leave`, or when the program ends.
    [[nodiscard]] QDBusConnection join(const QString &name);
    void leave(const QString &name);

private:
    QProcess m_daemon;
    QStringList m_names;
};

} // namespace quillmount
