// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/EngineLock.h"

#include <QCoroTask>
#include <QObject>

#include <optional>

namespace quillmount {

class DriveEngine;
class VolumeSetup;

// Removes everything that Quillmount keeps on this machine; what is on Google Drive stays. It never deletes through a
// mount: while the drive cannot be taken away, nothing is removed.
class Uninstaller : public QObject {
    Q_OBJECT

public:
    // Both outlive this object.
    Uninstaller(DriveEngine &engine, VolumeSetup &volumeSetup, QObject *parent = nullptr);

    // What the user has to confirm, without the warning of files that are not uploaded.
    [[nodiscard]] static QString consequences();

    // From now until it stops, nothing starts the drive. Resolves when it has stopped or is done (see `finished`), with
    // the sentence that says why it stopped; empty when there is nothing to tell, as after a declined password. A
    // second call while one runs does nothing. What was stopped can be tried again.
    [[nodiscard]] QCoro::Task<QString> run();
    [[nodiscard]] bool isRunning() const { return m_isRunning; }

Q_SIGNALS:
    // All is removed: the application is to end.
    void finished();

private:
    // Absent when it may go on, else what `run` resolves with.
    using Objection = std::optional<QString>;

    // Takes the drive and its set-up away.
    [[nodiscard]] QCoro::Task<Objection> undoSetup();
    // The drive is mounted, or an engine uses the cache. From an answer that it is not, no engine can use it.
    [[nodiscard]] Objection lookForDrive();
    [[nodiscard]] QCoro::Task<> removeFiles();
    static void removeApplication();
    void stop();

    DriveEngine &m_engine;
    VolumeSetup &m_volumeSetup;
    std::optional<EngineLock> m_cacheLock;
    bool m_isRunning = false;
};

} // namespace quillmount
