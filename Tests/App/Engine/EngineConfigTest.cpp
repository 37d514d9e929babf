// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/EngineConfig.h"
#include "App/Support/Paths.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/Support/Started.h"
#include "Tests/Support/TestFiles.h"

#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace quillmount;
using namespace Qt::StringLiterals;
using EngineConfig::ConfigError;

namespace {

// What was brought to disk, in its order: 'd' for a directory, 'f' for a file.
QByteArray synced;

QByteArray expectedText(const QByteArray &token) {
    return "[drive]\ntype = drive\nclient_id = the id\nclient_secret = the secret\nscope = drive.file\ntoken = " +
           token + "\n";
}

QStringList filesBeside(const QString &path) {
    return QFileInfo(path).dir().entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

// As long as it lives no file can grow beyond `bytes`, as on a full disk. It holds root, too.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit = {bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
        m_handler = signal(SIGXFSZ, SIG_IGN);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        signal(SIGXFSZ, m_handler);
    }
    Q_DISABLE_COPY_MOVE(FullDisk)

private:
    rlimit m_before = {};
    void (*m_handler)(int) = SIG_DFL;
};

} // namespace

// Stands before the system's, which the code under test would call.
extern "C" int fsync(int descriptor) {
    struct stat what = {};
    fstat(descriptor, &what);
    synced += S_ISDIR(what.st_mode) ? 'd' : 'f';
    return 0;
}

class EngineConfigTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_platform.reset(); }
    void write();
    void failureKeepsTheFormerFile();
    void refreshToken_data();
    void refreshToken();

private:
    std::unique_ptr<ScopedPlatform> m_platform;
};

void EngineConfigTest::init() {
    m_platform = std::make_unique<ScopedPlatform>();
    m_platform->bundle().setInfoString(u"QMGoogleClientID"_s, u"the id"_s);
    m_platform->bundle().setInfoString(u"QMGoogleClientSecret"_s, u"the secret"_s);
}

void EngineConfigTest::write() {
    // A former file that everybody may read does not pass that on.
    QVERIFY(started(EngineConfig::write(u"{\"a\": \"old\"}"_s))->value);
    QVERIFY(QFile::setPermissions(Paths::engineConfig(), QFile::Permissions(0x6444)));
    for (const auto &token : {u"{\"a\": \"x = y == z\", \"refresh_token\":\"é\"}"_s, u"{}"_s}) {
        synced.clear();
        QVERIFY(started(EngineConfig::write(token))->value);
        // The contents before the name, and the name as well: a power cut leaves one of the two files.
        QCOMPARE(synced, "fd"_ba);
        QCOMPARE(contentOf(Paths::engineConfig()), expectedText(token.toUtf8()));
        QCOMPARE(QFile::permissions(Paths::engineConfig()) & QFile::Permissions(0x0fff) & ~QFile::ReadUser &
                     ~QFile::WriteUser,
                 QFile::Permissions());
        QCOMPARE(QFile::permissions(Paths::engineConfig()) & (QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner),
                 QFile::ReadOwner | QFile::WriteOwner);
        QCOMPARE(filesBeside(Paths::engineConfig()), QStringList(u"engine.conf"_s));
    }

    EngineConfig::remove();
    QVERIFY(!Paths::hasEngineConfig());
    EngineConfig::remove(); // there is none any more
}

void EngineConfigTest::failureKeepsTheFormerFile() {
    QVERIFY(started(EngineConfig::write(u"{\"refresh_token\":\"former\"}"_s))->value);
    const QByteArray before = contentOf(Paths::engineConfig());
    std::unique_ptr<ConfigError> error;
    {
        const FullDisk disk(60);
        error = started(EngineConfig::write(u"{\"refresh_token\":\"new\"}"_s))->thrown<ConfigError>();
    }
    QVERIFY(error && error->which() == ConfigError::writeFailed);
    QCOMPARE(error->description(), u"Quillmount couldn't save your account. Please try again."_s);
    QCOMPARE(contentOf(Paths::engineConfig()), before);
    QCOMPARE(filesBeside(Paths::engineConfig()), QStringList(u"engine.conf"_s));
}

void EngineConfigTest::refreshToken_data() {
    using Token = std::optional<QString>;
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<Token>("token");

    QTest::newRow("as written") << expectedText("{\"access_token\":\"a\",\"refresh_token\":\"r\"}") << Token(u"r"_s);
    QTest::newRow("by the engine") << "[drive]\ntoken = {\"refresh_token\":\"1//é=\"}\nteam_drive = \n"_ba
                                   << Token(u"1//é="_s);
    QTest::newRow("the first line counts") << "token = {\"x\":1}\ntoken = {\"refresh_token\":\"r\"}\n"_ba << Token();
    QTest::newRow("no file") << QByteArray() << Token();
    QTest::newRow("no token line") << "[drive]\n token = {\"refresh_token\":\"r\"}\n"_ba << Token();
    QTest::newRow("broken JSON") << "token = {\"refresh_token\":\"r\"\n"_ba << Token();
    QTest::newRow("an array") << "token = [\"refresh_token\"]\n"_ba << Token();
    QTest::newRow("no text") << "token = {\"refresh_token\":7}\n"_ba << Token();
}

void EngineConfigTest::refreshToken() {
    QFETCH(QByteArray, file);
    Paths::ensureDirectories();
    QFile configuration(Paths::engineConfig());
    if (!file.isEmpty())
        QVERIFY(configuration.open(QIODevice::WriteOnly) && configuration.write(file) == file.size());
    configuration.close();
    QTEST(EngineConfig::refreshToken(), "token");
}

QTEST_GUILESS_MAIN(EngineConfigTest)
#include "EngineConfigTest.moc"
