// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Support/VolumeSetup.h"
#include "App/UI/Settings/CacheRelaunch.h"
#include "App/UI/Settings/SettingsModel.h"
#include "App/Uninstall/Uninstaller.h"

#include <future>

namespace quillmount {

// Carries out what the settings window asks for, and shows it the drive and the updater as they are.
class SettingsActions : public QObject {
    Q_OBJECT

public:
    // All of them outlive this object.
    SettingsActions(SettingsModel &model, DriveEngine &engine, VolumeSetup &volumeSetup, QObject *parent = nullptr);

Q_SIGNALS:
    // The sign-in window is wanted.
    void onboardingRequested();
    // The user has disconnected their account, and everything of it is forgotten here.
    void disconnected();
    // Nothing of the application is left: it is to end.
    void uninstalled();

private:
    void connectGeneral();
    void connectAccount();
    void connectAbout();

    // At the end of this turn of the event loop: a poll tells its figures one after the other.
    void scheduleUpdate();
    void updateAccount();
    [[nodiscard]] QCoro::Task<> countPending();
    [[nodiscard]] QCoro::Task<> disconnectAccount();
    [[nodiscard]] QCoro::Task<> uninstall();

    // Whether the set-up is complete is looked up, everything else is known.
    [[nodiscard]] QCoro::Task<> updateLocation();
    [[nodiscard]] QCoro::Task<> addLocation();

    SettingsModel &m_model;
    DriveEngine &m_engine;
    VolumeSetup &m_volumeSetup;
    Uninstaller m_uninstaller;
    CacheRelaunch m_relaunch;
    bool m_isUpdateScheduled = false;
    bool m_isCounting = false;
    bool m_isCountWanted = false;
    QString m_locationNote;
    // A keyring may let its caller wait for seconds. Its end is waited for in the destructor.
    std::future<void> m_tokenRemoval;
};

} // namespace quillmount
