// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/EndToEnd/Application.h"

#include "Tests/EndToEnd/TestHome.h"

#include <QRegularExpression>
#include <QTest>

#include <csignal>

namespace quillmount {

using namespace Qt::StringLiterals;

Application::Application(TestHome &home)
    : environment(home.environment())
    , command{qEnvironmentVariable("QUILLMOUNT_BIN") + u"/quillmount"_s}
    , m_home(home) {
    connect(&m_process, &QProcess::readyReadStandardOutput, this,
            [this] { m_output += m_process.readAllStandardOutput(); });
    connect(&m_process, &QProcess::readyReadStandardError, this, [this] {
        m_log += m_process.readAllStandardError();
        readLog();
    });
}

Application::~Application() {
    if (isRunning()) {
        signal(SIGCONT);
        signal(SIGTERM);
        if (end() < 0 && isRunning()) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }
    if (QTest::currentTestFailed())
        qInfo("the application wrote:\n%s%s", m_output.constData(), m_log.constData());
}

void Application::start(const QStringList &arguments) {
    m_states.clear();
    m_seen = 0;
    m_process.setProcessEnvironment(environment);
    m_process.start(command.first(), command.mid(1) + arguments);
}

bool Application::goLive() {
    m_home.addAccount();
    start();
    return comesTo(u"live"_s);
}

bool Application::comesTo(const QString &state, int seconds) {
    const auto arrived = [&] {
        while (m_seen < m_states.size())
            if (m_states[m_seen++] == state)
                return true;
        return false;
    };
    return QTest::qWaitFor(arrived, seconds * 1000);
}

void Application::signal(int number) const {
    if (m_process.processId() > 0)
        ::kill(pid_t(m_process.processId()), number);
}

int Application::end(int seconds) {
    if (!QTest::qWaitFor([this] { return !isRunning(); }, seconds * 1000))
        return -1;
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

void Application::readLog() {
    static const QRegularExpression change(u"quillmount\\.engine: \\S+ -> (\\S+)"_s);
    for (qsizetype end = m_log.indexOf('\n', m_read); end >= 0; end = m_log.indexOf('\n', m_read)) {
        const auto match = change.match(QString::fromUtf8(m_log.mid(m_read, end - m_read)));
        if (match.hasMatch())
            m_states.append(match.captured(1));
        m_read = end + 1;
    }
}

} // namespace quillmount
