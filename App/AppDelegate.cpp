// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/AppDelegate.h"

#include "App/Support/Paths.h"
#include "Platform/Platform.h"

namespace quillmount {

using namespace Qt::StringLiterals;

AppDelegate::AppDelegate(VolumeSetup &volumeSetup, QObject *parent)
    : QObject(parent)
    , m_engine(volumeSetup) {
    connect(&m_engine, &DriveEngine::filesSetAside, this, &AppDelegate::tellOfFilesSetAside);
}

void AppDelegate::applicationDidFinishLaunching() {
    watchTerminationSignals();
    if (Paths::hasEngineConfig())
        m_engine.start();
}

AppDelegate::TerminateReply AppDelegate::applicationShouldTerminate() {
    const qint64 pending = m_engine.stats().pendingUploads();
    if (pending > 0) {
        constexpr int keepRunning = 0;
        const QString message =
            pending == 1 ? u"1 file still uploading"_s : QString::number(pending) + u" files still uploading"_s;
        const int choice = Platform::current().alerts->ask(
            message,
            u"Quitting ejects the drive. Unfinished uploads are kept on this Mac and finish the next time Quillmount opens."_s,
            {u"Keep Running"_s, u"Quit Anyway"_s});
        if (choice == keepRunning)
            return TerminateReply::cancel;
    }
    m_engine.shutdownNow();
    return TerminateReply::now;
}

void AppDelegate::watchTerminationSignals() {
    TerminationSignals &termination = *Platform::current().terminationSignals;
    connect(&termination, &TerminationSignals::received, this, [this] {
        m_engine.shutdownNow();
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

} // namespace quillmount
