// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/PanelBodies.h"
#include "App/UI/MenuPanel/StatusPillContent.h"

#include <QObject>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

namespace quillmount {

// The status panel: its pill, its body, its footer. The body is made anew with each state of the drive.
class MenuPanelModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the panel")
    Q_PROPERTY(QString stateKey READ stateKey NOTIFY stateKeyChanged FINAL)
    Q_PROPERTY(QString pillLabel READ pillLabel NOTIFY pillChanged FINAL)
    Q_PROPERTY(QString pillColor READ pillColor NOTIFY pillChanged FINAL)
    Q_PROPERTY(bool isPillPulsing READ isPillPulsing NOTIFY pillChanged FINAL)
    Q_PROPERTY(QString email READ email NOTIFY emailChanged FINAL)
    Q_PROPERTY(bool hasEmail READ hasEmail NOTIFY emailChanged FINAL)
    Q_PROPERTY(QString settingsTitle READ settingsTitle CONSTANT FINAL)
    Q_PROPERTY(QString quitTitle READ quitTitle CONSTANT FINAL)
    Q_PROPERTY(QString quitTip READ quitTip CONSTANT FINAL)
    Q_PROPERTY(quillmount::PanelBodies *bodies READ bodies CONSTANT FINAL)

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
    [[nodiscard]] bool hasEmail() const { return !m_email.isEmpty(); }
    [[nodiscard]] static QString settingsTitle() { return QStringLiteral("Settings"); }
    [[nodiscard]] static QString quitTitle() { return QStringLiteral("Quit"); }
    [[nodiscard]] static QString quitTip() { return QStringLiteral("Quit Quillmount"); }
    [[nodiscard]] PanelBodies *bodies() { return &m_bodies; }

    Q_INVOKABLE void openSettings() { Q_EMIT actionRequested(PanelAction::openSettings); }
    Q_INVOKABLE void quit() { Q_EMIT actionRequested(PanelAction::quit); }
    // Tells a screen reader of the present headline, which `item` shows, unless it was told already or nobody sees it.
    Q_INVOKABLE void announce(QQuickItem *item);

Q_SIGNALS:
    void stateKeyChanged();
    void pillChanged();
    void emailChanged();
    void actionRequested(quillmount::PanelAction action);
    void revealRequested(const QString &transferId);

private:
    [[nodiscard]] PanelBodyModel *makeBody(const DriveSnapshot &drive);

    DriveState m_state;
    QString m_stateKey;
    StatusPillContent m_pill;
    QString m_email;
    PanelBodies m_bodies;
    QString m_announced;
};

} // namespace quillmount
