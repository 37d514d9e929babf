// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/PanelActions.h"

#include "App/Concurrency/Task.h"
#include "App/Engine/DriveEngine.h"
#include "App/Support/Support.h"
#include "Platform/Platform.h"

#include <QLoggingCategory>

#include <utility>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.panel")

// A window that draws no frame after all does not keep an action waiting.
constexpr Clock::Duration maxFrame = 200ms;

// A second press within this time belongs to a double click.
constexpr Clock::Duration doubleClick = 300ms;

// Whether it opens something of another program's, which would stand there twice.
bool opensSomething(PanelAction action) {
    return action == PanelAction::openDrive || action == PanelAction::openWebDrive ||
           action == PanelAction::contactSupport;
}

} // namespace

PanelActions::PanelActions(DriveEngine &engine, QObject *parent)
    : QObject(parent)
    , m_engine(engine) {}

PanelActions::~PanelActions() {
    Platform::current().clock->cancel(m_timer);
}

void PanelActions::perform(PanelAction action) {
    if (action == PanelAction::none || m_waiting.contains(action))
        return;
    if (opensSomething(action)) {
        const Clock::Duration now = Platform::current().clock->uptime();
        const bool isSecond = m_lastOpening.action == action && now - m_lastOpening.time < doubleClick;
        m_lastOpening = {action, now};
        if (isSecond)
            return;
    }
    m_waiting.append(action);
    if (m_waiting.size() == 1)
        waitForFrame();
}

void PanelActions::waitForFrame() {
    if (!m_window || !m_window->isExposed()) {
        QMetaObject::invokeMethod(this, &PanelActions::carryOutAll, Qt::QueuedConnection);
        return;
    }
    m_frame = connect(m_window, &QQuickWindow::frameSwapped, this, &PanelActions::carryOutAll, Qt::QueuedConnection);
    m_timer = Platform::current().clock->schedule(maxFrame, [this] { carryOutAll(); });
    m_window->update();
}

void PanelActions::carryOutAll() {
    disconnect(m_frame);
    Platform::current().clock->cancel(std::exchange(m_timer, 0));
    for (const PanelAction action : std::exchange(m_waiting, {}))
        carryOut(action);
}

void PanelActions::carryOut(PanelAction action) {
    const DriveState state = m_engine.state();
    switch (action) {
    case PanelAction::none:
        return;
    case PanelAction::openPanel:
        Q_EMIT panelRequested();
        return;
    case PanelAction::openDrive:
        if (state == DriveState::live)
            Platform::current().workspace->openFolder(m_engine.mountPoint(),
                                                      [] { qCWarning(log, "no file manager opened the drive"); });
        return;
    case PanelAction::openWebDrive:
        openWebDrive();
        return;
    case PanelAction::start:
        if (state == DriveState::stopped)
            m_engine.start();
        return;
    case PanelAction::retry:
        if (state.isFailed())
            m_engine.retry();
        return;
    case PanelAction::eject:
        // A second eject would take over from the first.
        if (state == DriveState::live)
            spawn(m_engine.eject(false));
        return;
    case PanelAction::ejectNow:
        if (state == DriveState::ejecting)
            m_engine.ejectNow();
        return;
    case PanelAction::cancelEject:
        m_engine.cancelEject();
        return;
    case PanelAction::contactSupport:
        Support::contact();
        return;
    case PanelAction::openOnboarding:
        Q_EMIT onboardingRequested();
        return;
    case PanelAction::openSettings:
        Q_EMIT settingsRequested();
        return;
    case PanelAction::quit:
        Q_EMIT quitRequested();
        return;
    }
}

void PanelActions::openWebDrive() {
    Platform::current().workspace->openURL(m_engine.driveFolderURL().value_or(Support::driveWebURL()),
                                           [] { qCWarning(log, "no browser opened the drive's address"); });
}

void PanelActions::revealTransfer(const QString &id) {
    if (m_engine.state() == DriveState::live)
        Platform::current().workspace->reveal({m_engine.mountPoint() + u'/' + id});
}

} // namespace quillmount
