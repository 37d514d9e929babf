// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Service/QuillmountServer.h"

#include "App/Auth/GoogleAuth.h"
#include "App/Concurrency/Task.h"
#include "App/Engine/EngineConfig.h"
#include "App/Network/Http.h"
#include "App/Network/NetworkError.h"
#include "App/Support/Brand.h"
#include "App/Support/Keychain.h"
#include "App/Support/Preferences.h"
#include "Platform/Platform.h"

#include <QJsonDocument>
#include <QLoggingCategory>
#include <QPointer>
#include <QSysInfo>
#include <QUuid>

#include <array>

namespace quillmount {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.service")

const auto installIDKey = u"installID"_s;
const auto installTokenKey = u"installToken"_s;

// "12" is 12.0.0, "6.1.0-13-amd64" is 6.1.0. Absent when it does not begin with a number.
std::optional<QString> threeNumbers(const QString &version) {
    std::array<int, 3> numbers{};
    qsizetype at = 0;
    for (size_t index = 0; index < numbers.size(); ++index) {
        const qsizetype begin = at;
        while (at < version.size() && version[at] >= u'0' && version[at] <= u'9')
            ++at;
        bool isNumber = false;
        const int number = QStringView(version).mid(begin, at - begin).toInt(&isNumber);
        if (!isNumber && index == 0)
            return std::nullopt;
        if (!isNumber)
            break;
        numbers[index] = number;
        if (at == version.size() || version[at] != u'.')
            break;
        ++at;
    }
    return u"%1.%2.%3"_s.arg(numbers[0]).arg(numbers[1]).arg(numbers[2]);
}

QString systemVersion() {
    if (const auto distribution = threeNumbers(QSysInfo::productVersion()))
        return *distribution;
    return threeNumbers(QSysInfo::kernelVersion()).value_or(u"0.0.0"_s);
}

} // namespace

QuillmountServer::QuillmountServer(QObject *parent)
    : QObject(parent) {}

QuillmountServer::~QuillmountServer() {
    m_stop.request_stop();
}

std::optional<QUrl> QuillmountServer::baseURL() {
    QUrl url(Platform::current().bundle->infoString(u"QMServiceURL"_s).value_or(QString()), QUrl::StrictMode);
    const bool isAddressAlone = url.path().size() <= 1 && !url.hasQuery() && !url.hasFragment();
    if (!Http::isPrivate(url) || !isAddressAlone || !url.userInfo().isEmpty())
        return std::nullopt;
    url.setPath(u"/api/v1/"_s);
    return url;
}

QCoro::Task<std::optional<QuillmountServer::Status>> QuillmountServer::registerInstall(QString idToken) {
    const QPointer self(this);
    const Question question = ask();
    if (!baseURL())
        co_return std::nullopt;
    QJsonObject body = co_await deviceInfo();
    if (!self)
        co_return std::nullopt;
    body.insert(u"id_token"_s, idToken);
    const std::stop_token stop = m_stop.get_token();
    const auto answer = co_await post(u"register"_s, body, std::nullopt, stop);
    if (!self || !isValid(question) || !answer || !answer->value("install_token"_L1).isString())
        co_return std::nullopt;
    co_await Keychain::store(answer->value("install_token"_L1).toString(), installTokenKey);
    if (!self)
        co_return std::nullopt;
    // Whoever forgot the token meanwhile may have done so before it was written.
    if (!isValid(question)) {
        co_await Keychain::store(std::nullopt, installTokenKey);
        co_return std::nullopt;
    }
    auto status = store(question, *answer);
    co_return status;
}

QCoro::Task<std::optional<QuillmountServer::Status>> QuillmountServer::checkIn() {
    const QPointer self(this);
    const Question question = ask();
    if (!baseURL())
        co_return std::nullopt;
    const QJsonObject body = co_await deviceInfo();
    const Keychain::Lookup token = co_await Keychain::find(installTokenKey);
    if (!self)
        co_return std::nullopt;
    const std::stop_token stop = m_stop.get_token();
    const auto answer = co_await post(u"checkin"_s, body, token.value, stop);
    if (!self || !isValid(question) || !answer)
        co_return std::nullopt;
    if (answer->value("error"_L1).toString() == "Unknown install"_L1) {
        co_await Keychain::store(std::nullopt, installTokenKey);
        co_return std::nullopt;
    }
    auto status = store(question, *answer);
    co_return status;
}

