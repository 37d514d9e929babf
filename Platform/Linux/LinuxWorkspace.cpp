// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxWorkspace.h"

#include "Platform/Linux/CoreFiles.h"
#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/SessionBus.h"
#include "Platform/OwnEnvironment.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <gio/gio.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr auto failsWithin = std::chrono::seconds(10);

// Between fork and exec. A Ctrl+C on the terminal of the application is not meant for the browser.
void prepareChild() {
    ::setsid();
    restoreCoreFiles();
}

} // namespace

// Not QDesktopServices: where it finds no browser it writes the address to the log.
void LinuxWorkspace::openURL(const QUrl &url, std::function<void()> failed) {
    const QString program = QStandardPaths::findExecutable(u"xdg-open"_s);
    if (program.isEmpty()) {
        qCWarning(platformLog, "xdg-open is not installed: no address can be opened");
        QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(failed), Qt::QueuedConnection);
        return;
    }
    // Nobody's child object: it kills its program when it is destroyed, so it goes when the program has ended.
    auto *opener = new QProcess;
    opener->setProgram(program);
    opener->setArguments({QString::fromLatin1(url.toEncoded())});
    // What a browser has to say, addresses among it, is not the application's to write.
    opener->setStandardInputFile(QProcess::nullDevice());
    opener->setStandardOutputFile(QProcess::nullDevice());
    opener->setStandardErrorFile(QProcess::nullDevice());
    opener->setProcessEnvironment(OwnEnvironment::forChildren());
    opener->setChildProcessModifier(prepareChild);
    const auto end = [opener, failed](bool isFailure) {
        opener->deleteLater();
        if (!isFailure)
            return;
        qCWarning(platformLog, "xdg-open could not open an address");
        failed();
    };
    QObject::connect(opener, &QProcess::finished, opener,
                     [end, early = QDeadlineTimer(failsWithin)](int status, QProcess::ExitStatus how) {
                         end(!early.hasExpired() && (how != QProcess::NormalExit || status != 0));
                     });
    QObject::connect(
        opener, &QProcess::errorOccurred, opener,
        [end](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart)
                end(true);
        },
        Qt::QueuedConnection);
    opener->start();
}

void LinuxWorkspace::openFolder(const QString &path, std::function<void()> failed) {
    openURL(QUrl::fromLocalFile(path), std::move(failed));
}

void LinuxWorkspace::reveal(const QStringList &paths) {
    const auto openParent = [path = paths.first()] {
        // The one who opens has logged its failure.
        LinuxWorkspace().openFolder(QFileInfo(path).path(), [] {});
    };
    if (!SessionBus::isThere()) {
        openParent();
        return;
    }
    const QString service = u"org.freedesktop.FileManager1"_s;
    QDBusMessage message =
        QDBusMessage::createMethodCall(service, u"/org/freedesktop/FileManager1"_s, service, u"ShowItems"_s);
    QStringList addresses;
    for (const QString &path : paths)
        addresses.append(QString::fromLatin1(QUrl::fromLocalFile(path).toEncoded()));
    message << addresses << QString();
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, openParent] {
        watcher->deleteLater();
        if (!watcher->isError())
            return;
        qCWarning(platformLog).noquote() << "the file manager cannot show a file:" << watcher->error().message();
        // One that starts slowly may still show it.
        if (watcher->error().type() != QDBusError::NoReply && watcher->error().type() != QDBusError::TimedOut)
            openParent();
    });
}

// Not QFile::moveToTrash: without a trash it moves to the working directory, and says that all went well.
bool LinuxWorkspace::moveToTrash(const QString &path) {
    GError *error = nullptr;
    GFile *file = g_file_new_for_path(QFile::encodeName(path).constData());
    const bool isMoved = g_file_trash(file, nullptr, &error) != FALSE;
    g_object_unref(file);
    if (error) {
        qCWarning(platformLog, "nothing was moved to the trash: %s", error->message);
        g_error_free(error);
    }
    return isMoved;
}

} // namespace quillmount
