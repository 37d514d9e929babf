// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/GoogleStandIn/GoogleClient.h"
#include "Tests/Support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkProxy>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace quillmount;

// The real engine with the local Google: what the engine sends must be what the stand-in understands, and the other
// way round.
class EngineAgainstStandInTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void refreshesItsTokenOnce();
    void uploadsBothFormsAndReadsBack();
    void worksWithoutSeeingTheRoot();
    void foldersMovesAndTrash();
    void uploadSurvives_data();
    void uploadSurvives();
    void failuresSayWhatGoogleSaid_data();
    void failuresSayWhatGoogleSaid();

private:
    QString engine() const { return qEnvironmentVariable("QUILLMOUNT_BIN") + u"/QuillmountEngine"_s; }
    QString local(const QString &name) const { return m_folder->filePath(name); }
    QByteArray log() const { return contentOf(local(u"engine.log"_s)); }
    // Runs a command of the engine to its end; its exit status.
    int run(const QStringList &arguments, QByteArray *output = nullptr, QByteArray *errors = nullptr);
    void serve();
    // One remote-control call; the status.
    int remote(const QString &call, const QJsonObject &parameters, QJsonObject *answer = nullptr);
    int copyUp(const QString &name, const QString &remoteName, QJsonObject *answer = nullptr) {
        return remote(u"operations/copyfile"_s,
                      {{"srcFs"_L1, m_folder->path()},
                       {"srcRemote"_L1, name},
                       {"dstFs"_L1, "drive:Quillmount"_L1},
                       {"dstRemote"_L1, remoteName}},
                      answer);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<LocalGoogle> m_google;
    std::unique_ptr<QProcess> m_engine;
    QUrl m_remote;
};

void EngineAgainstStandInTest::init() {
    m_folder = std::make_unique<QTemporaryDir>();
    m_google = std::make_unique<LocalGoogle>();
    putFile(local(u"engine.conf"_s), m_google->engineConfiguration());
}

void EngineAgainstStandInTest::cleanup() {
    if (m_engine) {
        m_engine->kill();
        m_engine->waitForFinished();
    }
    m_engine.reset();
    m_google.reset();
    m_folder.reset();
}

int EngineAgainstStandInTest::run(const QStringList &arguments, QByteArray *output, QByteArray *errors) {
    QProcess process;
    process.setProcessEnvironment(m_google->environment());
    process.start(engine(), QStringList{u"--config"_s, local(u"engine.conf"_s), u"--low-level-retries"_s, u"1"_s,
                                        u"--retries"_s, u"1"_s} +
                                arguments);
    if (!process.waitForFinished())
        return -1;
    if (output)
        *output = process.readAllStandardOutput();
    if (errors)
        *errors = process.readAllStandardError();
    return process.exitCode();
}