QCoro::Task<> QuillmountServer::registerOrCheckIn() {
    const QPointer self(this);
    if (!baseURL())
        co_return;
    const Keychain::Lookup token = co_await Keychain::find(installTokenKey);
    if (!self)
        co_return;
    std::optional<QString> idToken;
    const quint64 account = m_account;
    if (token.isCertain && !token.value) {
        if (auto refresh = EngineConfig::refreshToken()) {
            idToken = co_await GoogleAuth::idToken(std::move(*refresh));
        }
        if (!self)
            co_return;
    }
    if (idToken && account == m_account) {
        co_await registerInstall(std::move(*idToken));
    } else {
        co_await checkIn();
    }
}

void QuillmountServer::adEvent(qint64 id, bool click) {
    if (!baseURL())
        return;
    const QString path = u"ads/%1/event"_s.arg(id);
    const QJsonObject type{{u"type"_s, click ? u"click"_s : u"impression"_s}};
    spawn([](QString to, QJsonObject body) -> QCoro::Task<> {
        co_await post(std::move(to), std::move(body), std::nullopt, {});
    }(path, type));
}

std::optional<QuillmountServer::Status> QuillmountServer::cached() {
    const auto bytes = Platform::current().userDefaults->get<QByteArray>(Preferences::Key::serverStatus.toString());
    const QJsonDocument document = bytes ? QJsonDocument::fromJson(*bytes) : QJsonDocument();
    return document.isObject() ? Status::fromJson(document.object()) : std::nullopt;
}

void QuillmountServer::accountChanged() {
    ++m_account;
    m_stop.request_stop();
    m_stop = std::stop_source();
}

QCoro::Task<> QuillmountServer::forget() {
    const QPointer self(this);
    accountChanged();
    Platform::current().userDefaults->remove(Preferences::Key::serverStatus.toString());
    Q_EMIT cachedChanged();
    co_await Keychain::store(std::nullopt, installTokenKey);
}

QCoro::Task<QString> QuillmountServer::installID() {
    const QPointer self(this);
    if (m_installID)
        co_return *m_installID;
    const Keychain::Lookup kept = co_await Keychain::find(installIDKey);
    QString id = kept.value.value_or(QString());
    if (self && self->m_installID)
        co_return *self->m_installID;
    if (id.isEmpty()) {
        id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        if (self)
            self->m_installID = id;
        // A keyring that is still locked holds the one to keep.
        if (kept.isCertain) {
            co_await Keychain::store(id, installIDKey);
        }
    }
    if (self)
        self->m_installID = id;
    co_return id;
}

QCoro::Task<QJsonObject> QuillmountServer::deviceInfo() {
    const QString id = co_await installID();
    const QString build = Platform::current().bundle->infoString(u"CFBundleVersion"_s).value_or(QString());
    QJsonObject info{
        {u"install_id"_s, id},
        {u"version"_s, Brand::version()},
        {u"build"_s, build.toLongLong()},
        {u"macos"_s, systemVersion()},
        {u"arch"_s, QSysInfo::currentCpuArchitecture()},
    };
    co_return info;
}

QCoro::Task<std::optional<QJsonObject>> QuillmountServer::post(QString path, QJsonObject body,
                                                               std::optional<QString> token, std::stop_token stop) {
    const auto base = baseURL();
    if (!base)
        co_return std::nullopt;
    Http::Post request;
    request.url = base->resolved(QUrl(path));
    request.contentType = "application/json";
    if (token)
        request.authorization = "Bearer " + token->toUtf8();
    request.body = QJsonDocument(body).toJson(QJsonDocument::Compact);
    request.timeout = 15s;
    request.maxAnswer = 256 * 1024;
    try {
        const Http::Answer answer = co_await Http::post(std::move(request), stop);
        const QJsonDocument document = QJsonDocument::fromJson(answer.body);
        if (document.isObject())
            co_return document.object();
        qCInfo(log, "the service's answer is not understood, status %d", answer.status);
    } catch (const NetworkError &error) {
        qCInfo(log, "the service: %s", error.what());
    }
    co_return std::nullopt;
}

std::optional<QuillmountServer::Status> QuillmountServer::store(const Question &question, QJsonObject answer) {
    if (answer.value("error"_L1).isString() || question.number < m_stored)
        return std::nullopt;
    answer.remove("receivedAt"_L1);
    auto status = Status::fromJson(answer);
    if (!status) {
        qCInfo(log, "the service's status is not understood");
        return std::nullopt;
    }
    m_stored = question.number;
    status->receivedAt = Platform::current().clock->now();
    const QByteArray bytes = QJsonDocument(status->toJson()).toJson(QJsonDocument::Compact);
    Platform::current().userDefaults->set(Preferences::Key::serverStatus.toString(), bytes);
    Q_EMIT cachedChanged();
    return cached();
}

} // namespace quillmount
