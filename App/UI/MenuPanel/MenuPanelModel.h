// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/PanelBodyModel.h"
#include "App/UI/MenuPanel/StatusPillContent.h"

#include <QObject>

namespace quillmount {

// The status panel: its pill, its body, its footer. The body is made anew with each state of the drive, in one of two
// places in turn, so that the former one can fade out in the other.
class MenuPanelModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString stateKey READ stateKey NOTIFY stateKeyChanged)
    Q_PROPERTY(QString pillLabel READ pillLabel NOTIFY pillChanged)
    Q_PROPERTY(QString pillColor READ pillColor NOTIFY pillChanged)
    Q_PROPERTY(bool isPillPulsing READ isPillPulsing NOTIFY pillChanged)
    Q_PROPERTY(QString email READ email NOTIFY emailChanged)
    Q_PROPERTY(quillmount::PanelBodyModel *firstBody READ firstBody NOTIFY bodiesChanged)
    Q_PROPERTY(quillmount::PanelBodyModel *secondBody READ secondBody NOTIFY bodiesChanged)
    Q_PROPERTY(bool showsSecondBody READ showsSecondBody NOTIFY bodiesChanged)

public:
    explicit MenuPanelModel(const DriveSnapshot &drive, QObject *parent = nullptr);

    // Shows the drive as it is now.
    void update(const DriveSnapshot &drive);

    // Changes whenever what is shown changes its kind, not for mere figures.
    [[nodiscard]] QString stateKey() const { return m_stateKey; }
    [[nodiscard]] QString pillLabel() const { return m_pill.label; }
    // By its name in the palette.
    [[nodiscard]] QString pillColor() const { return m_pill.color; }
    [[nodiscard]] bool isPillPulsing() const { return m_pill.isPulsing; }
    // Of the account; empty when it is not known.
    [[nodiscard]] QString email() const { return m_email; }
    [[nodiscard]] PanelBodyModel *firstBody() const { return m_bodies[0]; }
    [[nodiscard]] PanelBodyModel *secondBody() const { return m_bodies[1]; }
    [[nodiscard]] bool showsSecondBody() const { return m_current == 1; }
    [[nodiscard]] PanelBodyModel *body() const { return m_bodies[m_current]; }

    Q_INVOKABLE void openSettings() { Q_EMIT actionRequested(PanelAction::openSettings); }
    Q_INVOKABLE void quit() { Q_EMIT actionRequested(PanelAction::quit); }
    // Tells a screen reader of the headline that `item` shows.
    Q_INVOKABLE void announce(QObject *item);

Q_SIGNALS:
    void stateKeyChanged();
    void pillChanged();
    void emailChanged();
    void bodiesChanged();
    void actionRequested(quillmount::PanelAction action);
    void revealRequested(const QString &transferId);

private:
    void replaceBody(const DriveSnapshot &drive);

    DriveState m_state;
    QString m_stateKey;
    StatusPillContent m_pill;
    QString m_email;
    PanelBodyModel *m_bodies[2] = {};
    int m_current = 1;
};

} // namespace quillmount
