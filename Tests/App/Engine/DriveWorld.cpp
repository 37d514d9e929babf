// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/App/Engine/DriveWorld.h"

#include "App/Engine/EngineConfig.h"
#include "App/Engine/EngineProcess.h"
#include "App/Engine/RemoteControl.h"
#include "App/Support/Paths.h"
#include "Tests/Support/Started.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <algorithm>
#include <utility>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr auto timeout = 15s;

bool awaitsAnswer() {
    const auto replies = RemoteControl::session().findChildren<QNetworkReply *>();
    return std::ranges::any_of(replies, [](const QNetworkReply *reply) { return reply->isRunning(); });
}

// Commands in the background have a thread each. Threads of Qt have names of their own, these have the program's.
bool runsBackgroundCommand() {
    const auto nameOf = [](const QString &task) {
        QFile file(u"/proc/self/task/"_s + task + u"/comm"_s);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    const QStringList tasks = QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    const QByteArray own = nameOf(QString::number(QCoreApplication::applicationPid()));
    return std::ranges::count_if(tasks, [&](const QString &task) { return nameOf(task) == own; }) > 1;
}

QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

DriveWorld::DriveWorld(Account account)
    : engine(QFileInfo(Paths::engineConfig()).path()) {
    platform.bundle().setExecutable(u"QuillmountEngine"_s, EngineScript::executable());
    if (account == connected)
        started(EngineConfig::write(u"{\"refresh_token\":\"first\"}"_s));
    scriptCommands();
}

DriveWorld::~DriveWorld() {
    drive.reset();
    engine.endAll();
    letAnswersCome();
    while (platform.clock().nextDue())
        platform.clock().advance(*platform.clock().nextDue());
    handleEvents();
}

DriveEngine &DriveWorld::makeDrive() {
    drive = std::make_unique<DriveEngine>(setup);
    QObject::connect(drive.get(), &DriveEngine::stateChanged, drive.get(),
                     [this] { m_states.append(drive->state().name()); });
    return *drive;
}

bool DriveWorld::goLive() {
    makeDrive().start();
    return advanceUntil(DriveState::live);
}

bool DriveWorld::advanceUntil(const std::function<bool()> &condition) {
    const QDeadlineTimer deadline(timeout);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        handleEvents();
        if (!isQuiet())
            continue;
        if (condition())
            break;
        if (const auto next = platform.clock().nextDue())
            platform.clock().advance(*next);
    }
    return true;
}

bool DriveWorld::advanceUntil(DriveState state) {
    return advanceUntil([this, state] { return drive->state() == state; });
}

void DriveWorld::advance(Clock::Duration duration) {
    ManualClock &clock = platform.clock();
    const auto end = clock.uptime() + duration;
    letAnswersCome();
    while (clock.nextDue() && clock.uptime() + *clock.nextDue() <= end) {
        clock.advance(*clock.nextDue());
        letAnswersCome();
    }
    clock.advance(end - clock.uptime());
    letAnswersCome();
}

bool DriveWorld::hasEngine() const {
    return drive->findChild<EngineProcess *>() != nullptr;
}

void DriveWorld::setMark(const QString &name, bool there) const {
    QFile mark(markPath(name));
    if (there ? !mark.open(QIODevice::WriteOnly) : mark.exists() && !mark.remove())
        qFatal("the mark %ls cannot be changed", qUtf16Printable(name));
}

void DriveWorld::setMounted(bool mounted) const {
    setMark(u"mounted"_s, mounted);
    if (!mounted)
        return;
    QFile mark(markPath(u"mounted"_s));
    if (!mark.open(QIODevice::WriteOnly) || mark.write(Paths::homeMountPoint().toUtf8()) < 0)
        qFatal("the mark of the mount cannot be written");
}

bool DriveWorld::isBusy() const {
    const bool holdsCommands =
        std::ranges::any_of(QStringList{u"mount-waits"_s, u"unmount-waits"_s, u"end-waits"_s},
                            [this](const QString &mark) { return QFile::exists(markPath(mark)); });
    if (awaitsAnswer() || (!holdsCommands && runsBackgroundCommand()))
        return true;
    // An engine takes its time to start, and does so in real time.
    const auto *process = drive ? drive->findChild<EngineProcess *>() : nullptr;
    return process && process->isRunning() && !engine.isReady(process->processId());
}

bool DriveWorld::isQuiet() const {
    if (isBusy())
        return false;
    // Newer libraries resume whoever waits for an answer only in the turn after it.
    QCoreApplication::processEvents();
    return !isBusy();
}

QStringList DriveWorld::takeCommands() {
    const QStringList all = QString::fromUtf8(contents(markPath(u"commands"_s))).split(u'\n', Qt::SkipEmptyParts);
    return all.mid(std::exchange(m_commandsTaken, all.size()));
}

QStringList DriveWorld::takeCommandNames() {
    QStringList names = takeCommands();
    for (QString &name : names)
        name = name.section(u' ', 0, 0);
    return names;
}

QString DriveWorld::markPath(const QString &name) const {
    return platform.directories().root() + u'/' + name;
}

void DriveWorld::scriptCommands() const {
    const QString root = platform.directories().root();
    // $0 is the folder of the marks, $1 and so on what the command is about.
    const auto command = [&root](const QString &name, const QString &code) -> Command {
        const QString log = u"echo %1 \"$@\" >> \"$0/commands\"; "_s.arg(name);
        const QString wait =
            u"while [ -e \"$0/%1-waits\" ]; do sleep 0.01; done; [ ! -e \"$0/%1-fails\" ] || exit 1; "_s;
        return {u"/bin/sh"_s, {u"-c"_s, log + wait.arg(name) + code, root}};
    };
    ScriptedSystemCommands &commands = platform.systemCommands();
    commands.setMount(command(u"mount"_s, u"[ -e \"$0/mount-late\" ] || printf %s \"$3\" > \"$0/mounted\""_s));
    commands.setUnmount(command(u"unmount"_s, u"rm -f \"$0/mounted\""_s));
    commands.setEndMountServer(command(u"end"_s, u"rm -f \"$0/mounted\""_s));
    commands.setForcedUnmount(command(u"force"_s, u"rm -f \"$0/mounted\""_s));
    commands.setFindEngines(
        command(u"find"_s, u"[ ! -e \"$0/find-breaks\" ] || exit 127; [ -e \"$0/engine-left\" ]"_s));
    commands.setEndEngines(command(u"kill"_s, u"rm -f \"$0/engine-left\""_s));
    platform.mountTable().setProbe(
        [mark = markPath(u"mounted"_s)](const QString &path) { return contents(mark) == path.toUtf8(); });
}

void DriveWorld::letAnswersCome() const {
    const QDeadlineTimer deadline(timeout);
    do
        handleEvents();
    while (!isQuiet() && !deadline.hasExpired());
}

} // namespace quillmount
