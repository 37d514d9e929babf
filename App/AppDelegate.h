// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/DriveEngine.h"

#include <QObject>

namespace quillmount {

class VolumeSetup;

// Owns what lives as long as the application, and decides how it starts and ends.
class AppDelegate : public QObject {
    Q_OBJECT

public:
    enum class TerminateReply {
        now,    // the drive has been shut down; the application ends
        cancel, // the person keeps it running
    };

    explicit AppDelegate(VolumeSetup &volumeSetup, QObject *parent = nullptr);

    [[nodiscard]] DriveEngine &engine() { return m_engine; }

    // The launch sequence.
    void applicationDidFinishLaunching();
    // Asks the person when uploads are pending, and shuts the drive down unless they keep it. Answers at once.
    [[nodiscard]] TerminateReply applicationShouldTerminate();

Q_SIGNALS:
    // The application has shut its drive down on a signal and is to end with this status.
    void terminated(int status);

private:
    void watchTerminationSignals();
    void tellOfFilesSetAside(const QString &path);

    DriveEngine m_engine;
};

} // namespace quillmount
