// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxAppearance.h"
#include "Tests/Support/PrivateBus.h"

#include <QDBusContext>
#include <QGuiApplication>
#include <QPalette>
#include <QSignalSpy>
#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

using ColorScheme = Appearance::ColorScheme;

// A settings portal, which wraps the value of an answer twice as they do.
class Portal : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    Portal(PrivateBus &bus, const QHash<QString, QVariant> &valuesOfKeys, bool isSilentOne = false)
        : values(valuesOfKeys)
        , isSilent(isSilentOne)
        , m_bus(bus)
        , m_connection(bus.join(u"portal"_s)) {
        m_connection.registerObject(u"/org/freedesktop/portal/desktop"_s, this, QDBusConnection::ExportAllContents);
        m_connection.registerService(u"org.freedesktop.portal.Desktop"_s);
    }
    ~Portal() override {
        m_connection = QDBusConnection(QString());
        m_bus.leave(u"portal"_s);
    }
    Q_DISABLE_COPY_MOVE(Portal)

    void change(const QString &space, const QString &key, const QVariant &value) {
        Q_EMIT SettingChanged(space, key, QDBusVariant(value));
    }

    QHash<QString, QVariant> values;
    bool isSilent;
    int questions = 0;

public Q_SLOTS:
    QDBusVariant Read(const QString &, const QString &key) {
        ++questions;
        if (isSilent)
            setDelayedReply(true);
        else if (!values.contains(key))
            sendErrorReply(u"org.freedesktop.portal.Error.NotFound"_s, u"Requested setting not found"_s);
        return QDBusVariant(QVariant::fromValue(QDBusVariant(values.value(key))));
    }

Q_SIGNALS:
    void SettingChanged(const QString &space, const QString &key, const QDBusVariant &value);

private:
    PrivateBus &m_bus;
    QDBusConnection m_connection;
};

class LinuxAppearanceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void asksThePortal_data();
    void asksThePortal();
    void followsChanges();
    void aPortalThatComesLate();

private:
    PrivateBus m_bus;
};

void LinuxAppearanceTest::asksThePortal_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("windowIsDark");
    QTest::addColumn<bool>("dark");
    QTest::addColumn<bool>("reduced");
    const QString scheme = u"color-scheme"_s;
    QTest::newRow("dark") << scheme << QVariant(1U) << false << true << false;
    QTest::newRow("light") << scheme << QVariant(2U) << true << false << false;
    QTest::newRow("no preference") << scheme << QVariant(0U) << true << true << false;
    QTest::newRow("nonsense") << scheme << QVariant(u"black"_s) << false << false << false;
    QTest::newRow("no animations in GNOME") << u"enable-animations"_s << QVariant(false) << false << false << true;
    QTest::newRow("animations in GNOME") << u"enable-animations"_s << QVariant(true) << false << false << false;
    QTest::newRow("none in KDE") << u"AnimationDurationFactor"_s << QVariant(u"0"_s) << false << false << true;
    QTest::newRow("slow in KDE") << u"AnimationDurationFactor"_s << QVariant(u"0.5"_s) << false << false << false;
}

void LinuxAppearanceTest::asksThePortal() {
    QFETCH(bool, windowIsDark);
    QFETCH(bool, dark);
    QFETCH(bool, reduced);
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    const QPalette former = QGuiApplication::palette();
    QGuiApplication::setPalette(QPalette(windowIsDark ? Qt::black : Qt::white));
    Portal portal(m_bus, {{key, value}});
    const LinuxAppearance appearance;
    QCOMPARE(appearance.colorScheme(), windowIsDark ? ColorScheme::dark : ColorScheme::light);
    QVERIFY(!appearance.reducesMotion());
    QTRY_COMPARE(portal.questions, 3);
    // Told after the answers, a change of the other setting arrives after them.
    if (key == u"color-scheme"_s) {
        portal.change(u"org.gnome.desktop.interface"_s, u"enable-animations"_s, false);
        QTRY_VERIFY(appearance.reducesMotion());
        QCOMPARE(appearance.colorScheme(), dark ? ColorScheme::dark : ColorScheme::light);
    } else {
        portal.change(u"org.freedesktop.appearance"_s, u"color-scheme"_s, 1U);
        QTRY_COMPARE(appearance.colorScheme(), ColorScheme::dark);
        QCOMPARE(appearance.reducesMotion(), reduced);
    }
    QGuiApplication::setPalette(former);
}

void LinuxAppearanceTest::followsChanges() {
    Portal portal(m_bus, {{u"color-scheme"_s, 2U}});
    LinuxAppearance appearance;
    QSignalSpy schemes(&appearance, &Appearance::colorSchemeChanged);
    QSignalSpy motions(&appearance, &Appearance::reduceMotionChanged);
    QTRY_COMPARE(portal.questions, 3);
    const QString space = u"org.freedesktop.appearance"_s;
    for (const uint value : {1U, 1U, 2U})
        portal.change(space, u"color-scheme"_s, value);
    portal.change(space, u"accent-color"_s, 1U);
    portal.change(u"org.gnome.desktop.interface"_s, u"enable-animations"_s, false);
    QTRY_COMPARE(motions.size(), 1);
    QCOMPARE(schemes.size(), 2);
    QCOMPARE(appearance.colorScheme(), ColorScheme::light);
    QVERIFY(appearance.reducesMotion());
}

void LinuxAppearanceTest::aPortalThatComesLate() {
    std::optional<Portal> portal(std::in_place, m_bus, QHash<QString, QVariant>(), true);
    const LinuxAppearance appearance;
    const ColorScheme guess = appearance.colorScheme();
    QTRY_COMPARE(portal->questions, 3);
    portal.reset();
    QCOMPARE(appearance.colorScheme(), guess);
    const bool isDark = guess == ColorScheme::dark;
    portal.emplace(m_bus, QHash<QString, QVariant>{{u"color-scheme"_s, isDark ? 2U : 1U}});
    QTRY_COMPARE(appearance.colorScheme(), isDark ? ColorScheme::light : ColorScheme::dark);
}

QTEST_MAIN(LinuxAppearanceTest)
#include "LinuxAppearanceTest.moc"
