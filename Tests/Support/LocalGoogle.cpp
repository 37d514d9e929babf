// SPDX-License-Identifier: LicenseRef-Quillmount
#include "LocalGoogle.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkProxy>
#include <QTcpSocket>
#include <QUrl>

#include <csignal>
#include <sys/prctl.h>

using namespace Qt::StringLiterals;

namespace quillmount {

namespace {
constexpr int startLimitMs = 20'000;
constexpr int endLimitMs = 10'000;
constexpr int callLimitMs = 15'000;

void write(const QString &path, const QByteArray &content) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        throw LocalGoogle::Failure(u"Cannot write "_s + path);
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
}
} // namespace

LocalGoogle::LocalGoogle() {
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    // A test that crashes runs no destructor; the program must not outlive it even then.
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    // Not all of a secret's characters stand for themselves in a header or a form.
    quillmount::write(m_folder.filePath(u"secret"_s), clientSecret().toUtf8());
    start();
    m_token = m_ready.value("token"_L1).toObject();
}

LocalGoogle::~LocalGoogle() {
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(endLimitMs)) {
            m_process.kill();
            m_process.waitForFinished(endLimitMs);
        }
    }
}

void LocalGoogle::start() {
    const QString ready = m_folder.filePath(u"ready"_s);
    QFile::remove(ready);
    m_process.start(qEnvironmentVariable("QUILLMOUNT_BIN") + u"/google-stand-in"_s,
                    {u"--directory"_s, directory(), u"--ready-file"_s, ready, u"--grant"_s, clientId(),
                     u"--client-secret-file"_s, m_folder.filePath(u"secret"_s)});
    const QDeadlineTimer deadline(startLimitMs);
    while (!QFile::exists(ready)) {
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning || m_process.waitForFinished(10))
            throw Failure(u"The local Google does not start: "_s + m_process.errorString());
    }
    QFile file(ready);
    file.open(QIODevice::ReadOnly);
    m_ready = QJsonDocument::fromJson(file.readAll()).object();
}

