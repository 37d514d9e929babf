// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/AppDelegate.h"

#include "App/Support/FileCount.h"
#include "App/Support/LoginItem.h"
#include "App/Support/Paths.h"
#include "Platform/Platform.h"

#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QSessionManager>

#include <cstdlib>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

// The one whose drive is still to be shut down when somebody calls exit().
AppDelegate *remaining = nullptr;

} // namespace

AppDelegate::AppDelegate(VolumeSetup &volumeSetup, QObject *parent)
    : QObject(parent)
    , m_engine(volumeSetup) {
    connect(&m_engine, &DriveEngine::filesSetAside, this, &AppDelegate::tellOfFilesSetAside);
    connect(&m_engine, &DriveEngine::mountPointTaken, this, &AppDelegate::tellOfMountPointTaken);
    connect(&m_engine, &DriveEngine::filesRecovered, this, &AppDelegate::tellOfRecoveredFiles);
    watchTheEnd();
}

AppDelegate::~AppDelegate() {
    remaining = nullptr;
}

void AppDelegate::watchTheEnd() {
    // The toolkit does so when the display goes away, and then tells nobody.
    static const bool registered = std::atexit([] {
                                       if (remaining)
                                           remaining->m_engine.shutdownNow();
                                   }) == 0;
    if (registered)
        remaining = this;
    QCoreApplication &application = *QCoreApplication::instance();
    application.installEventFilter(this);
    // The net below all others: whoever ends the event loop without asking.
    connect(&application, &QCoreApplication::aboutToQuit, this, [this] { m_engine.shutdownNow(); });
    const auto *graphical = qobject_cast<QGuiApplication *>(&application);
    if (!graphical)
        return;
    connect(graphical, &QGuiApplication::commitDataRequest, this, [this](QSessionManager &session) {
        const TerminateReply reply = applicationShouldTerminate([&session] { return session.allowsInteraction(); });
        if (reply == TerminateReply::cancel)
            session.cancel();
        session.release();
        // Somebody else may still cancel the log-out; without its drive the application would be left over.
        if (reply == TerminateReply::now)
            Q_EMIT terminated(0);
    });
}

bool AppDelegate::eventFilter(QObject *watched, QEvent *event) {
    if (event->type() == QEvent::Quit && watched == QCoreApplication::instance() &&
        applicationShouldTerminate() == TerminateReply::cancel) {
        event->ignore();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void AppDelegate::applicationDidFinishLaunching() {
    watchTerminationSignals();
    LoginItem::repair();
    if (Paths::hasEngineConfig())
        m_engine.start();
}

AppDelegate::TerminateReply AppDelegate::applicationShouldTerminate(const std::function<bool()> &mayAsk) {
    if (m_isAsking) {
        Platform::current().alerts->raise();
        return TerminateReply::cancel;
    }
    const qint64 pending = m_engine.stats().pendingUploads();
    // While it shuts down, another wish to quit asks nothing any more.
    if (pending > 0 && !m_isShuttingDown && (!mayAsk || mayAsk())) {
        constexpr int keepRunning = 0;
        const QString message = fileCount(pending) + u" still uploading"_s;
        m_isAsking = true;
        Q_EMIT willAsk();
        const int choice = Platform::current().alerts->ask(
            message,
            u"Quitting ejects the drive. Unfinished uploads are kept on this Mac and finish the next time Quillmount opens."_s,
            {u"Keep Running"_s, u"Quit Anyway"_s});
        m_isAsking = false;
        // A signal came meanwhile, and the question went without an answer.
        if (m_isShuttingDown)
            return TerminateReply::now;
        if (choice == keepRunning)
            return TerminateReply::cancel;
    }
    shutDown();
    return TerminateReply::now;
}

void AppDelegate::shutDown() {
    m_isShuttingDown = true;
    Platform::current().alerts->dismiss();
    Q_EMIT willShutDown();
    m_engine.shutdownNow();
}

void AppDelegate::watchTerminationSignals() {
    TerminationSignals &termination = *Platform::current().terminationSignals;
    connect(&termination, &TerminationSignals::received, this, [this] {
        shutDown();
        Q_EMIT terminated(0);
    });
    termination.install();
}

void AppDelegate::tellOfFilesSetAside(const QString &path) {
    Platform::current().alerts->notify(
        u"Files were saved while the drive was away"_s,
        u"They are not on Google Drive. Quillmount has moved them to %1; copy them to the drive to upload them."_s.arg(
            path));
}

void AppDelegate::tellOfMountPointTaken(const QString &path) {
    Platform::current().alerts->notify(
        u"Quillmount can't show your drive"_s,
        u"Its place is %1, where something of your own is. Move or rename that, then try again."_s.arg(path));
}

void AppDelegate::tellOfRecoveredFiles(const QString &path, qint64 count) {
    Platform::current().alerts->notify(
        u"Files in the local cache were damaged"_s,
        u"Quillmount could not tell where %1 belonged, so it has not uploaded what is left of them. It is kept in %2."_s
            .arg(fileCount(count), path));
}

} // namespace quillmount
