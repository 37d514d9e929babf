// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Windows/PanelWindow.h"

#include "App/UI/Windows/ViewLoading.h"
#include "Platform/Platform.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>

#include <utility>

namespace quillmount {

using namespace std::chrono_literals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.panel", QtInfoMsg)

// A bar that takes the focus closes the panel before its click arrives; and the second click of two belongs to the
// first.
constexpr Clock::Duration oneClick = 300ms;

// Kept free above an ordinary window, in points: no usual title bar is higher.
constexpr int titleBar = 48;

Clock::Duration uptime() {
    return Platform::current().clock->uptime();
}

QScreen *screenOf(const MenuBarExtra::Anchor &anchor) {
    const std::optional<QPoint> point = anchor.icon ? anchor.icon->center() : anchor.pointer;
    QScreen *screen = point ? QGuiApplication::screenAt(*point) : nullptr;
    return screen ? screen : QGuiApplication::primaryScreen();
}

} // namespace

PanelWindow::PanelWindow(QQmlEngine &engine, const QUrl &view, const QVariantMap &properties)
    : m_view(std::make_unique<QQuickView>(&engine, nullptr)) {
    m_view->setTitle(QStringLiteral("Quillmount"));
    loadView(*m_view, view, properties);
    m_view->installEventFilter(this);
    connect(m_view->rootObject(), &QQuickItem::implicitHeightChanged, this, &PanelWindow::place);
    connect(m_view->rootObject(), SIGNAL(closeRequested()), this, SLOT(close()));
    connect(m_view.get(), &QWindow::activeChanged, this, &PanelWindow::activeChanged, Qt::QueuedConnection);
    // Queued: the window learns of its new screen before that is ready to be asked.
    connect(m_view.get(), &QWindow::screenChanged, this, &PanelWindow::watchScreen, Qt::QueuedConnection);
    watchScreen();
}

PanelWindow::~PanelWindow() {
    // The view goes first: what it is bound to may be going too.
    m_view->setSource({});
}

bool PanelWindow::isVisible() const {
    return m_view->isVisible();
}

void PanelWindow::toggle(const MenuBarExtra::Anchor &anchor) {
    const Clock::Duration now = uptime();
    if (m_lastToggle && now - *m_lastToggle < oneClick)
        return;
    if (!isVisible() && m_lostFocus && now - *m_lostFocus < oneClick)
        return;
    m_lastToggle = now;
    if (isVisible()) {
        close();
        return;
    }
    QScreen *screen = screenOf(anchor);
    m_view->setScreen(screen);
    m_anchor = anchor;
    show(false, anchor.activationToken);
}

void PanelWindow::open(const QByteArray &activationToken) {
    if (isVisible()) {
        Platform::current().activation->bringToFront(*m_view, activationToken);
        return;
    }
    const bool hasBar = Platform::current().menuBarExtra->isAvailable();
    m_anchor = {};
    if (hasBar)
        m_view->setScreen(QGuiApplication::primaryScreen());
    show(!hasBar, activationToken);
}

void PanelWindow::show(bool isOrdinary, const QByteArray &activationToken) {
    m_isOrdinary = isOrdinary;
    m_view->rootObject()->setProperty("framed", !isOrdinary);
    m_wasActive = false;
    // What had the focus when it was last open would take the Return key, and not look like it.
    if (QQuickItem *focused = m_view->contentItem()->scopedFocusItem())
        focused->setFocus(false);
    m_view->setFlags(isOrdinary ? Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                                      Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint
                                : Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    placeAnew();
    connect(
        m_view.get(), &QQuickWindow::frameSwapped, this,
        [begin = uptime()] {
            qCDebug(log, "first frame after %lld ms", static_cast<long long>((uptime() - begin).count()));
        },
        Qt::SingleShotConnection);
    m_view->show();
    Platform::current().activation->bringToFront(*m_view, activationToken);
}

void PanelWindow::close() {
    m_view->hide();
}

void PanelWindow::watchScreen() {
    disconnect(m_geometryChange);
    disconnect(m_availableChange);
    const QScreen *screen = m_view->screen();
    m_geometryChange = connect(screen, &QScreen::geometryChanged, this, &PanelWindow::placeAnew);
    m_availableChange = connect(screen, &QScreen::availableGeometryChanged, this, &PanelWindow::placeAnew);
    placeAnew();
}

void PanelWindow::placeAnew() {
    m_placement.reset();
    const QScreen &screen = *m_view->screen();
    if (!m_isOrdinary && Platform::current().activation->placesWindows())
        m_placement = PanelPlacement::of(m_anchor, screen.geometry(), screen.availableGeometry());
    place();
}

void PanelWindow::place() {
    const QRect available = m_view->screen()->availableGeometry();
    QQuickItem &panel = *m_view->rootObject();
    panel.setProperty("maximumHeight", available.height() - (m_isOrdinary ? titleBar : 0));
    const QSize size(qRound(panel.implicitWidth()), qRound(panel.implicitHeight()));
    if (size == m_view->size() && !m_placement)
        return;
    m_view->setMinimumSize(size);
    m_view->setMaximumSize(size);
    if (m_placement)
        m_view->setGeometry(m_placement->geometry(size, available));
    else
        m_view->resize(size);
}

void PanelWindow::activeChanged() {
    if (m_view->isActive()) {
        m_wasActive = true;
    } else if (isVisible() && !m_isOrdinary && m_wasActive && !QGuiApplication::modalWindow()) {
        m_lostFocus = uptime();
        close();
    }
}

bool PanelWindow::eventFilter(QObject *watched, QEvent *event) {
    if (watched == m_view.get() && event->type() == QEvent::Close) {
        // Closing destroys what a window has of the system's; hiding keeps it for the next opening.
        event->ignore();
        close();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace quillmount
