// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>
#include <QObject>

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
    [[nodiscard]] QCoro::Task<QString> remove();

    DriveEngine &m_engine;
    VolumeSetup &m_volumeSetup;
    bool m_isRunning = false;
};

} // namespace quillmount
