// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxUserDefaults.h"
#include "Tests/Support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <limits>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace quillmount;
using namespace Qt::StringLiterals;
using Value = UserDefaults::Value;

Q_DECLARE_METATYPE(Value)

class LinuxUserDefaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void keepsTypes_data();
    void keepsTypes();
    void readsAndKeepsWhatTheUserWrote();
    void seesAChangeOnDisk();
    void setsADamagedFileAside_data();
    void setsADamagedFileAside();
    void writesAgainWhatItKnewBeforeTheDamage();
    void isReadableByTheUserAlone();
    void leavesTheOldFileWhenTheDiskIsFull();
    void leavesNothingBehind();

private:
    void write(const QByteArray &text) const { putFile(m_file, text); }
    [[nodiscard]] QByteArray read() const { return contentOf(m_file); }
    [[nodiscard]] QStringList files() const { return QDir(m_folder).entryList(QDir::Files | QDir::Hidden); }

    std::unique_ptr<QTemporaryDir> m_home;
    QString m_folder;
    QString m_file;
};

void LinuxUserDefaultsTest::init() {
    m_home = std::make_unique<QTemporaryDir>();
    m_folder = m_home->path() + u"/config/Quillmount"_s;
    m_file = m_folder + u"/defaults.json"_s;
}

void LinuxUserDefaultsTest::keepsTypes_data() {
    QTest::addColumn<Value>("value");
    QTest::newRow("one") << Value(qint64(1));
    QTest::newRow("beyond a double") << Value((qint64(1) << 53) + 1);
    QTest::newRow("largest") << Value(std::numeric_limits<qint64>::max());
    QTest::newRow("true") << Value(true);
    QTest::newRow("digits") << Value(u"20"_s);
    QTest::newRow("text") << Value(u"a \"b\" \\ \n \u00fc \U0001F58B"_s);
    QTest::newRow("bytes") << Value(QByteArray("\0\xff\x80 x", 5));
    QTest::newRow("dictionary like bytes") << Value(QJsonObject{{u"data"_s, u"AA=="_s}});
    QTest::newRow("no dictionary") << Value(QJsonObject());
}

void LinuxUserDefaultsTest::keepsTypes() {
    QFETCH(Value, value);
    LinuxUserDefaults defaults(m_file);
    QVERIFY(!defaults.value(u"key"_s));
    QVERIFY(defaults.set(u"key"_s, value));
    QVERIFY(defaults.set(u"other"_s, u"x"_s));
    QVERIFY(defaults.remove(u"other"_s));

    const LinuxUserDefaults later(m_file);
    QVERIFY(later.value(u"key"_s) == std::optional(value));
    QVERIFY(!later.value(u"other"_s));
}

void LinuxUserDefaultsTest::readsAndKeepsWhatTheUserWrote() {
    write(R"({"whole": 25.0, "half": 5.5, "huge": 1e300, "list": [1, 2], "nothing": null,
              "future": {"url": "x"}, "data": {"data": "not base64!"}})");
    LinuxUserDefaults defaults(m_file);
    QCOMPARE(defaults.get<qint64>(u"whole"_s), std::optional(qint64(25)));
    for (const QString &key : {u"half"_s, u"huge"_s, u"list"_s, u"nothing"_s, u"future"_s, u"data"_s})
        QVERIFY2(!defaults.value(key), qPrintable(key));

    const QJsonObject before = QJsonDocument::fromJson(read()).object();
    QVERIFY(defaults.set(u"key"_s, true));
    QJsonObject after = QJsonDocument::fromJson(read()).object();
    QCOMPARE(after.take(u"key"_s), QJsonValue(true));
    QCOMPARE(after, before);
}

void LinuxUserDefaultsTest::seesAChangeOnDisk() {
    LinuxUserDefaults defaults(m_file);
    QVERIFY(defaults.set(u"size"_s, qint64(20)));
    write(R"({"size": 30, "mine": "x"})");
    QCOMPARE(defaults.get<qint64>(u"size"_s), std::optional(qint64(30)));
    QVERIFY(QFile::remove(m_file));
    QVERIFY(!defaults.value(u"size"_s));
    write(R"({"mine": "y"})");
    QVERIFY(defaults.set(u"size"_s, qint64(40)));
    QCOMPARE(defaults.get<QString>(u"mine"_s), std::optional(u"y"_s));
}

