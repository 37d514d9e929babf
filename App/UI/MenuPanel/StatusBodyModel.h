// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/PanelBodyModel.h"
#include "App/UI/MenuPanel/StatusContent.h"

namespace quillmount {

// The body of every state but the live one.
class StatusBodyModel : public PanelBodyModel {
    Q_OBJECT
    Q_PROPERTY(quillmount::RouteLine::Style line READ line NOTIFY contentChanged)
    Q_PROPERTY(int moving READ moving NOTIFY contentChanged)
    Q_PROPERTY(QString destination READ destination NOTIFY contentChanged)
    Q_PROPERTY(QString detail READ detail NOTIFY contentChanged)
    Q_PROPERTY(bool isWorking READ isWorking NOTIFY contentChanged)
    Q_PROPERTY(QList<quillmount::PanelButton> buttons READ buttons NOTIFY buttonsChanged)

public:
    explicit StatusBodyModel(const DriveSnapshot &drive, QObject *parent = nullptr);

    [[nodiscard]] bool isLive() const override { return false; }
    [[nodiscard]] QString headline() const override { return m_content.title; }
    void update(const DriveSnapshot &drive) override;

    [[nodiscard]] RouteLine::Style line() const { return m_content.line; }
    [[nodiscard]] int moving() const { return m_content.moving; }
    [[nodiscard]] QString destination() const { return m_content.destination; }
    [[nodiscard]] QString detail() const { return m_content.detail; }
    [[nodiscard]] bool isWorking() const { return m_content.isWorking; }
    [[nodiscard]] QList<PanelButton> buttons() const { return m_content.buttons; }

    // Carries out what the button of this number is for.
    Q_INVOKABLE void press(int button) { perform(m_content.buttons.value(button).action); }

Q_SIGNALS:
    void buttonsChanged();

private:
    StatusContent m_content;
};

} // namespace quillmount
