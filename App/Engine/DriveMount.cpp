// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/DriveMount.h"

#include "App/Concurrency/Background.h"
#include "App/Engine/MountPoint.h"
#include "App/Engine/Shell.h"
#include "App/Support/Paths.h"
#include "App/Support/VolumeSetup.h"
#include "Platform/Platform.h"

#include <QDir>
#include <QLoggingCategory>
#include <QPointer>

namespace quillmount {

using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {

constexpr double mountTimeout = 20;
constexpr double unmountTimeout = 6;
constexpr double processCheckTimeout = 10;
constexpr double volumeReadyTimeout = 5;
constexpr int noneFound = 1;

// The one order in which a mount is taken away from an engine that runs. Values, so that a thread can carry it out.
struct Removal {
    Command unmount;
    QList<Command> whenInUse;

    explicit Removal(const QString &point)
        : unmount(Platform::current().systemCommands->unmount(point))
        , whenInUse(Platform::current().systemCommands->endMountServer(point) +
                    Platform::current().systemCommands->forcedUnmount(point)) {}

    // Blocks. The server of a mount in use ends by itself if it can: only then is everything written at the engine.
    int carryOut() const {
        const int status = Shell::run(unmount, unmountTimeout);
        if (status == 0)
            return status;
        for (const Command &command : whenInUse)
            Shell::run(command, unmountTimeout);
        return status;
    }
};

QList<Removal> removals(const QStringList &points) {
    QList<Removal> all;
    for (const QString &point : points)
        all.append(Removal(point));
    return all;
}

// What somebody else has mounted there is not ours to use or to take away.
bool isOursAt(const QString &point) {
    const MountTable &table = *Platform::current().mountTable;
    return table.isMounted(point) && !table.isForeign(point);
}

void forceAt(const QString &point) {
    for (const Command &command : Platform::current().systemCommands->forcedUnmount(point))
        Shell::run(command, unmountTimeout);
}

} // namespace

DriveMount::DriveMount(VolumeSetup &volumeSetup, QObject *parent)
    : QObject(parent)
    , m_volumeSetup(volumeSetup) {}

DriveMount::~DriveMount() = default;

QString DriveMount::point() const {
    if (!m_point.isEmpty())
        return m_point;
    return m_volumeSetup.isInstalled() ? m_volumeSetup.point() : Paths::homeMountPoint();
}

void DriveMount::settlePoint() {
    m_point.clear();
    m_point = point();
}

void DriveMount::freePoint() {
    if (!isMounted())
        m_point.clear();
}

bool DriveMount::isMounted() const {
    return isOursAt(point());
}

bool DriveMount::isPointTaken() const {
    // Not looked into: what another file system answers, and when, is its own affair.
    if (Platform::current().mountTable->isForeign(point()))
        return true;
    // What was saved into a folder that is kept for the drive is moved away.
    return point() == Paths::homeMountPoint() && !isMounted() && MountPoint::isTaken(point());
}

void DriveMount::clearLeftovers(const QString &binary) {
    const SystemCommands &commands = *Platform::current().systemCommands;
    const EngineIdentity engine{binary, Paths::engineConfig()};
    // A search that failed has told nothing.
    if (Shell::run(commands.findEngines(engine), processCheckTimeout) != noneFound) {
        removeNow();
        for (const Removal &removal : removals(mountedPoints()))
            removal.carryOut();
        for (const Command &command : commands.endEngines(engine))
            Shell::run(command, processCheckTimeout);
    }
    m_isAttached = false;
    const QStringList left = mountedPoints();
    for (const QString &other : left)
        forceAt(other);
    const QString home = Paths::homeMountPoint();
    if (point() != home && !Platform::current().mountTable->isMounted(home))
        QDir().rmdir(home);
}

QStringList DriveMount::mountedPoints() const {
    QStringList points{Paths::homeMountPoint(), m_volumeSetup.point()};
    points.removeIf([](const QString &at) { return !isOursAt(at); });
    return points;
}

QCoro::Task<> DriveMount::endFormerRun(QString binary) {
    const QPointer self(this);
    const SystemCommands &commands = *Platform::current().systemCommands;
    const EngineIdentity engine{binary.isEmpty() ? u"/QuillmountEngine"_s : binary, Paths::engineConfig()};
    const QList<Command> endEngines = commands.endEngines(engine);
    Command find = commands.findEngines(engine);
    const int found = co_await Shell::runInBackground(std::move(find), processCheckTimeout);
    if (!self)
        co_return;
    tend();
    stopWatching();
    m_isAttached = false;
    // A search that failed has told nothing.
    std::function<int()> work = [hasEngine = found != noneFound, endEngines, points = removals(mountedPoints())] {
        for (const Removal &removal : points)
            removal.carryOut();
        for (const Command &command : hasEngine ? endEngines : QList<Command>())
            Shell::run(command, processCheckTimeout);
        return 0;
    };
    co_await inBackground(std::move(work));
}

bool DriveMount::prepareMountPoint() {
    if (isMounted())
        return true;
    if (isPointTaken()) {
        qCWarning(engineLog, "something of the user's own is at the mount point; it stays as it is");
        Q_EMIT pointTaken(point());
        return false;
    }
    if (point() != Paths::homeMountPoint())
        return prepareInstalledPoint();
    const MountPoint::Preparation prepared = MountPoint::prepare(point());
    if (prepared.setAside)
        tellOfFilesSetAside(*prepared.setAside);
    if (!prepared.isUsable)
        qCWarning(engineLog, "the mount point cannot be made, or be emptied");
    return prepared.isUsable;
}

bool DriveMount::prepareInstalledPoint() {
    if (!m_volumeSetup.waitUntilReady(volumeReadyTimeout)) {
        qCWarning(engineLog, "the mount point of the location is not there, or is not this user's");
        return false;
    }
    const MountPoint::Preparation prepared = MountPoint::prepareKept(point(), Paths::homeMountPoint());
    if (prepared.setAside)
        tellOfFilesSetAside(*prepared.setAside);
    return prepared.isUsable;
}

void DriveMount::tellOfFilesSetAside(const QString &path) {
    qCWarning(engineLog, "the mount point was not empty; its files are kept in %ls", qUtf16Printable(path));
    Q_EMIT filesSetAside(path);
}

QCoro::Task<bool> DriveMount::attach(quint16 port) {
    const QPointer self(this);
    const bool resolves = co_await m_volumeSetup.resolvesLocally();
    if (!self)
        co_return false;
    const QString host = resolves ? VolumeSetup::hostName() : u"quillmount.localhost"_s;
    ++m_attaching;
    Command command = Platform::current().systemCommands->mount(port, host, point());
    const int status = co_await Shell::runInBackground(std::move(command), mountTimeout);
    if (self) {
        --m_attaching;
        m_isAttached = status == 0;
    }
    co_return status == 0;
}

void DriveMount::watch() {
    stopWatching();
    m_watch = Platform::current().mountTable->watch(point());
    connect(m_watch.get(), &MountWatch::unmounted, this, [this] { Q_EMIT lost(false); });
    connect(m_watch.get(), &MountWatch::serverGone, this, [this] { Q_EMIT lost(true); });
}

void DriveMount::stopWatching() {
    if (!m_watch)
        return;
    // It may be the one whose signal led here.
    m_watch->disconnect(this);
    m_watch.release()->deleteLater();
}

void DriveMount::tend() {
    if (m_watch)
        m_watch->tend();
    else if (isMounted())
        Platform::current().mountTable->watch(point())->tend();
}

QCoro::Task<> DriveMount::release() {
    const QPointer self(this);
    tend();
    stopWatching();
    Command command = Platform::current().systemCommands->unmount(point());
    co_await Shell::runInBackground(std::move(command), unmountTimeout);
    if (self && isMounted())
        watch();
}

QCoro::Task<> DriveMount::remove() {
    // A server that somebody has stopped would not notice that its mount is removed, and stay for ever.
    tend();
    stopWatching();
    m_isAttached = false;
    if (!isMounted() && m_attaching == 0)
        co_return;
    std::function<int()> work = [removal = Removal(point())] { return removal.carryOut(); };
    co_await inBackground(std::move(work));
}

void DriveMount::removeNow() {
    tend();
    stopWatching();
    m_isAttached = false;
    if (isMounted() || m_attaching > 0)
        Removal(point()).carryOut();
}

void DriveMount::force() {
    m_isAttached = false;
    forceAt(point());
}

} // namespace quillmount
