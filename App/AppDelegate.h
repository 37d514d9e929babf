// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/DriveEngine.h"

#include <QObject>

#include <functional>

namespace quillmount {

class VolumeSetup;

// Owns what lives as long as the application, and decides how it starts and ends.
class AppDelegate : public QObject {
    Q_OBJECT

public:
    enum class TerminateReply {
        now,    // the drive has been shut down; the application ends
        cancel, // the user keeps it running
    };

    explicit AppDelegate(VolumeSetup &volumeSetup, QObject *parent = nullptr);
    // Ends neither engine nor mount.
    ~AppDelegate() override;
    Q_DISABLE_COPY_MOVE(AppDelegate)

    [[nodiscard]] DriveEngine &engine() { return m_engine; }

    // The launch sequence.
    void applicationDidFinishLaunching();
    // Every wish to quit comes here: the application's own, and the end of the desktop session. Asks the user when
    // uploads are pending, and shuts the drive down unless they keep it. Answers at once; a wish that comes while the
    // user is being asked is refused. `mayAsk` is called before a question; false means that none is possible.
    [[nodiscard]] TerminateReply applicationShouldTerminate(const std::function<bool()> &mayAsk = {});

    bool eventFilter(QObject *watched, QEvent *event) override;

Q_SIGNALS:
    // The user is about to be asked whether the application is to end.
    void willAsk();
    // The drive is about to be shut down, which takes seconds in which nothing else is done: the time to take
    // everything off the screen.
    void willShutDown();
    // The drive has been shut down, on a signal or at the end of the desktop session: the application is to end with
    // this status.
    void terminated(int status);

private:
    void shutDown();
    void watchTerminationSignals();
    // The ways in which the toolkit says that the application is to end.
    void watchTheEnd();
    void tellOfFilesSetAside(const QString &path);
    void tellOfMountPointTaken(const QString &path);
    void tellOfRecoveredFiles(const QString &path, qint64 count);

    DriveEngine m_engine;
    bool m_isAsking = false;
    bool m_isShuttingDown = false;
};

} // namespace quillmount
