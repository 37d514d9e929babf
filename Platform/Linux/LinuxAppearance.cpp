// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxAppearance.h"

#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/SessionBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>

#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr int answersWithin = 1000; // milliseconds

const QString portal = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString settings = u"org.freedesktop.portal.Settings"_s;

struct Setting {
    QString space;
    QString key;

    friend bool operator==(const Setting &, const Setting &) = default;
};

const Setting colourScheme = {u"org.freedesktop.appearance"_s, u"color-scheme"_s};
const Setting gnomeAnimations = {u"org.gnome.desktop.interface"_s, u"enable-animations"_s};
const Setting kdeAnimations = {u"org.kde.kdeglobals.KDE"_s, u"AnimationDurationFactor"_s};

// An answer wraps its value twice, a signal once.
QVariant unwrapped(const QDBusVariant &wrapped) {
    QVariant value = wrapped.variant();
    while (value.metaType() == QMetaType::fromType<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

Appearance::ColorScheme schemeOfTheme() {
    const QPalette palette = QGuiApplication::palette();
    const bool isDark = palette.color(QPalette::Window).lightnessF() < palette.color(QPalette::WindowText).lightnessF();
    return isDark ? Appearance::ColorScheme::dark : Appearance::ColorScheme::light;
}

} // namespace

LinuxAppearance::LinuxAppearance()
    : m_colorScheme(schemeOfTheme()) {
    qGuiApp->installEventFilter(this);
    if (SessionBus::isThere())
        QMetaObject::invokeMethod(this, &LinuxAppearance::watchSettings, Qt::QueuedConnection);
}

bool LinuxAppearance::eventFilter(QObject *watched, QEvent *event) {
    if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange)
        update();
    return Appearance::eventFilter(watched, event);
}

void LinuxAppearance::watchSettings() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    // The slot is found by the names of its types, and this one has none before its first use.
    qRegisterMetaType<QDBusVariant>();
    // From any sender: with a name Qt would first wait for the bus to say whose it is.
    if (!bus.connect(QString(), portalPath, settings, u"SettingChanged"_s, this,
                     SLOT(take(QString, QString, QDBusVariant))))
        qCWarning(platformLog, "changes of the desktop's appearance will not be noticed");
    // A portal that was too slow for the first question, or has been started again, is asked when it is there.
    auto *watcher = new QDBusServiceWatcher(portal, bus, QDBusServiceWatcher::WatchForRegistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, &LinuxAppearance::readSettings);
    readSettings();
}

void LinuxAppearance::readSettings() {
    for (const Setting &setting : {colourScheme, gnomeAnimations, kdeAnimations}) {
        QDBusMessage question = QDBusMessage::createMethodCall(portal, portalPath, settings, u"Read"_s);
        question << setting.space << setting.key;
        auto *watcher =
            new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question, answersWithin), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, setting] {
            watcher->deleteLater();
            const QDBusPendingReply<QDBusVariant> answer = *watcher;
            if (!answer.isError())
                take(setting.space, setting.key, answer.value());
            else if (setting == colourScheme) // the others are of one desktop each
                qCInfo(platformLog).noquote() << "the desktop tells no colour scheme:" << answer.error().message();
        });
    }
}

void LinuxAppearance::take(const QString &space, const QString &key, const QDBusVariant &value) {
    const Setting setting = {space, key};
    const QVariant content = unwrapped(value);
    bool isNumber = false;
    if (setting == colourScheme) {
        constexpr uint prefersDark = 1;
        constexpr uint prefersLight = 2;
        m_preference.reset();
        if (content.toUInt() == prefersDark)
            m_preference = ColorScheme::dark;
        else if (content.toUInt() == prefersLight)
            m_preference = ColorScheme::light;
    } else if (setting == gnomeAnimations) {
        m_isStillInGnome = content.metaType() == QMetaType::fromType<bool>() && !content.toBool();
    } else if (setting == kdeAnimations) {
        m_isStillInKde = content.toDouble(&isNumber) == 0 && isNumber;
    } else {
        return;
    }
    update();
}

void LinuxAppearance::update() {
    const ColorScheme scheme = m_preference.value_or(schemeOfTheme());
    const bool reducesMotion = m_isStillInGnome || m_isStillInKde;
    const bool isOtherScheme = std::exchange(m_colorScheme, scheme) != scheme;
    const bool isOtherMotion = std::exchange(m_reducesMotion, reducesMotion) != reducesMotion;
    if (isOtherScheme)
        Q_EMIT colorSchemeChanged();
    if (isOtherMotion)
        Q_EMIT reduceMotionChanged();
}

} // namespace quillmount
