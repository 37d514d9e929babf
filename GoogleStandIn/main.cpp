// SPDX-License-Identifier: LicenseRef-Quillmount
#include "GoogleStandIn/ControlServer.h"
#include "GoogleStandIn/FolderSync.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>

#include <csignal>
#include <cstdio>

using namespace Qt::StringLiterals;
using namespace quillmount::standin;

namespace {
struct Options {
    QString directory;
    QString readyFile;
    QString clientId;
    bool hasGrant = false;
    QString clientSecret = {};
    AccountsServer::Answerer answerer = AccountsServer::Answerer::user;
    qint64 quotaLimit = -1;
};

QString readSecret(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw StartError(u"The file %1 cannot be read."_s.arg(path));
    return QString::fromUtf8(file.readAll()).trimmed();
}

Options readOptions(const QCoreApplication &application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Stands where Google stands, for tests and for a drive without an account."_s);
    parser.addHelpOption();
    const QCommandLineOption directory(u"directory"_s, u"Folder in which everything is kept."_s, u"DIR"_s);
    const QCommandLineOption ready(u"ready-file"_s, u"File written once requests are served."_s, u"FILE"_s);
    const QCommandLineOption grant(u"grant"_s, u"Client that gets a grant; its token goes to the ready file."_s,
                                   u"CLIENT"_s);
    const QCommandLineOption secret(u"client-secret-file"_s, u"File with that client's secret."_s, u"FILE"_s);
    const QCommandLineOption client(u"client"_s, u"Client that is known, and has to ask for a grant."_s, u"CLIENT"_s);
    const QCommandLineOption automatic(
        u"automatic"_s, u"Answer the page for the user: \"agree\", \"refuse\" or \"untick\"."_s, u"ANSWER"_s);
    const QCommandLineOption quota(u"quota"_s, u"Bytes of storage, 0 for no limit (at first: 15 GB)."_s, u"BYTES"_s);
    parser.addOptions({directory, ready, grant, client, secret, automatic, quota});
    parser.process(application);
    if (!parser.isSet(directory) || !parser.positionalArguments().isEmpty() ||
        (parser.isSet(grant) || parser.isSet(client)) != parser.isSet(secret) ||
        (parser.isSet(grant) && parser.isSet(client))) {
        parser.showHelp(2);
    }
    Options options{.directory = parser.value(directory),
                    .readyFile = parser.value(ready),
                    .clientId = parser.isSet(grant) ? parser.value(grant) : parser.value(client),
                    .hasGrant = parser.isSet(grant)};
    if (parser.isSet(secret))
        options.clientSecret = readSecret(parser.value(secret));
    if (parser.isSet(automatic)) {
        const auto answerer = AccountsServer::answererNamed(parser.value(automatic));
        if (!answerer)
            throw StartError(u"--automatic is \"agree\", \"refuse\" or \"untick\"."_s);
        options.answerer = *answerer;
    }
    if (parser.isSet(quota)) {
        bool ok = false;
        options.quotaLimit = parser.value(quota).toLongLong(&ok);
        if (!ok || options.quotaLimit < 0)
            throw StartError(u"--quota needs a number of bytes."_s);
    }
    return options;
}

void run(const Options &options, const sigset_t &signalsToWaitFor) {
    const StateFolder folder(options.directory);
    const CertificateAuthority authority(folder.state());
    DriveStore store(folder);
    Grants grants(folder.state() + u"/grants.json"_s);
    if (options.quotaLimit >= 0)
        store.setQuotaLimit(options.quotaLimit);
    const FolderSync sync(store, folder);
    Faults faults;
    RequestLog log;
    AuthorizationCodes codes;
    TokenEndpoint token(grants, codes);
    AccountsServer accounts(grants, codes, token, faults, log);
    accounts.setAnswerer(options.answerer);
    ProxyServer proxy(store, grants, token, faults, log, authority);
    const ControlServer control(store, grants, codes, faults, log, proxy, accounts);

    QJsonObject ready{{"proxy"_L1, u"http://127.0.0.1:%1"_s.arg(proxy.port())},
                      {"certificateAuthority"_L1, authority.certificatePath()},
                      {"accounts"_L1, u"http://127.0.0.1:%1"_s.arg(accounts.port())},
                      {"control"_L1, u"http://127.0.0.1:%1/"_s.arg(control.port())},
                      {"controlToken"_L1, control.token()},
                      {"files"_L1, folder.files()}};
    if (options.hasGrant) {
        ready.insert("token"_L1,
                     grants.grant(options.clientId, options.clientSecret,
                                  u"https://www.googleapis.com/auth/drive.file"_s, Grants::usualLifetime, true));
    } else if (!options.clientId.isEmpty()) {
        grants.addClient(options.clientId, options.clientSecret);
    }
    if (!options.readyFile.isEmpty() && !writeAtomically(options.readyFile, QJsonDocument(ready).toJson()))
        throw StartError(u"The file %1 cannot be written."_s.arg(options.readyFile));
    int signal = 0;
    sigwait(&signalsToWaitFor, &signal);
}
} // namespace

int main(int argc, char **argv) {
    // Blocked before any thread exists, so that only sigwait() sees them.
    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&ends, signal);
        std::signal(signal, SIG_DFL);
    }
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    // The kernel's word that somebody wants to write to a file whose lease is held for a moment.
    std::signal(SIGIO, SIG_IGN);
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"google-stand-in"_s);
    try {
        run(readOptions(application), ends);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "google-stand-in: %s\n", error.what());
        return 1;
    }
    return 0;
}
