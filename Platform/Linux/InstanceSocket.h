// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SingleInstance.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QString>

#include <memory>

class QSocketNotifier;

namespace quillmount {

// The socket at which the one instance is told of further starts: in the runtime folder, else beside the lock. Only
// processes of the same user are heard, and only they are told. A message is one packet: one letter for the wish, then
// the activation token; the answer is "k".
class InstanceSocket final : public QObject {
    Q_OBJECT

public:
    // `lockFile`: of the instance that it belongs to. Its folder is there.
    explicit InstanceSocket(const QString &lockFile);
    ~InstanceSocket() override;
    Q_DISABLE_COPY_MOVE(InstanceSocket)

    // By the one who holds the lock, so that a socket which is there already is a left-over. False when it cannot;
    // errno says why.
    bool listen();

    // Waits up to two seconds, also for a socket that is not there yet. False when nobody took the message; the reason
    // is logged.
    bool tell(SingleInstance::Wish wish, const QByteArray &activationToken) const;

Q_SIGNALS:
    void told(quillmount::SingleInstance::Wish wish, const QByteArray &activationToken);

private:
    void accept();
    void read(int connection);
    void close(int connection);

    QString m_folder;
    QString m_name;
    int m_listener = -1;
    std::unique_ptr<QSocketNotifier> m_listenerNotifier;
    QHash<int, QSocketNotifier *> m_connections; // those that have said nothing yet
};

} // namespace quillmount
