// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/EngineProcess.h"

#include "App/Engine/ChildProcess.h"

#include <QProcess>

#include <sys/resource.h>

namespace quillmount {

namespace {

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
    connect(
        m_process, &QProcess::finished, this, [this](int status) { Q_EMIT ended(status); }, Qt::QueuedConnection);
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

void EngineProcess::kill() {
    m_process->kill();
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
