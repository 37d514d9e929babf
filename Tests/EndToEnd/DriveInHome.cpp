// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/EndToEnd/DriveInHome.h"

#include "Platform/Linux/DriveTag.h"
#include "Platform/Linux/LinuxSystemCommands.h"
#include "Platform/Platform.h"
#include "Platform/Testing/MemoryBundle.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QJsonDocument>
#include <QTest>

namespace quillmount {

using namespace Qt::StringLiterals;

DriveInHome::DriveInHome(TestHome &home, Time time, VolumeSetup *volumeSetup)
    : m_home(home) {
    home.exportEnvironment();
    const QString bundle = qEnvironmentVariable("QUILLMOUNT_BIN");
    auto platform = makePlatform();
    auto information = std::make_unique<MemoryBundle>();
    information->setExecutable(u"QuillmountEngine"_s, bundle + u"/QuillmountEngine"_s);
    information->setInfoString(u"QMGoogleClientID"_s, home.clientId());
    information->setInfoString(u"QMGoogleClientSecret"_s, home.clientSecret());
    information->setInfoString(u"QMGoogleAuthorizationEndpoint"_s, home.google.accounts() + u"/o/oauth2/v2/auth"_s);
    if (volumeSetup)
        information->setInfoString(u"QMLocationSetup"_s, u"on request"_s);
    information->setInfoString(u"QMGoogleTokenEndpoint"_s, home.google.accounts() + u"/token"_s);
    platform->bundle = std::move(information);
    platform->systemCommands =
        std::make_unique<LinuxSystemCommands>(bundle + u"/quillmount-mount"_s, driveTag(*platform->directories));
    if (time == byHand)
        platform->clock = std::make_unique<ManualClock>();
    Platform::install(std::move(platform));
    m_engine = std::make_unique<DriveEngine>(volumeSetup ? *volumeSetup : m_noVolumeSetup);
    QObject::connect(m_engine.get(), &DriveEngine::stateChanged, m_engine.get(), [this] {
        if (m_states.isEmpty() || m_states.last() != m_engine->state().name())
            m_states.append(m_engine->state().name());
    });
}

DriveInHome::~DriveInHome() {
    m_engine->shutdownNow();
    m_engine.reset();
    Platform::install(nullptr);
}

void DriveInHome::connect(int lifetime) {
    const QByteArray token = QJsonDocument(m_home.newToken(lifetime)).toJson(QJsonDocument::Compact);
    spawn(m_engine->connect(QString::fromUtf8(token), std::nullopt));
}

bool DriveInHome::goLive() {
    connect();
    return comesTo(DriveState::live);
}

bool DriveInHome::comesTo(DriveState state, int seconds) {
    return QTest::qWaitFor([&] { return m_engine->state() == state; }, seconds * 1000);
}

ManualClock &DriveInHome::clock() const {
    return dynamic_cast<ManualClock &>(*Platform::current().clock);
}

} // namespace quillmount