void LinuxUserDefaultsTest::setsADamagedFileAside_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("cut off") << QByteArray(R"({"cacheSizeGB": 2)");
    QTest::newRow("a list") << QByteArray("[1]");
    QTest::newRow("zeros") << QByteArray(4096, '\0');
}

void LinuxUserDefaultsTest::setsADamagedFileAside() {
    QFETCH(QByteArray, text);
    write(text);
    LinuxUserDefaults defaults(m_file);
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(u"damaged.*kept as"_s));
    QVERIFY(!defaults.value(u"cacheSizeGB"_s));
    QVERIFY(!defaults.value(u"cacheSizeGB"_s));
    QVERIFY(defaults.set(u"cacheSizeGB"_s, qint64(5)));

    const QStringList aside = files().filter(u"damaged"_s);
    QCOMPARE(aside.size(), 1);
    QVERIFY2(aside.first().startsWith(u"defaults.json.damaged-"_s), qPrintable(aside.first()));
    QCOMPARE(contentOf(m_folder + u'/' + aside.first()), text);
    QCOMPARE(LinuxUserDefaults(m_file).get<qint64>(u"cacheSizeGB"_s), std::optional(qint64(5)));
}

void LinuxUserDefaultsTest::writesAgainWhatItKnewBeforeTheDamage() {
    LinuxUserDefaults defaults(m_file);
    QVERIFY(defaults.set(u"key"_s, u"value"_s));
    write("{");
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(u"damaged"_s));
    QCOMPARE(defaults.get<QString>(u"key"_s), std::optional(u"value"_s));
    QCOMPARE(LinuxUserDefaults(m_file).get<QString>(u"key"_s), std::optional(u"value"_s));
}

void LinuxUserDefaultsTest::isReadableByTheUserAlone() {
    const mode_t former = ::umask(0);
    LinuxUserDefaults defaults(m_file);
    QVERIFY(defaults.set(u"email"_s, u"x@example.com"_s));
    const auto mode = [](const QString &path) {
        struct stat found = {};
        ::stat(QFile::encodeName(path).constData(), &found);
        return int(found.st_mode & 07777);
    };
    QCOMPARE(mode(m_file), 0600);
    QCOMPARE(mode(m_folder), 0700);
    QCOMPARE(mode(m_home->path() + u"/config"_s), 0700);

    // A mode that somebody else gave it does not survive the next change.
    QCOMPARE(::chmod(QFile::encodeName(m_file).constData(), 0644), 0);
    QVERIFY(defaults.set(u"email"_s, u"y@example.com"_s));
    QCOMPARE(mode(m_file), 0600);
    ::umask(former);
}

void LinuxUserDefaultsTest::leavesTheOldFileWhenTheDiskIsFull() {
    LinuxUserDefaults defaults(m_file);
    QVERIFY(defaults.set(u"key"_s, u"old"_s));
    const QByteArray before = read();

    rlimit former = {};
    ::getrlimit(RLIMIT_FSIZE, &former);
    const auto disposition = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {4096, former.rlim_max};
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &small), 0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"cannot be kept"_s));
    const bool kept = defaults.set(u"key"_s, QString(100'000, u'x'));
    ::setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, disposition);

    QVERIFY(!kept);
    QCOMPARE(defaults.get<QString>(u"key"_s), std::optional(u"old"_s));
    QCOMPARE(read(), before);
    QCOMPARE(files(), QStringList(u"defaults.json"_s));
}

void LinuxUserDefaultsTest::leavesNothingBehind() {
    putFile(m_folder + u"/defaults.json.damaged-20260115T120000.000Z"_s, "{");
    LinuxUserDefaults defaults(m_file);
    QVERIFY(defaults.set(u"key"_s, u"someone@example.com"_s));
    defaults.removeAll();
    QVERIFY(!defaults.value(u"key"_s));
    QVERIFY(!defaults.set(u"key"_s, u"late"_s));
    QVERIFY(!QFileInfo::exists(m_folder));
}

QTEST_GUILESS_MAIN(LinuxUserDefaultsTest)
#include "LinuxUserDefaultsTest.moc"
