// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QTcpServer>

class QTcpSocket;

namespace quillmount {

// A program that stands where the engine stands and does what a test's script says. In the folder "fake-engine" beside
// its configuration file it reads the script, again before each answer, and records what happens to it:
//   script.json    {"silent": true (it does not listen until that is gone), "ignoreTerminate": true,
//                   "exit": {"after": requests answered, "status": n, "log": line},
//                   "answers": {"vfs/stats": {"body": any | "raw": text, "status": n, "silent": true}, …}}
//   record.jsonl   one object a line: {"event": "start" | "ready" | "request" | "signal", "pid": n, …}
// It ends by itself when that folder disappears, and after two minutes at the latest.
class FakeEngine : public QObject {
    Q_OBJECT

public:
    // `arguments` are the engine's, without the program's name.
    explicit FakeEngine(const QStringList &arguments);

    // Records the start, then serves the remote control. False when there is no folder to work from.
    [[nodiscard]] bool start();

private:
    [[nodiscard]] QString argument(const QString &name) const;
    [[nodiscard]] QJsonObject script() const;
    void record(QJsonObject event) const;
    void recordStart() const;
    void receiveSignals();
    // Looks after the folder and the script.
    void check();
    void listen();
    void readRequests(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const QString &command, const QByteArray &body, bool authorized);
    // Ends the program when the script wants it to end now.
    bool exitIfDue();

    QStringList m_arguments;
    QString m_folder;
    QByteArray m_authorization;
    QTcpServer m_server;
    QHash<QTcpSocket *, QByteArray> m_received;
    int m_answered = 0;
};

} // namespace quillmount