int LocalGoogle::stop() {
    m_process.terminate();
    if (!m_process.waitForFinished(endLimitMs))
        throw Failure(u"The local Google does not end"_s);
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

void LocalGoogle::kill() {
    m_process.kill();
    m_process.waitForFinished(endLimitMs);
}

QProcessEnvironment LocalGoogle::environment(const QProcessEnvironment &base) const {
    QProcessEnvironment result = base;
    for (const QString &name : {u"http_proxy"_s, u"https_proxy"_s, u"no_proxy"_s, u"HTTP_PROXY"_s, u"NO_PROXY"_s,
                                u"ALL_PROXY"_s, u"all_proxy"_s, u"SSL_CERT_DIR"_s}) {
        result.remove(name);
    }
    result.insert(u"HTTPS_PROXY"_s, proxy());
    result.insert(u"SSL_CERT_FILE"_s, certificateAuthority());
    return result;
}

QString LocalGoogle::clientId() const {
    return u"123456-tests.apps.googleusercontent.com"_s;
}

QString LocalGoogle::clientSecret() const {
    return u"GOCSPX-a+b/c=d %e"_s;
}

QByteArray LocalGoogle::token() const {
    return QJsonDocument(m_token).toJson(QJsonDocument::Compact);
}

QByteArray LocalGoogle::engineConfiguration() const {
    return "[drive]\ntype = drive\nclient_id = " + clientId().toUtf8() +
           "\nclient_secret = " + clientSecret().toUtf8() + "\nscope = drive.file\ntoken = " + token() + "\n";
}

void LocalGoogle::answerThePage(const QString &answer) {
    control("POST", u"/settings"_s, {{"automatic"_L1, answer}});
}

int LocalGoogle::fault(const QJsonObject &fault) {
    return control("POST", u"/faults"_s, fault).value("id"_L1).toInt();
}

void LocalGoogle::clearFault(int number) {
    control("DELETE", u"/faults/%1"_s.arg(number));
}

void LocalGoogle::clearFaults() {
    control("DELETE", u"/faults"_s);
}

void LocalGoogle::setNetwork(const QString &state) {
    control("POST", u"/network"_s, {{"state"_L1, state}});
}

void LocalGoogle::revokeGrant() {
    control("POST", u"/grants/revoke"_s, {{"clientId"_L1, clientId()}});
}

void LocalGoogle::setQuota(qint64 bytes) {
    control("POST", u"/quota"_s, {{"limit"_L1, bytes}});
}

QJsonArray LocalGoogle::requests() {
    return control("GET", u"/requests"_s).value("items"_L1).toArray();
}

void LocalGoogle::clearRequests() {
    control("DELETE", u"/requests"_s);
}

int LocalGoogle::count(const QString &kind) {
    return control("GET", u"/statistics"_s).value("byKind"_L1)[kind].toInt();
}

QJsonObject LocalGoogle::file(const QString &path) {
    QJsonObject answer;
    const QString query = QString::fromLatin1(QUrl::toPercentEncoding(path));
    const int status = controlStatus("GET", u"/files?path="_s + query, {}, &answer);
    if (status != 200 && status != 404)
        throw Failure(u"The local Google answers %1"_s.arg(status));
    return status == 200 ? answer : QJsonObject();
}

void LocalGoogle::write(const QString &path, const QByteArray &content) {
    control("POST", u"/files"_s,
            {{"action"_L1, "write"_L1}, {"path"_L1, path}, {"content"_L1, QString::fromLatin1(content.toBase64())}});
}

void LocalGoogle::makeFolder(const QString &path) {
    control("POST", u"/files"_s, {{"action"_L1, "folder"_L1}, {"path"_L1, path}});
}

void LocalGoogle::trash(const QString &path) {
    control("POST", u"/files"_s, {{"action"_L1, "trash"_L1}, {"path"_L1, path}});
}

void LocalGoogle::remove(const QString &path) {
    control("POST", u"/files"_s, {{"action"_L1, "remove"_L1}, {"path"_L1, path}});
}

void LocalGoogle::rename(const QString &path, const QString &to) {
    control("POST", u"/files"_s, {{"action"_L1, "rename"_L1}, {"path"_L1, path}, {"to"_L1, to}});
}

QJsonObject LocalGoogle::control(const QByteArray &method, const QString &path, const QJsonObject &body) {
    QJsonObject answer;
    const int status = controlStatus(method, path, body, &answer);
    if (status != 200) {
        const QString message = answer.value("error"_L1)["message"_L1].toString();
        throw Failure(u"%1: the local Google answers %2 %3"_s.arg(path).arg(status).arg(message));
    }
    return answer;
}

int LocalGoogle::controlStatus(const QByteArray &method, const QString &path, const QJsonObject &body,
                               QJsonObject *answer) {
    const QUrl url(m_ready.value("control"_L1).toString());
    const QByteArray content = QJsonDocument(body).toJson(QJsonDocument::Compact);
    const QByteArray head = method + ' ' + path.toLatin1() + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n" +
                            "Authorization: Bearer " + m_ready.value("controlToken"_L1).toString().toLatin1() +
                            "\r\nContent-Length: " + QByteArray::number(content.size()) + "\r\n\r\n";
    QTcpSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    socket.connectToHost(url.host(), quint16(url.port()));
    socket.write(head + content);
    const QDeadlineTimer deadline(callLimitMs);
    QByteArray all;
    while (socket.state() != QAbstractSocket::UnconnectedState && !deadline.hasExpired()) {
        socket.waitForReadyRead(int(deadline.remainingTime()));
        all += socket.readAll();
    }
    const qsizetype end = all.indexOf("\r\n\r\n");
    if (end < 0)
        throw Failure(u"%1: the local Google does not answer"_s.arg(path));
    *answer = QJsonDocument::fromJson(all.mid(end + 4)).object();
    return all.mid(9, 3).toInt();
}

} // namespace quillmount
