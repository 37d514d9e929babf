// SPDX-License-Identifier: LicenseRef-Quillmount
// The engine dies under a drive that is in use.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QDirIterator>
#include <QTest>

#include <csignal>
#include <future>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

// How much of a file the engine has in its cache.
qint64 bytesInCache(const TestHome &home, const QString &name) {
    QDirIterator files(home.path() + u"/.cache/Quillmount/vfs"_s, {name}, QDir::Files, QDirIterator::Subdirectories);
    return files.hasNext() ? files.nextFileInfo().size() : 0;
}

} // namespace

class EndOfEngineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void writingProgramIsToldTheTruth();
};

void EndOfEngineTest::writingProgramIsToldTheTruth() {
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    const QByteArray contents = someBytes(300'000'000, 2);
    std::future<bool> saving =
        std::async(std::launch::async, [&home, &contents] { return home.save(u"huge.bin"_s, contents); });
    QTRY_VERIFY_WITH_TIMEOUT(bytesInCache(home, u"huge.bin"_s) > 0, 20'000);
    ::kill(home.engine(), SIGKILL);
    const bool wasSaved = saving.get();
    QVERIFY(application.comesTo(u"live"_s));
    // Whether the engine had all of it before it died does not matter, but a failure must not look like success.
    QVERIFY(!wasSaved || home.load(u"huge.bin"_s) == contents);
    QVERIFY(home.save(u"after.txt"_s, "the drive works again"));
    QTRY_COMPARE_WITH_TIMEOUT(home.load(u"after.txt"_s), QByteArray("the drive works again"), 5'000);
}

QTEST_GUILESS_MAIN(EndOfEngineTest)
#include "EndOfEngineTest.moc"
