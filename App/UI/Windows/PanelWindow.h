// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/Windows/PanelPlacement.h"
#include "Platform/Clock.h"

#include <QObject>
#include <QUrl>

#include <memory>
#include <optional>

class QQmlEngine;
class QQuickView;

namespace quillmount {

// The window of the status panel: under its item in the bar, without a frame, until the user turns to something else;
// or an ordinary window where there is no bar. Its height follows the panel in one step, away from the bar.
class PanelWindow : public QObject {
    Q_OBJECT

public:
    // `engine` and the objects among the properties outlive this window. The view is as large as it asks to be; it has
    // the properties `maximumHeight` and `framed` (whether nobody else draws its edge) and the signal `closeRequested`.
    PanelWindow(QQmlEngine &engine, const QUrl &view, const QVariantMap &properties);
    ~PanelWindow() override;
    Q_DISABLE_COPY_MOVE(PanelWindow)

    [[nodiscard]] QQuickView &view() { return *m_view; }
    [[nodiscard]] bool isVisible() const;

    // The item in the bar was activated: opens the panel there, or closes it.
    void toggle(const MenuBarExtra::Anchor &anchor);
    // Opens the panel, beside the bar if there is one, and brings it to the front. The token is for `Activation`.
    void open(const QByteArray &activationToken);

    bool eventFilter(QObject *watched, QEvent *event) override;

public Q_SLOTS:
    void close();

private:
    void show(bool isOrdinary, const QByteArray &activationToken);
    void place();
    // The screen, or what the bars leave of it, is another one.
    void placeAnew();
    void watchScreen();
    void activeChanged();

    std::unique_ptr<QQuickView> m_view;
    MenuBarExtra::Anchor m_anchor; // of the last opening
    QMetaObject::Connection m_geometryChange;
    QMetaObject::Connection m_availableChange;
    std::optional<PanelPlacement> m_placement; // absent for an ordinary window, and where the system places windows
    bool m_isOrdinary = false;
    bool m_wasActive = false;                    // since it was opened
    std::optional<Clock::Duration> m_lastToggle; // uptime of the last click that was heeded
    std::optional<Clock::Duration> m_lostFocus;  // uptime of the last time that it closed by itself
};

} // namespace quillmount
