// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/EngineProcess.h"

#include "App/Engine/ChildProcess.h"
#include "Platform/Platform.h"

#include <QPointer>
#include <QProcess>

#include <sys/resource.h>

namespace quillmount {

using namespace std::chrono_literals;

namespace {

constexpr int endChecks = 20;
constexpr auto endCheckPause = 250ms;
constexpr auto killCheckPause = 50ms;
constexpr int blockingChecks = 50;
constexpr int blockingCheckMilliseconds = 100;

// Between fork and exec: only what is safe there.
void prepareEngine(int inherited) {
    ChildProcess::prepare(inherited);
    // The engine's memory holds the account's tokens. A handler that core files are piped to would get them with a
    // limit of 0.
    constexpr rlimit noCoreFile = {1, 1};
    setrlimit(RLIMIT_CORE, &noCoreFile);
}

} // namespace

EngineProcess::EngineProcess(QObject *parent)
    : QObject(parent)
    , m_process(new QProcess) {
    m_process->setStandardInputFile(QProcess::nullDevice());
    m_process->setStandardOutputFile(QProcess::nullDevice());
    m_process->setStandardErrorFile(QProcess::nullDevice());
    m_process->setWorkingDirectory(QString::fromLatin1(ChildProcess::workingDirectory));
    const auto report = [this](int status) {
        m_hasEnded = true;
        Q_EMIT ended(status);
    };
    connect(m_process, &QProcess::finished, this, report, Qt::QueuedConnection);
}

EngineProcess::~EngineProcess() {
    m_process->disconnect(this);
    // QProcess kills its child when it is destroyed: one whose engine still runs lives on until that ends.
    if (isRunning())
        connect(m_process, &QProcess::finished, m_process, &QObject::deleteLater);
    else
        delete m_process;
}

bool EngineProcess::start(const QString &executable, const QStringList &arguments,
                          const QProcessEnvironment &environment, int inheritedDescriptor) {
    ChildProcess::keepEnded();
    m_process->setChildProcessModifier([inheritedDescriptor] { prepareEngine(inheritedDescriptor); });
    m_process->setProcessEnvironment(environment);
    m_process->start(executable, arguments);
    return m_process->waitForStarted();
}

void EngineProcess::terminate() {
    m_process->terminate();
}

QCoro::Task<> EngineProcess::end() {
    const QPointer self(this);
    Clock &clock = *Platform::current().clock;
    terminate();
    for (int check = 0; check < endChecks; ++check) {
        co_await clock.sleep(endCheckPause, {});
        if (!self || m_hasEnded)
            co_return;
    }
    m_process->kill();
    // However long the system takes over it: whoever waits here must not act on the cache of an engine that runs.
    for (;;) {
        co_await clock.sleep(killCheckPause, {});
        if (!self || m_hasEnded)
            co_return;
    }
}

void EngineProcess::endNow() {
    terminate();
    // Counted, because the clock stands still for whoever blocks its thread.
    bool ended = waitForEnd(0);
    for (int check = 0; check < blockingChecks && !ended; ++check)
        ended = waitForEnd(blockingCheckMilliseconds);
    if (ended)
        return;
    m_process->kill();
    waitForEnd(blockingCheckMilliseconds);
}

bool EngineProcess::isRunning() const {
    return m_process->state() != QProcess::NotRunning;
}

qint64 EngineProcess::processId() const {
    return m_process->processId();
}

bool EngineProcess::waitForEnd(int milliseconds) {
    // QProcess learns of the end only here while the event loop does not turn.
    return !isRunning() || m_process->waitForFinished(milliseconds);
}

} // namespace quillmount
