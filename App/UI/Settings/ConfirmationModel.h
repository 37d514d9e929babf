// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/Settings/ConfirmationContent.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace quillmount {

// A confirmation dialog: it asks, says that the action runs, and says why it stopped, when it did.
class ConfirmationModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the settings")
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY changed FINAL)
    Q_PROPERTY(bool isAsking READ isAsking NOTIFY changed FINAL)
    Q_PROPERTY(bool isWorking READ isWorking NOTIFY changed FINAL)
    Q_PROPERTY(bool isWarning READ isWarning NOTIFY changed FINAL)
    Q_PROPERTY(QString title READ title NOTIFY changed FINAL)
    Q_PROPERTY(QString message READ message NOTIFY changed FINAL)
    Q_PROPERTY(QString actionTitle READ actionTitle NOTIFY changed FINAL)
    Q_PROPERTY(QString cancelTitle READ cancelTitle NOTIFY changed FINAL)

public:
    using QObject::QObject;

    // Asks; also replaces what is being asked.
    void ask(const ConfirmationContent &content);
    // The action runs: it cannot be given up, and its button says this.
    void work(const QString &progress);
    // The action has stopped; the user only reads why.
    void stop(const QString &title, const QString &reason);
    void close();

    [[nodiscard]] bool isOpen() const { return m_phase != Phase::closed; }
    [[nodiscard]] bool isAsking() const { return m_phase == Phase::asking; }
    [[nodiscard]] bool isWorking() const { return m_phase == Phase::working; }
    [[nodiscard]] bool isWarning() const { return m_content.isWarning || m_phase == Phase::stopped; }
    [[nodiscard]] QString title() const { return m_content.title; }
    [[nodiscard]] QString message() const { return m_content.message; }
    [[nodiscard]] QString actionTitle() const { return m_content.action; }
    [[nodiscard]] QString cancelTitle() const;

    // The button of the action.
    Q_INVOKABLE void confirm();
    // Cancel, Escape and Return.
    Q_INVOKABLE void cancel();

Q_SIGNALS:
    void changed();
    void confirmed();

private:
    enum class Phase { closed, asking, working, stopped };
    void show(Phase phase, const ConfirmationContent &content);

    Phase m_phase = Phase::closed;
    ConfirmationContent m_content;
};

} // namespace quillmount
