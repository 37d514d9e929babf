// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <stdexcept>

namespace quillmount {

// The local Google as a program of its own, for one test: started in a temporary folder, ended by the destructor.
//
// Calls block, with deadlines, and throw Failure: a fault that was not switched on must not let a test pass.
class LocalGoogle {
public:
    class Failure : public std::runtime_error {
    public:
        explicit Failure(const QString &what)
            : std::runtime_error(what.toStdString()) {}
    };

    // Makes a temporary folder and starts the program in it.
    LocalGoogle();
    ~LocalGoogle();
    LocalGoogle(const LocalGoogle &) = delete;
    LocalGoogle &operator=(const LocalGoogle &) = delete;

    // Starts it again in the same folder (on other ports) after stop() or kill().
    void start();
    // Asks it to end; the exit status.
    int stop();
    // SIGKILL.
    void kill();

    // The environment in which an engine reaches it: `base` without other proxies.
    QProcessEnvironment environment(const QProcessEnvironment &base = QProcessEnvironment::systemEnvironment()) const;
    QString proxy() const { return m_ready.value(QLatin1StringView("proxy")).toString(); }
    QString certificateAuthority() const { return m_ready.value(QLatin1StringView("certificateAuthority")).toString(); }

    // Where accounts are asked, without TLS and not by the proxy: "http://127.0.0.1:port". The page is at
    // "/o/oauth2/v2/auth", the token endpoint at "/token".
    QString accounts() const { return m_ready.value(QLatin1StringView("accounts")).toString(); }
    // Who answers the page: "agree", "refuse" or "untick" is its own answer, nothing waits for a user's.
    void answerThePage(const QString &answer);

    QString controlAddress() const { return m_ready.value(QLatin1StringView("control")).toString(); }

    // The client that has a grant, and its token as the engine's configuration keeps it (JSON of one line).
    QString clientId() const;
    QString clientSecret() const;
    QByteArray token() const;
    // The engine's configuration file for that grant, with a remote "drive".
    QByteArray engineConfiguration() const;

    // The user's files as ordinary files: Google's "My Drive".
    QString filesRoot() const { return m_ready.value(QLatin1StringView("files")).toString(); }
    // Where the file lies that Google has at `path` (relative to My Drive).
    QString pathOf(const QString &path) const { return filesRoot() + u'/' + path; }
    QString directory() const { return m_folder.path() + QStringLiteral("/State"); }

    // Switches a fault on; its number. Members:
    // - which requests: "method", "host", "path" (a prefix), "query" (a part of it), "skip", "count" (default: all);
    // - {"kind":"answer","status":403,"reason":"storageQuotaExceeded"[,"message"]} instead of the call;
    // - {"kind":"stall"} or {"kind":"drop"} with "of":"request" or "response" and "afterBytes" (body bytes; of the
    //   response 0: the call is done, but nothing is answered).
    int fault(const QJsonObject &fault);
    // Takes one fault (or all) back; requests that it holds are cut.
    void clearFault(int number);
    void clearFaults();
    // "up", "refused" (connections are refused), "silent" (nothing ever comes), "noSuchHost" (as without a name
    // server).
    void setNetwork(const QString &state);
    // Takes the grant back: refreshing gives invalid_grant and every call 401.
    void revokeGrant();
    // 0: no limit.
    void setQuota(qint64 bytes);

    // The requests served since the start (or clearRequests()), oldest first: "method","host","path","query","kind",
    // "status","outcome","received","sent","milliseconds". Kinds: files.get/list/create/update/delete/download,
    // upload.create/update/start/chunk, about, changes.startPageToken/list, token.code/refresh, auth.page/decision,
    // connect.refused.
    QJsonArray requests();
    void clearRequests();
    // How many requests of that kind have been served.
    int count(const QString &kind);

    // Google's record of a file or folder by its path; empty when there is none.
    QJsonObject file(const QString &path);
    // Another writer's changes: they are made when the call returns.
    void write(const QString &path, const QByteArray &content);
    void makeFolder(const QString &path);
    void trash(const QString &path);
    void remove(const QString &path);
    void rename(const QString &path, const QString &to);

    // One control call; throws Failure unless it succeeds.
    QJsonObject control(const QByteArray &method, const QString &path, const QJsonObject &body = {});

private:
    int controlStatus(const QByteArray &method, const QString &path, const QJsonObject &body, QJsonObject *answer);

    QTemporaryDir m_folder;
    QProcess m_process;
    QJsonObject m_ready;
    QJsonObject m_token;
};

} // namespace quillmount
