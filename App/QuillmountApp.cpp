// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/QuillmountApp.h"

#include "App/AppDelegate.h"
#include "App/Support/Paths.h"
#include "App/UI/Components/SymbolImage.h"
#include "App/UI/Windows/PanelWindow.h"
#include "App/UI/Windows/SceneWindow.h"
#include "Platform/Platform.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QQuickView>

#include <array>
#include <utility>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.panel", QtInfoMsg)

// After the start: the bar has answered by then, and nothing more urgent is to be done.
constexpr Clock::Duration settleTime = 500ms;

constexpr std::array iconSizes{16, 22, 24, 32, 48, 64}; // pixels

QUrl view(QLatin1StringView path) {
    return QUrl(u"qrc:/qt-project.org/imports/Quillmount/"_s + path);
}

} // namespace

QuillmountApp::QuillmountApp(AppDelegate &delegate, VolumeSetup &volumeSetup, QObject *parent)
    : QObject(parent)
    , m_delegate(delegate)
    , m_account(delegate.engine())
    , m_watcher(delegate.engine())
    , m_palette(*Platform::current().appearance)
    , m_label(m_watcher.snapshot(), *Platform::current().clock)
    , m_panelModel(m_watcher.snapshot())
    , m_actions(delegate.engine())
    , m_notifier([this] {
        return m_panel && m_panel->isVisible() && !m_panel->view().windowStates().testFlag(Qt::WindowMinimized);
    })
    , m_inhibitor(*Platform::current().clock)
    , m_signIn(m_account)
    , m_settingsActions(m_settings, delegate.engine(), volumeSetup) {
    connectModels();
    connectMenuBarExtra();
    connect(&delegate, &AppDelegate::willAsk, this, [this] { m_inhibitor.release(); });
    connect(&delegate, &AppDelegate::willShutDown, this, &QuillmountApp::hideAll);
}

QuillmountApp::~QuillmountApp() {
    Platform::current().clock->cancel(m_timer);
}

void QuillmountApp::connectModels() {
    connect(&m_watcher, &DriveWatcher::changed, this, &QuillmountApp::driveChanged);
    connect(&m_panelModel, &MenuPanelModel::actionRequested, &m_actions, &PanelActions::perform);
    connect(&m_panelModel, &MenuPanelModel::revealRequested, &m_actions, &PanelActions::revealTransfer);
    connect(&m_actions, &PanelActions::panelRequested, this, [this] { openPanel(); });
    connect(&m_actions, &PanelActions::onboardingRequested, this, [this] { openWindow(u"onboarding"_s); });
    connect(&m_actions, &PanelActions::settingsRequested, this, [this] { openWindow(u"settings"_s); });
    connect(&m_actions, &PanelActions::quitRequested, this, [] { QCoreApplication::quit(); });
    connect(&m_signIn, &SignInModel::finished, this, [this] {
        if (m_onboardingWindow && m_onboardingWindow->isVisible()) {
            m_onboardingWindow->hide();
            openPanel();
        }
    });
    connect(&m_signIn, &SignInModel::closeRequested, this, [this] { m_onboardingWindow->hide(); });
    connect(&m_settings, &SettingsModel::closeRequested, this, [this] { m_settingsWindow->hide(); });
    connect(&m_settings, &SettingsModel::quitRequested, this, [] { QCoreApplication::quit(); });
    connect(&m_settingsActions, &SettingsActions::onboardingRequested, this, [this] { openWindow(u"onboarding"_s); });
    connect(&m_settingsActions, &SettingsActions::uninstalled, this, [] { QCoreApplication::quit(); });
}

void QuillmountApp::connectMenuBarExtra() {
    MenuBarExtra &extra = *Platform::current().menuBarExtra;
    connect(&extra, &MenuBarExtra::activated, this, [this](const MenuBarExtra::Anchor &anchor) {
        if (!m_isHidden)
            panel().toggle(anchor);
    });
    connect(&extra, &MenuBarExtra::secondaryActivated, this, [this] { m_actions.perform(PanelAction::openDrive); });
    connect(&extra, &MenuBarExtra::menuItemChosen, this,
            [this](const QString &id) { m_actions.perform(static_cast<PanelAction>(id.toInt())); });
    connect(&m_label, &MenuBarLabelModel::imageChanged, this, &QuillmountApp::showImage);
    connect(&m_label, &MenuBarLabelModel::tooltipChanged, this, &QuillmountApp::showToolTip);
    connect(&m_label, &MenuBarLabelModel::menuChanged, this, &QuillmountApp::showMenu);
    connect(&m_palette, &Palette::changed, this, &QuillmountApp::showImage);
}

