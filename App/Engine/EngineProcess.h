// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QProcessEnvironment>
#include <QStringList>

class QProcess;

namespace quillmount {

// One run of the engine executable, in a session of its own: a Ctrl+C on the terminal does not reach it, and it
// outlives an application that is killed, so that uploads go on. Destroying this object does not end a running engine.
class EngineProcess : public QObject {
    Q_OBJECT

public:
    explicit EngineProcess(QObject *parent = nullptr);
    ~EngineProcess() override;
    Q_DISABLE_COPY_MOVE(EngineProcess)

    // Starts it with its output discarded. It keeps no descriptor of this process but `inheritedDescriptor` (-1 for
    // none). False when it could not be started; nothing is reported then.
    [[nodiscard]] bool start(const QString &executable, const QStringList &arguments,
                             const QProcessEnvironment &environment, int inheritedDescriptor);

    // Asks it to end. Harmless after its end.
    void terminate();
    // Asks it to end and kills it after 5 seconds. Resolves when `ended` has been sent, or this object is destroyed.
    [[nodiscard]] QCoro::Task<> end();
    // The same, blocking.
    void endNow();
    [[nodiscard]] bool isRunning() const;
    // 0 when it does not run.
    [[nodiscard]] qint64 processId() const;

Q_SIGNALS:
    // It has ended, by itself or by a signal. Always sent from the event loop, never inside a call of this object.
    void ended(int status);

private:
    // Blocks until the process has ended, at most for `milliseconds`. True when it has.
    bool waitForEnd(int milliseconds);

    QProcess *m_process;
    bool m_hasEnded = false; // and `ended` was sent
};

} // namespace quillmount
