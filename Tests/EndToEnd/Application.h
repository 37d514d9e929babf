// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>
#include <QProcess>
#include <QStringList>

namespace quillmount {

class TestHome;

// The application as a program of its own in a home. The destructor ends it like a person who presses Ctrl+C.
class Application : public QObject {
public:
    explicit Application(TestHome &home);
    ~Application() override;

    // How it is started; to be changed before start(). The executable is `quillmount` unless a test wraps it.
    QProcessEnvironment environment;
    QStringList command;

    void start(const QStringList &arguments = {});
    // start() with a new account, until the drive is live.
    [[nodiscard]] bool goLive();

    // Waits for the next change to `state` that no earlier call has seen; changes before it are passed over.
    [[nodiscard]] bool comesTo(const QString &state, int seconds = 20);
    // Every state that it came to since its start.
    [[nodiscard]] const QStringList &states() const { return m_states; }
    [[nodiscard]] QString state() const { return m_states.isEmpty() ? QString() : m_states.last(); }

    // Types on its terminal, or writes to its standard input.
    void type(const QByteArray &keys) { m_process.write(keys); }
    // Sends a signal to the process that was started.
    void signal(int number) const;
    // Waits for its end. The status; -1 when it was killed or does not end in time.
    [[nodiscard]] int end(int seconds = 30);
    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }

    // All that it has written so far.
    [[nodiscard]] const QByteArray &output() const { return m_output; }
    [[nodiscard]] const QByteArray &log() const { return m_log; }

private:
    void readLog();

    TestHome &m_home;
    QProcess m_process;
    QByteArray m_output;
    QByteArray m_log;
    qsizetype m_read = 0;
    QStringList m_states;
    qsizetype m_seen = 0;
};

} // namespace quillmount