void QuillmountApp::launch(SingleInstance::Wish wish) {
    showMenu();
    showToolTip();
    showImage();
    m_timer = Platform::current().clock->schedule(settleTime, [this, wish] {
        m_timer = 0;
        panel(); // so that the first click finds it there
        const QByteArray token = Platform::current().activation->startToken();
        if (wish == SingleInstance::Wish::settings)
            openWindow(u"settings"_s, token);
        else if (wish == SingleInstance::Wish::open &&
                 (!Platform::current().menuBarExtra->isAvailable() || !Paths::hasEngineConfig()))
            openPanel(token);
    });
}

void QuillmountApp::startedAgain(SingleInstance::Wish wish, const QByteArray &activationToken) {
    switch (wish) {
    case SingleInstance::Wish::background:
        return;
    case SingleInstance::Wish::open:
        openPanel(activationToken);
        return;
    case SingleInstance::Wish::settings:
        openWindow(u"settings"_s, activationToken);
        return;
    case SingleInstance::Wish::quit:
        QCoreApplication::quit();
        return;
    }
}

void QuillmountApp::openWindow(const QString &id, const QByteArray &activationToken) {
    if (m_isHidden)
        return;
    std::unique_ptr<SceneWindow> &window = id == u"settings" ? m_settingsWindow : m_onboardingWindow;
    if (!window && id == u"settings") {
        window = std::make_unique<SceneWindow>(m_engine, view("Settings/SettingsView.qml"_L1),
                                               QVariantMap{{u"model"_s, QVariant::fromValue(&m_settings)}});
        window->setTitle(u"Quillmount Settings"_s);
        connect(window.get(), &SceneWindow::closed, &m_settings, &SettingsModel::disappear);
        // What it shows may have been changed elsewhere while it was behind.
        connect(window.get(), &QWindow::activeChanged, &m_settings, [this] {
            if (m_settingsWindow->isActive())
                m_settings.appear();
        });
    } else if (!window) {
        window = std::make_unique<SceneWindow>(m_engine, view("Onboarding/OnboardingView.qml"_L1),
                                               QVariantMap{{u"model"_s, QVariant::fromValue(&m_signIn)}});
        window->setTitle(u"Welcome to Quillmount"_s);
        connect(window.get(), &SceneWindow::closed, &m_account, &AccountConnection::cancel);
    }
    if (id == u"settings")
        m_settings.appear();
    window->open(activationToken);
}

void QuillmountApp::openPanel(const QByteArray &activationToken) {
    if (!m_isHidden)
        panel().open(activationToken);
}

PanelWindow &QuillmountApp::panel() {
    if (!m_panel) {
        const Clock &clock = *Platform::current().clock;
        const Clock::Duration begin = clock.uptime();
        m_panel = std::make_unique<PanelWindow>(m_engine, view("MenuPanel/MenuPanel.qml"_L1),
                                                QVariantMap{{u"panel"_s, QVariant::fromValue(&m_panelModel)}});
        m_actions.setWindow(&m_panel->view());
        qCDebug(log, "made in %lld ms", static_cast<long long>((clock.uptime() - begin).count()));
    }
    return *m_panel;
}

void QuillmountApp::driveChanged() {
    const DriveSnapshot &drive = m_watcher.snapshot();
    m_label.update(drive);
    m_panelModel.update(drive);
    m_notifier.update(drive);
    m_inhibitor.update(drive);
}

void QuillmountApp::showToolTip() {
    Platform::current().menuBarExtra->setToolTip(m_label.label().accessibleText(), m_label.tooltipDetail());
}

void QuillmountApp::showImage() {
    const MenuBarLabel &label = m_label.label();
    QColor tint = m_palette.route();
    tint.setAlphaF(static_cast<float>(label.opacity));
    QList<QImage> images;
    for (const int size : iconSizes)
        images.append(SymbolImage::tinted(label.image, size, tint));
    Platform::current().menuBarExtra->setImage(images);
}

void QuillmountApp::showMenu() {
    QList<MenuBarExtra::MenuItem> items;
    for (const MenuBarLabel::Entry &entry : m_label.menu()) {
        // What only says something needs a name of its own too.
        items.append({.id = QString::number(static_cast<int>(entry.action)),
                      .text = entry.title,
                      .isEnabled = entry.action != PanelAction::none});
    }
    Platform::current().menuBarExtra->setMenu(items);
}

void QuillmountApp::hideAll() {
    m_isHidden = true;
    Platform::current().clock->cancel(std::exchange(m_timer, 0));
    if (m_panel)
        m_panel->close();
    for (SceneWindow *window : {m_onboardingWindow.get(), m_settingsWindow.get()}) {
        if (window)
            window->hide();
    }
    Platform::current().menuBarExtra->hide();
    // What follows may take seconds, in which nobody answers the desktop. Events that have come already are handled
    // here.
    QGuiApplication::sync();
}

} // namespace quillmount
