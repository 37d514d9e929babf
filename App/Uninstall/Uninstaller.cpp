// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Uninstall/Uninstaller.h"

#include "App/Engine/DriveEngine.h"
#include "App/Engine/FolderRemoval.h"
#include "App/Engine/MountPoint.h"
#include "App/Support/LoginItem.h"
#include "App/Support/Paths.h"
#include "App/Support/VolumeSetup.h"
#include "Platform/Platform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QPointer>

#include <exception>
#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.uninstall")

// A key of the information dictionary: the logs belong to another installation of this home as well.
constexpr auto sharedLogs = "QMSharesLogs"_L1;
// Another one: the package that the application came with.
constexpr auto packageName = "QMPackageName"_L1;

QStringList ownFolders() {
    QStringList folders{Paths::supportFolder(), Paths::cacheDirectory()};
    if (!Platform::current().bundle->infoString(sharedLogs))
        folders.append(Paths::logs());
    return folders;
}

// What is left of a folder that could not be renamed: a link, or the emptied folder itself.
void removeRest(const QString &folder) {
    if (QFileInfo(folder).isSymLink())
        QFile::remove(folder);
    else
        QDir().rmdir(folder);
}

} // namespace

Uninstaller::Uninstaller(DriveEngine &engine, VolumeSetup &volumeSetup, QObject *parent)
    : QObject(parent)
    , m_engine(engine)
    , m_volumeSetup(volumeSetup) {}

QString Uninstaller::consequences() {
    if (Platform::current().bundle->location())
        return u"This ejects the drive, signs out, removes Quillmount's settings and setup from this Mac, and moves the app to the Trash. Your files stay in Google Drive."_s;
    return u"This ejects the drive, signs out, and removes Quillmount's settings and setup from this Mac. Your files stay in Google Drive."_s;
}

QCoro::Task<QString> Uninstaller::run() {
    const QPointer self(this);
    if (m_isRunning)
        co_return {};
    if (m_engine.isSettingUp())
        co_return u"Quillmount is still being set up, so nothing was removed. Try again when that has ended."_s;
    m_isRunning = true;
    m_engine.forbidStarts();
    const Objection objection = co_await undoSetup();
    if (!self)
        co_return {};
    if (objection) {
        stop();
        co_return *objection;
    }
    co_await removeFiles();
    if (!self)
        co_return {};
    removeApplication();
    Q_EMIT finished();
    co_return {};
}

void Uninstaller::stop() {
    m_cacheLock.reset();
    m_engine.allowStarts();
    m_isRunning = false;
}

QCoro::Task<Uninstaller::Objection> Uninstaller::undoSetup() {
    const QPointer self(this);
    co_await m_engine.endEverything();
    if (!self)
        co_return Objection();
    const Objection before = lookForDrive();
    if (before || !m_volumeSetup.isRemovable())
        co_return before;
    auto outcome = VolumeSetup::Outcome::failed;
    try {
        outcome = co_await m_volumeSetup.remove();
    } catch (const std::exception &error) {
        qCWarning(log, "the set-up of the location could not be removed: %s", error.what());
    }
    if (!self)
        co_return Objection();
    switch (outcome) {
    case VolumeSetup::Outcome::completed:
        break;
    case VolumeSetup::Outcome::declined:
        co_return QString();
    case VolumeSetup::Outcome::notAsked:
        co_return u"Nobody could be asked for a password, so nothing was removed."_s;
    case VolumeSetup::Outcome::failed:
        co_return u"The drive's setup could not be removed, so everything else was left in place. Try again."_s;
    }
    // The question may have stood for hours.
    co_return lookForDrive();
}

Uninstaller::Objection Uninstaller::lookForDrive() {
    const QStringList mounted = m_engine.mountedPoints();
    if (!mounted.isEmpty())
        return u"The drive at %1 could not be ejected, so nothing was removed. Close what uses it and try again."_s.arg(
            mounted.first());
    if (m_cacheLock)
        return std::nullopt;
    std::optional<EngineLock> lock = EngineLock::acquire();
    if (!lock)
        return u"Something still uploads files of your drive, so nothing was removed. Try again later."_s;
    m_cacheLock.emplace(std::move(*lock));
    return std::nullopt;
}

// First everything is put out of the way, in one go: whatever comes between then, no half of it is left to start with.
QCoro::Task<> Uninstaller::removeFiles() {
    const QPointer self(this);
    LoginItem::set(false);
    m_volumeSetup.removeSidebarEntry();
    const QStringList folders = ownFolders();
    QStringList toDelete;
    for (const QString &folder : folders) {
        const FolderRemoval::SetAside aside = FolderRemoval::setAside(folder);
        if (!aside.isComplete)
            toDelete += aside.toDelete;
    }
    toDelete += FolderRemoval::leftOf(folders);
    toDelete.removeDuplicates();
    Platform::current().userDefaults->removeAll();
    MountPoint::giveBack(Paths::homeMountPoint());
    co_await FolderRemoval::deleteAll(std::move(toDelete));
    if (!self)
        co_return;
    for (const QString &folder : folders)
        removeRest(folder);
    QDir().rmdir(QFileInfo(Paths::logs()).path());
}

void Uninstaller::removeApplication() {
    const Platform &platform = Platform::current();
    if (const std::optional<QString> folder = platform.bundle->location()) {
        if (!platform.workspace->moveToTrash(*folder))
            platform.alerts->notify(u"Quillmount couldn't be moved to the Trash"_s,
                                    u"Everything else is removed. Delete %1 yourself."_s.arg(*folder));
    } else if (const std::optional<QString> package = platform.bundle->infoString(packageName)) {
        platform.alerts->notify(u"Quillmount's settings are removed"_s,
                                u"To remove the app as well, remove the package %1."_s.arg(*package));
    }
    // Last of all: until here nobody else can start.
    QFile::remove(Paths::mountPointMark());
    platform.singleInstance->removeTraces();
}

} // namespace quillmount