void EngineAgainstStandInTest::serve() {
    m_engine = std::make_unique<QProcess>();
    m_engine->setProcessEnvironment(m_google->environment());
    m_engine->start(engine(), {u"serve"_s,
                               u"nfs"_s,
                               u"drive:Quillmount"_s,
                               u"--addr"_s,
                               u"127.0.0.1:0"_s,
                               u"--config"_s,
                               local(u"engine.conf"_s),
                               u"--cache-dir"_s,
                               local(u"cache"_s),
                               u"--vfs-cache-mode"_s,
                               u"full"_s,
                               u"--drive-chunk-size"_s,
                               u"8M"_s,
                               u"--rc"_s,
                               u"--rc-no-auth"_s,
                               u"--rc-addr"_s,
                               u"127.0.0.1:0"_s,
                               u"--log-file"_s,
                               local(u"engine.log"_s),
                               u"--log-level"_s,
                               u"NOTICE"_s});
    QTRY_VERIFY_WITH_TIMEOUT(log().contains("NFS Server running"), 20'000);
    static const QRegularExpression address(u"remote control on (http://\\S+)"_s);
    m_remote = QUrl(address.match(QString::fromUtf8(log())).captured(1));
}

int EngineAgainstStandInTest::remote(const QString &call, const QJsonObject &parameters, QJsonObject *answer) {
    QNetworkAccessManager network;
    network.setProxy(QNetworkProxy::NoProxy);
    QNetworkRequest request(m_remote.resolved(QUrl(call)));
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    const GoogleClient::Answer result = GoogleClient::finish(network.post(request, QJsonDocument(parameters).toJson()));
    if (answer)
        *answer = result.json;
    return result.status;
}

void EngineAgainstStandInTest::refreshesItsTokenOnce() {
    m_google->makeFolder(u"Quillmount"_s);
    m_google->write(u"Quillmount/it's \\ here.txt"_s, "x");
    m_google->grantAgain(-60);
    putFile(local(u"engine.conf"_s), m_google->engineConfiguration());
    QByteArray output;
    QCOMPARE(run({u"lsf"_s, u"drive:Quillmount"_s}, &output), 0);
    QCOMPARE(output, QByteArray("it's \\ here.txt\n"));
    QCOMPARE(run({u"lsf"_s, u"drive:"_s}, &output), 0);
    QCOMPARE(output, QByteArray("Quillmount/\n"));
    QCOMPARE(m_google->count(u"token.refresh"_s), 1);
}

void EngineAgainstStandInTest::uploadsBothFormsAndReadsBack() {
    serve();
    const QByteArray small = patterned(1'000'003);
    const QByteArray large = patterned(20'000'001);
    putFile(local(u"small"_s), small);
    putFile(local(u"large"_s), large);
    QCOMPARE(copyUp(u"small"_s, u"small.bin"_s), 200);
    QCOMPARE(copyUp(u"large"_s, u"sub/large.bin"_s), 200);
    QCOMPARE(m_google->count(u"upload.create"_s), 1);
    QCOMPARE(m_google->count(u"upload.chunk"_s), 3);
    QCOMPARE(contentOf(m_google->pathOf(u"Quillmount/small.bin"_s)), small);
    QCOMPARE(contentOf(m_google->pathOf(u"Quillmount/sub/large.bin"_s)), large);
    QCOMPARE(m_google->file(u"Quillmount/small.bin"_s)["modifiedTime"_L1].toString(),
             QFileInfo(local(u"small"_s)).lastModified().toUTC().toString(Qt::ISODateWithMs));

    // Over what is there: the same file with new content, in both forms.
    const QString id = m_google->file(u"Quillmount/small.bin"_s)["id"_L1].toString();
    QCOMPARE(copyUp(u"large"_s, u"small.bin"_s), 200);
    QCOMPARE(m_google->file(u"Quillmount/small.bin"_s)["id"_L1].toString(), id);
    QCOMPARE(contentOf(m_google->pathOf(u"Quillmount/small.bin"_s)), large);

    QCOMPARE(remote(u"operations/copyfile"_s, {{"srcFs"_L1, "drive:Quillmount"_L1},
                                               {"srcRemote"_L1, "sub/large.bin"_L1},
                                               {"dstFs"_L1, m_folder->path()},
                                               {"dstRemote"_L1, "back"_L1}}),
             200);
    QCOMPARE(contentOf(local(u"back"_s)), large);
}

void EngineAgainstStandInTest::worksWithoutSeeingTheRoot() {
    m_google->control("POST", u"/settings"_s, {{"rootVisible"_L1, false}});
    serve();
    putFile(local(u"a"_s), "a");
    QCOMPARE(copyUp(u"a"_s, u"a.txt"_s), 200);
    QCOMPARE(contentOf(m_google->pathOf(u"Quillmount/a.txt"_s)), QByteArray("a"));
}

void EngineAgainstStandInTest::foldersMovesAndTrash() {
    serve();
    putFile(local(u"a"_s), "a");
    const auto at = [](const char *name) {
        return QJsonObject{{"fs"_L1, "drive:Quillmount"_L1}, {"remote"_L1, QString::fromUtf8(name)}};
    };
    QCOMPARE(remote(u"operations/mkdir"_s, at("F/G")), 200);
    QCOMPARE(copyUp(u"a"_s, u"F/a.txt"_s), 200);
    const QString id = m_google->file(u"Quillmount/F/a.txt"_s)["id"_L1].toString();
    QCOMPARE(remote(u"operations/movefile"_s, {{"srcFs"_L1, "drive:Quillmount"_L1},
                                               {"srcRemote"_L1, "F/a.txt"_L1},
                                               {"dstFs"_L1, "drive:Quillmount"_L1},
                                               {"dstRemote"_L1, u"F/G/b \u00e4.txt"_s}}),
             200);
    QCOMPARE(m_google->file(u"Quillmount/F/G/b \u00e4.txt"_s)["id"_L1].toString(), id);
    QJsonObject answer;
    QCOMPARE(remote(u"operations/list"_s, at("F"), &answer), 200);
    QCOMPARE(answer["list"_L1].toArray().size(), 1);
    QVERIFY(remote(u"operations/rmdir"_s, at("F/G")) != 200);
    QCOMPARE(remote(u"operations/deletefile"_s, at("F/G/b \u00e4.txt")), 200);
    QCOMPARE(remote(u"operations/rmdir"_s, at("F/G")), 200);
    QCOMPARE(QDir(m_google->pathOf(u"Quillmount/F"_s)).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
             QStringList());
    QCOMPARE(remote(u"operations/about"_s, {{"fs"_L1, "drive:"_L1}}, &answer), 200);
    QCOMPARE(answer["used"_L1].toInteger(), 1);
    QCOMPARE(answer["trashed"_L1].toInteger(), 1);
    QCOMPARE(answer["total"_L1].toInteger(), 15'000'000'000);
}

void EngineAgainstStandInTest::uploadSurvives_data() {
    QTest::addColumn<QJsonObject>("fault");
    const QJsonObject chunk{{"path"_L1, "/upload/"_L1}, {"query"_L1, "upload_id="_L1}, {"count"_L1, 1}};
    const auto row = [&](const char *name, QJsonObject fault) {
        for (auto it = chunk.begin(); it != chunk.end(); ++it)
            fault.insert(it.key(), it.value());
        QTest::newRow(name) << fault;
    };
    row("busy", {{"kind"_L1, "answer"_L1}, {"status"_L1, 503}, {"reason"_L1, "backendError"_L1}});
    row("too many calls", {{"kind"_L1, "answer"_L1}, {"status"_L1, 403}, {"reason"_L1, "userRateLimitExceeded"_L1}});
    row("cut in a chunk",
        {{"kind"_L1, "drop"_L1}, {"of"_L1, "request"_L1}, {"afterBytes"_L1, 3'000'000}, {"skip"_L1, 1}});
    row("last answer lost", {{"kind"_L1, "drop"_L1}, {"of"_L1, "response"_L1}, {"skip"_L1, 2}});
}

void EngineAgainstStandInTest::uploadSurvives() {
    QFETCH(QJsonObject, fault);
    serve();
    const int number = m_google->fault(fault);
    const QByteArray content = patterned(20'000'001);
    putFile(local(u"large"_s), content);
    QCOMPARE(copyUp(u"large"_s, u"large.bin"_s), 200);
    QCOMPARE(contentOf(m_google->pathOf(u"Quillmount/large.bin"_s)), content);
    QCOMPARE(QDir(m_google->pathOf(u"Quillmount"_s)).entryList(QDir::Files).size(), 1);
    const QJsonArray faults = m_google->control("GET", u"/faults"_s)["items"_L1].toArray();
    QCOMPARE(faults.size(), 1);
    QCOMPARE(faults[0]["id"_L1].toInt(), number);
    QCOMPARE(faults[0]["hits"_L1].toInt(), 1);
}

void EngineAgainstStandInTest::failuresSayWhatGoogleSaid_data() {
    QTest::addColumn<QString>("what");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("revoked") << u"revoke"_s << QByteArray("invalid_grant");
    QTest::newRow("no name server") << u"noSuchHost"_s << QByteArray("no such host");
    QTest::newRow("refused") << u"refused"_s << QByteArray("connection refused");
    QTest::newRow("revoked, token alive") << u"revokeAlive"_s << QByteArray("Invalid Credentials, authError");
    QTest::newRow("full") << u"full"_s << QByteArray("storageQuotaExceeded");
}

void EngineAgainstStandInTest::failuresSayWhatGoogleSaid() {
    QFETCH(QString, what);
    QFETCH(QByteArray, text);
    if (what == "full"_L1) {
        serve();
        m_google->setQuota(10);
        putFile(local(u"a"_s), "more than ten bytes");
        QJsonObject answer;
        QCOMPARE(copyUp(u"a"_s, u"a.txt"_s, &answer), 500);
        QVERIFY(answer["error"_L1].toString().toUtf8().contains(text));
        return;
    }
    if (what == "revoke"_L1) {
        m_google->grantAgain(-60);
        putFile(local(u"engine.conf"_s), m_google->engineConfiguration());
        m_google->revokeGrant();
    } else if (what == "revokeAlive"_L1) {
        m_google->revokeGrant();
    } else {
        m_google->setNetwork(what);
    }
    QByteArray errors;
    QVERIFY(run({u"lsf"_s, u"drive:"_s}, nullptr, &errors) > 0);
    QVERIFY2(errors.contains(text), errors.constData());
}

QTEST_GUILESS_MAIN(EngineAgainstStandInTest)
#include "EngineAgainstStandInTest.moc"
