// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/PanelAction.h"
#include "Platform/Clock.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QQuickWindow>

namespace quillmount {

class DriveEngine;

// Carries out what the panel and the menu of its item ask for. An action is carried out after the frame that shows its
// button pressed, and looks at the drive only then: one that no longer fits is dropped. While it waits the same one is
// not taken again.
class PanelActions : public QObject {
    Q_OBJECT

public:
    // `engine` outlives this object.
    explicit PanelActions(DriveEngine &engine, QObject *parent = nullptr);
    ~PanelActions() override;
    Q_DISABLE_COPY_MOVE(PanelActions)

    // Whose frames actions wait for; without a window, or while it is hidden, they wait for the event loop alone.
    void setWindow(QQuickWindow *window) { m_window = window; }

    void perform(PanelAction action);
    // Shows the file of an upload in the file manager; `id` as in DriveTransfer.
    void revealTransfer(const QString &id);

Q_SIGNALS:
    void panelRequested();
    // Windows that the user wants to see: open them, or raise them.
    void onboardingRequested();
    void settingsRequested();
    void quitRequested();

private:
    void waitForFrame();
    void carryOutAll();
    void carryOut(PanelAction action);
    void openWebDrive();

    DriveEngine &m_engine;
    QPointer<QQuickWindow> m_window;
    QList<PanelAction> m_waiting;
    struct {
        PanelAction action = PanelAction::none;
        Clock::Duration time{}; // uptime
    } m_lastOpening;
    QMetaObject::Connection m_frame;
    Clock::TimerId m_timer = 0;
};

} // namespace quillmount
