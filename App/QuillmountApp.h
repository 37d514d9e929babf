// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Account/AccountConnection.h"
#include "App/UI/Components/Palette.h"
#include "App/UI/MenuPanel/DriveWatcher.h"
#include "App/UI/MenuPanel/FaultNotifier.h"
#include "App/UI/MenuPanel/MenuBarLabelModel.h"
#include "App/UI/MenuPanel/MenuPanelModel.h"
#include "App/UI/MenuPanel/PanelActions.h"
#include "App/UI/MenuPanel/UploadInhibitor.h"
#include "App/UI/Onboarding/SignInModel.h"
#include "App/UI/Settings/SettingsActions.h"
#include "Platform/Clock.h"
#include "Platform/SingleInstance.h"

#include <QQmlEngine>

#include <memory>

namespace quillmount {

class AppDelegate;
class PanelWindow;
class SceneWindow;

// The scenes of the application: the item in the bar with its panel, the sign-in window and the settings window. Each
// window is made when it is first needed, the panel shortly after the start.
class QuillmountApp : public QObject {
    Q_OBJECT

public:
    // Both outlive this object.
    QuillmountApp(AppDelegate &delegate, VolumeSetup &volumeSetup, QObject *parent = nullptr);
    ~QuillmountApp() override;
    Q_DISABLE_COPY_MOVE(QuillmountApp)

    // Shows the item in the bar and what the user needs to see: the settings when they are wished, the panel when it is
    // wished and there is no bar, or no account.
    void launch(SingleInstance::Wish wish);
    // The user has started the application again.
    void startedAgain(SingleInstance::Wish wish, const QByteArray &activationToken);

    [[nodiscard]] AccountConnection &account() { return m_account; }

    // The scenes by their identifiers, "onboarding" and "settings": opens the window, or brings it to the front.
    void openWindow(const QString &id, const QByteArray &activationToken = {});
    void openPanel(const QByteArray &activationToken = {});

    // Takes every window and the item in the bar off the screen, for good.
    void hideAll();

private:
    void connectModels();
    void connectMenuBarExtra();
    void showToolTip();
    void showImage();
    void showMenu();
    void driveChanged();
    // Made when it is asked for.
    PanelWindow &panel();

    AppDelegate &m_delegate;
    AccountConnection m_account;
    DriveWatcher m_watcher;
    Palette m_palette;
    MenuBarLabelModel m_label;
    MenuPanelModel m_panelModel;
    PanelActions m_actions;
    FaultNotifier m_notifier;
    UploadInhibitor m_inhibitor;
    SignInModel m_signIn;
    SettingsModel m_settings;
    SettingsActions m_settingsActions;
    bool m_isHidden = false;    // for good
    Clock::TimerId m_timer = 0; // until the panel is made ahead of its first use
    // Windows go before what they show.
    QQmlEngine m_engine;
    std::unique_ptr<PanelWindow> m_panel;
    std::unique_ptr<SceneWindow> m_onboardingWindow;
    std::unique_ptr<SceneWindow> m_settingsWindow;
};

} // namespace quillmount
