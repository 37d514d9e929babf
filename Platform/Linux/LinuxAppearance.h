// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Appearance.h"

#include <QDBusVariant>

#include <optional>

namespace quillmount {

// What the desktop says through its settings portal, now and whenever it changes. Without a preference, and until there
// is an answer, the colours of the theme decide: a dark window means a dark appearance.
class LinuxAppearance final : public Appearance {
    Q_OBJECT

public:
    // Talks to nobody before the event loop runs.
    LinuxAppearance();

    [[nodiscard]] ColorScheme colorScheme() const override { return m_colorScheme; }
    [[nodiscard]] bool reducesMotion() const override { return m_reducesMotion; }

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void watchSettings();
    void readSettings();
    void update();

    std::optional<ColorScheme> m_preference;
    bool m_isStillInGnome = false;
    bool m_isStillInKde = false;

    ColorScheme m_colorScheme;
    bool m_reducesMotion = false;

private Q_SLOTS:
    // By name, because it answers a signal of the bus.
    void take(const QString &space, const QString &key, const QDBusVariant &value);
};

} // namespace quillmount
