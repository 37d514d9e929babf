// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Settings/SettingsActions.h"

#include "App/Engine/DriveEngine.h"
#include "App/Engine/PendingFiles.h"
#include "App/Support/Keychain.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "App/Support/Support.h"
#include "Platform/Platform.h"

#include <QLoggingCategory>
#include <QPointer>

#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.settings")

void open(const QUrl &address) {
    Platform::current().workspace->openURL(address, [] { qCWarning(log, "an address was not opened"); });
}

// Why the drive is not among the locations now; empty where the user knows.
QString note(VolumeSetup::Outcome outcome) {
    switch (outcome) {
    case VolumeSetup::Outcome::completed:
    case VolumeSetup::Outcome::declined:
        return {};
    case VolumeSetup::Outcome::notAsked:
        return u"Quillmount couldn't ask for an administrator's password, so nothing was changed."_s;
    case VolumeSetup::Outcome::failed:
        return u"Quillmount couldn't be added to Locations. Try again, or write to the support."_s;
    }
    return {};
}

} // namespace

SettingsActions::SettingsActions(SettingsModel &model, DriveEngine &engine, VolumeSetup &volumeSetup, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_engine(engine)
    , m_volumeSetup(volumeSetup)
    , m_uninstaller(engine, volumeSetup)
    , m_relaunch(engine) {
    connectGeneral();
    connectAccount();
    connectAbout();
    connect(&model, &SettingsModel::appeared, this, [this] {
        updateAccount();
        spawn(updateLocation());
    });
    updateAccount();
}

void SettingsActions::connectGeneral() {
    GeneralSettingsModel *general = m_model.general();
    connect(general, &GeneralSettingsModel::cacheSizeChosen, &m_relaunch, &CacheRelaunch::sizeChosen);
    connect(general, &GeneralSettingsModel::supportRequested, this, &Support::contact);
    connect(general, &GeneralSettingsModel::driveRequested, this, [this] {
        Platform::current().workspace->openFolder(m_engine.mountPoint(),
                                                  [] { qCWarning(log, "no file manager opened the drive"); });
    });
    connect(general, &GeneralSettingsModel::locationRequested, this, [this] { spawn(addLocation()); });
    connect(&m_engine, &DriveEngine::isSettingUpChanged, this, [this] { spawn(updateLocation()); });
}

void SettingsActions::connectAccount() {
    AccountSettingsModel *account = m_model.account();
    connect(account, &AccountSettingsModel::onboardingRequested, this, &SettingsActions::onboardingRequested);
    connect(account, &AccountSettingsModel::countRequested, this, [this] { spawn(countPending()); });
    connect(account, &AccountSettingsModel::disconnectRequested, this, [this] { spawn(disconnectAccount()); });
    connect(account, &AccountSettingsModel::uninstallRequested, this, [this] { spawn(uninstall()); });
    connect(&m_uninstaller, &Uninstaller::finished, this, &SettingsActions::uninstalled);
    for (const auto signal : {&DriveEngine::stateChanged, &DriveEngine::statsChanged, &DriveEngine::quotaChanged})
        connect(&m_engine, signal, this, &SettingsActions::scheduleUpdate);
}

void SettingsActions::connectAbout() {
    AboutSettingsModel *about = m_model.about();
    Updater *updater = Platform::current().updater.get();
    const auto show = [about, updater] { about->setUpdate(updater->state()); };
    connect(updater, &Updater::stateChanged, about, show);
    show();
    connect(about, &AboutSettingsModel::updateCheckRequested, updater, &Updater::check);
    connect(about, &AboutSettingsModel::updatePageRequested, updater, [updater] { open(updater->state().page); });
    connect(about, &AboutSettingsModel::supportRequested, this, [] {
        QUrl message;
        message.setScheme(u"mailto"_s);
        message.setPath(Support::address());
        open(message);
    });
}

void SettingsActions::scheduleUpdate() {
    if (!std::exchange(m_isUpdateScheduled, true))
        QMetaObject::invokeMethod(this, &SettingsActions::updateAccount, Qt::QueuedConnection);
}

void SettingsActions::updateAccount() {
    m_isUpdateScheduled = false;
    AccountSnapshot account;
    account.isSignedIn = Paths::hasEngineConfig();
    account.email = Preferences::accountEmail().value_or(QString());
    account.quota = m_engine.quota();
    account.pendingInEngine = m_engine.stats().pendingUploads();
    account.consequences = Uninstaller::consequences();
    m_model.account()->update(account);
}

QCoro::Task<> SettingsActions::countPending() {
    const QPointer self(this);
    m_isCountWanted = true;
    if (std::exchange(m_isCounting, true))
        co_return;
    qint64 files = 0;
    // What is asked for while it is counted is counted anew: the answer has to be younger than the question.
    while (std::exchange(m_isCountWanted, false)) {
        files = co_await PendingFiles::count();
        if (!self)
            co_return;
    }
    m_isCounting = false;
    updateAccount();
    m_model.account()->setPendingOnDisk(files);
}

QCoro::Task<> SettingsActions::disconnectAccount() {
    const QPointer self(this);
    co_await m_engine.signOut();
    if (!self)
        co_return;
    m_tokenRemoval = std::async(std::launch::async, [] { Keychain::set(std::nullopt, u"installToken"_s); });
    Preferences::removeServerStatus();
    updateAccount();
    m_model.account()->finish();
    Q_EMIT disconnected();
}

QCoro::Task<> SettingsActions::uninstall() {
    const QPointer self(this);
    const QString reason = co_await m_uninstaller.run();
    if (!self)
        co_return;
    updateAccount();
    if (reason.isEmpty())
        m_model.account()->finish();
    else
        m_model.account()->stop(reason);
}

QCoro::Task<> SettingsActions::updateLocation() {
    const QPointer self(this);
    bool isMissing = m_volumeSetup.isAvailable();
    if (isMissing) {
        const bool isComplete = co_await m_volumeSetup.resolvesLocally();
        if (!self)
            co_return;
        isMissing = !isComplete;
    }
    m_model.general()->setLocation({.canBeAdded = isMissing,
                                    .isBeingAdded = m_engine.isSettingUp(),
                                    .note = isMissing ? m_locationNote : QString()});
}

QCoro::Task<> SettingsActions::addLocation() {
    const QPointer self(this);
    m_locationNote.clear();
    const VolumeSetup::Outcome outcome = co_await m_engine.setUpFinderLocation();
    if (!self)
        co_return;
    m_locationNote = note(outcome);
    co_await updateLocation();
}

} // namespace quillmount
