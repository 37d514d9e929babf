// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Clock.h"
#include "Platform/Linux/StatusNotifierItem.h"
#include "Platform/Linux/StatusNotifierMenu.h"
#include "Platform/MenuBarExtra.h"

#include <QDBusConnection>

#include <memory>
#include <optional>

class QDBusPendingCall;

namespace quillmount {

class LegacyTrayIcon;

// A status-notifier item on a connection of its own to the session bus, which bars come to and leave as they like.
// Where X11 still has no such bar after ten seconds, an icon in the older tray, if there is one. Without a bus nothing.
class LinuxMenuBarExtra final : public MenuBarExtra {
    Q_OBJECT

public:
    // Talks to nobody before the event loop runs.
    explicit LinuxMenuBarExtra(Clock &clock);
    ~LinuxMenuBarExtra() override;
    Q_DISABLE_COPY_MOVE(LinuxMenuBarExtra)

    [[nodiscard]] bool isAvailable() const override { return m_isAvailable; }
    void setImage(const QList<QImage> &sizes) override;
    void setToolTip(const QString &text, const QString &detail) override;
    void setMenu(const QList<MenuItem> &items) override;
    void hide() override;

private:
    void connectToBus();
    void watchBars();
    // `owner`: the bus's name of the program that keeps the list of items; empty when there is none.
    void setOwner(const QString &owner);
    void registerItem();
    void waitForLegacyTray();
    void lookForLegacyTray();
    void updateAvailable();
    void activate(const std::optional<QPoint> &told, const QByteArray &token);
    template <typename Then>
    void whenAnswered(const QDBusPendingCall &call, Then then);

    Clock &m_clock;
    std::optional<QDBusConnection> m_connection;
    StatusNotifierItem m_item;
    StatusNotifierMenu m_menu;
    QString m_owner;
    bool m_hasHost = false; // somebody draws what is in the owner's list
    bool m_isRefused = false;

    std::unique_ptr<RepeatingTimer> m_legacyTimer;
    std::unique_ptr<LegacyTrayIcon> m_legacy;
    QList<QImage> m_image;
    QString m_text;
    QString m_detail;
    QList<MenuItem> m_items;

    bool m_isAvailable = false;
    bool m_isHidden = false;

private Q_SLOTS:
    // By name, because it answers signals of the bus as well.
    void askForHost();
};

} // namespace quillmount
