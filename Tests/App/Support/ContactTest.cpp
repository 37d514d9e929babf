// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Paths.h"
#include "App/Support/Support.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class ContactTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void message() {
        const ScopedPlatform platform;
        platform.bundle().setInfoString(u"CFBundleShortVersionString"_s, u"1.4+b"_s);
        Support::contact();
        QCOMPARE(platform.pasteboard().text(), Support::address());
        QVERIFY(platform.workspace().revealed().isEmpty());
        const QString message = platform.workspace().opened().value(0).toString(QUrl::FullyEncoded);
        QVERIFY(
            message.startsWith(u"mailto:"_s + Support::address() + u"?subject=Quillmount%201.4%2Bb%20help&body="_s));
        const QString body = QUrl::fromPercentEncoding(message.section(u"&body="_s, 1).toUtf8());
        QVERIFY(body.startsWith(u"What happened:\n\n\nmacOS "_s));
        QVERIFY(body.endsWith(u"\nPlease attach the file engine.log that Quillmount just showed in Finder."_s));
    }

    void log() {
        const ScopedPlatform platform;
        Paths::ensureDirectories();
        const QStringList logs{Paths::engineLog(), Paths::formerEngineLog()};
        for (const QString &path : logs)
            QVERIFY(QFile(path).open(QIODevice::WriteOnly));
        Support::contact();
        QCOMPARE(platform.workspace().revealed(), logs);
    }
};

QTEST_GUILESS_MAIN(ContactTest)
#include "ContactTest.moc"
