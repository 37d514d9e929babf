// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/EndToEnd/SignInHome.h"

#include "Tests/EndToEnd/Application.h"
#include "Tests/Support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>

namespace quillmount {

using namespace Qt::StringLiterals;

SignInHome::SignInHome() {
    const QString bundle = path() + u"/bundle"_s;
    QDir().mkpath(bundle);
    for (const QString &name : {u"quillmount"_s, u"quillmount-mount"_s, u"QuillmountEngine"_s})
        if (!QFile::copy(qEnvironmentVariable("QUILLMOUNT_BIN") + u'/' + name, bundle + u'/' + name))
            throw LocalGoogle::Failure(u"Cannot copy "_s + name);
    const QJsonObject info{{"QMGoogleClientID"_L1, google.clientId()},
                           {"QMGoogleClientSecret"_L1, google.clientSecret()},
                           {"QMGoogleAuthorizationEndpoint"_L1, google.accounts() + u"/o/oauth2/v2/auth"_s},
                           {"QMGoogleTokenEndpoint"_L1, google.accounts() + u"/token"_s}};
    putFile(bundle + u"/Info.json"_s, QJsonDocument(info).toJson());
}

void SignInHome::setBrowser(const QByteArray &script) const {
    putProgram(path() + u"/programs/xdg-open"_s, script);
}

void SignInHome::prepare(Application &application) const {
    application.command = {path() + u"/bundle/quillmount"_s};
    QProcessEnvironment &environment = application.environment;
    environment.insert(u"PATH"_s, path() + u"/programs:"_s + environment.value(u"PATH"_s));
    for (const QString &name : {u"HTTPS_PROXY"_s, u"SSL_CERT_FILE"_s}) {
        environment.insert(u"QUILLMOUNT_ENGINE_"_s + name, environment.value(name));
        environment.remove(name);
    }
    // Nobody else needs a proxy, and nobody would get through this one.
    environment.insert(u"HTTPS_PROXY"_s, u"http://127.0.0.1:1"_s);
}

} // namespace quillmount
