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

    void uploadsBothFormsAndReadsBack();
    void uploadSurvives_data();
    void uploadSurvives();

private:
    QString local(const QString &name) const { return m_folder->filePath(name); }
    QByteArray log() const { return contentOf(local(u"engine.log"_s)); }
    void serve();
    // Has the engine copy a file; the status of its answer.
    int copy(const QString &fromFolder, const QString &name, const QString &toFolder, const QString &newName);
    int copyUp(const QString &name, const QString &newName) {
        return copy(m_folder->path(), name, u"drive:Quillmount"_s, newName);
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

void EngineAgainstStandInTest::serve() {
    m_engine = std::make_unique<QProcess>();
    m_engine->setProcessEnvironment(m_google->environment());
    const QString options =
        u"serve nfs drive:Quillmount --addr 127.0.0.1:0 --vfs-cache-mode full --drive-chunk-size 8M "
        "--rc --rc-no-auth --rc-addr 127.0.0.1:0 --log-level NOTICE"_s;
    m_engine->start(qEnvironmentVariable("QUILLMOUNT_BIN") + u"/QuillmountEngine"_s,
                    options.split(u' ') + QStringList{u"--config"_s, local(u"engine.conf"_s), u"--cache-dir"_s,
                                                      local(u"cache"_s), u"--log-file"_s, local(u"engine.log"_s)});
    QTRY_VERIFY_WITH_TIMEOUT(log().contains("NFS Server running"), 20'000);
    static const QRegularExpression address(u"remote control on (http://\\S+)"_s);
    m_remote = QUrl(address.match(QString::fromUtf8(log())).captured(1));
}

int EngineAgainstStandInTest::copy(const QString &fromFolder, const QString &name, const QString &toFolder,
                                   const QString &newName) {
    QNetworkAccessManager network;
    network.setProxy(QNetworkProxy::NoProxy);
    QNetworkRequest request(m_remote.resolved(QUrl(u"operations/copyfile"_s)));
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    const QJsonObject parameters{
        {"srcFs"_L1, fromFolder}, {"srcRemote"_L1, name}, {"dstFs"_L1, toFolder}, {"dstRemote"_L1, newName}};
    return GoogleClient::finish(network.post(request, QJsonDocument(parameters).toJson())).status;
}

void EngineAgainstStandInTest::uploadsBothFormsAndReadsBack() {
    // A permission for single files does not show the folder that they lie in.
    m_google->control("POST", u"/settings"_s, {{"rootVisible"_L1, false}});
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

    QCOMPARE(copy(u"drive:Quillmount"_s, u"sub/large.bin"_s, m_folder->path(), u"back"_s), 200);
    QCOMPARE(contentOf(local(u"back"_s)), large);
}

void EngineAgainstStandInTest::uploadSurvives_data() {
    QTest::addColumn<QJsonObject>("fault");
    const auto row = [](const char *name, QJsonObject fault) {
        fault.insert("path"_L1, "/upload/"_L1);
        fault.insert("query"_L1, "upload_id="_L1);
        fault.insert("count"_L1, 1);
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
    m_google->fault(fault);
    const QByteArray content = patterned(20'000'001);
    putFile(local(u"large"_s), content);
    QCOMPARE(copyUp(u"large"_s, u"large.bin"_s), 200);
    QCOMPARE(contentOf(m_google->pathOf(u"Quillmount/large.bin"_s)), content);
    QCOMPARE(QDir(m_google->pathOf(u"Quillmount"_s)).entryList(QDir::Files).size(), 1);
    QCOMPARE(m_google->control("GET", u"/faults"_s)["items"_L1][0]["hits"_L1].toInt(), 1);
}

QTEST_GUILESS_MAIN(EngineAgainstStandInTest)
#include "EngineAgainstStandInTest.moc"
