// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/PanelBodyModel.h"
#include "App/UI/MenuPanel/StatusContent.h"

namespace quillmount {

// The body of every state but the live one.
class StatusBodyModel : public quillmount::PanelBodyModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the panel")
    Q_PROPERTY(int line READ line NOTIFY contentChanged FINAL)
    Q_PROPERTY(int moving READ moving NOTIFY contentChanged FINAL)
    Q_PROPERTY(QString destination READ destination NOTIFY contentChanged FINAL)
    Q_PROPERTY(QString detail READ detail NOTIFY contentChanged FINAL)
    Q_PROPERTY(bool isWorking READ isWorking NOTIFY contentChanged FINAL)
    Q_PROPERTY(bool hasPrimaryButton READ hasPrimaryButton NOTIFY buttonsChanged FINAL)
    Q_PROPERTY(QString primaryButton READ primaryButton NOTIFY buttonsChanged FINAL)
    Q_PROPERTY(QStringList secondaryButtons READ secondaryButtons NOTIFY buttonsChanged FINAL)

public:
    explicit StatusBodyModel(const DriveSnapshot &drive, QObject *parent = nullptr);

    [[nodiscard]] QString view() const override { return QStringLiteral("StatusBody.qml"); }
    [[nodiscard]] QString headline() const override { return m_content.title; }
    void update(const DriveSnapshot &drive) override;

    // A RouteDiagram::LineStyle.
    [[nodiscard]] int line() const { return static_cast<int>(m_content.line); }
    [[nodiscard]] int moving() const { return m_content.moving; }
    [[nodiscard]] QString destination() const { return m_content.destination; }
    [[nodiscard]] QString detail() const { return m_content.detail; }
    [[nodiscard]] bool isWorking() const { return m_content.isWorking; }
    [[nodiscard]] bool hasPrimaryButton() const { return !primaryButton().isEmpty(); }
    // The title; empty when there is none.
    [[nodiscard]] QString primaryButton() const;
    // The titles.
    [[nodiscard]] QStringList secondaryButtons() const;

    // Carries out what the button of this title is for.
    Q_INVOKABLE void press(const QString &title);

Q_SIGNALS:
    void buttonsChanged();

private:
    StatusContent m_content;
};

} // namespace quillmount
