// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxAuthorization.h"

#include "Location/LocationSetup.h"
#include "Platform/Linux/PlatformLog.h"
#include "Platform/OneShot.h"
#include "Platform/OwnEnvironment.h"

#include <QProcess>

#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto agentTimeout = 1s;
constexpr qsizetype maxErrorOutput = 4096;
constexpr int dismissed = 126;
constexpr int notAuthorized = 127;

// `took`: after less than a second nobody can have answered.
Authorization::Outcome outcomeOf(const QProcess &process, Clock::Duration took) {
    using Outcome = Authorization::Outcome;
    if (process.exitStatus() == QProcess::CrashExit || process.exitCode() == dismissed)
        return Outcome::declined;
    if (process.exitCode() == notAuthorized)
        return took < agentTimeout ? Outcome::notAsked : Outcome::declined;
    return process.exitCode() == 0 ? Outcome::completed : Outcome::failed;
}

} // namespace

LinuxAuthorization::LinuxAuthorization(Clock &clock, const QStringList &command)
    : m_clock(clock)
    , m_command(command) {}

QStringList LinuxAuthorization::systemCommand() {
    const QString program = QString::fromUtf8(LocationSetup::program.data(), qsizetype(LocationSetup::program.size()));
    if (::geteuid() == 0)
        return {u"/usr/bin/env"_s, u"PKEXEC_UID=%1"_s.arg(::getuid()), program};
    // Without an agent it would ask on the terminal.
    return {u"/usr/bin/pkexec"_s, u"--disable-internal-agent"_s, program};
}

LinuxAuthorization::~LinuxAuthorization() {
    cancel();
}

QCoro::Task<Authorization::Outcome> LinuxAuthorization::run(Verb verb) {
    if (m_process)
        co_return Outcome::failed;
    OneShot<Outcome> done;
    m_process = std::make_unique<QProcess>();
    QProcess *process = m_process.get();
    const auto begin = m_clock.uptime();
    // What it says is kept to a limit; its end is what counts, whoever still holds its output.
    auto errors = std::make_shared<QByteArray>();
    QObject::connect(process, &QProcess::readyReadStandardError, process, [process, errors] {
        *errors = (*errors + process->readAllStandardError()).right(maxErrorOutput);
    });
    const auto end = [this, done, errors](Outcome outcome) mutable {
        if (outcome != Outcome::completed)
            qCWarning(platformLog) << "the administrator's part ended with" << int(outcome) << errors->trimmed();
        m_process->disconnect();
        m_process.release()->deleteLater();
        done.set(outcome);
    };
    QObject::connect(process, &QProcess::finished, process, [this, process, begin, end]() mutable {
        auto finish = end; // this function goes with the process
        finish(outcomeOf(*process, m_clock.uptime() - begin));
    });
    QObject::connect(process, &QProcess::errorOccurred, process,
                     [process, errors, end](QProcess::ProcessError error) mutable {
                         if (error != QProcess::FailedToStart)
                             return;
                         *errors = process->errorString().toUtf8();
                         auto finish = end;
                         finish(Outcome::notAsked);
                     });
    process->setProcessEnvironment(OwnEnvironment::forChildren());
    process->setStandardInputFile(QProcess::nullDevice());
    process->setStandardOutputFile(QProcess::nullDevice());
    process->start(m_command.first(),
                   m_command.mid(1) + QStringList{verb == Verb::install ? u"install"_s : u"uninstall"_s});
    const Outcome outcome = co_await done;
    co_return outcome;
}

void LinuxAuthorization::cancel() {
    // Refused by the system once it acts as root; it ends soon then.
    if (m_process)
        m_process->kill();
}

} // namespace quillmount
