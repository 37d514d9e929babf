// SPDX-License-Identifier: LicenseRef-Quillmount
#include "ControlServer.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/ContentWriter.h"
#include "GoogleStandIn/FileResource.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
constexpr qint64 bodyLimit = 256 << 20;
const Viewer owner{.app = {}, .everything = true};

ApiError unknown() {
    return {404, u"notFound"_s, u"No such control call"_s};
}

QString parentPath(const QString &path) {
    return path.contains(u'/') ? path.section(u'/', 0, -2) : QString();
}
QString lastName(const QString &path) {
    return path.section(u'/', -1);
}
} // namespace

ControlServer::ControlServer(DriveStore &store, Grants &grants, AuthorizationCodes &codes, Faults &faults,
                             RequestLog &log, ProxyServer &proxy, AccountsServer &accounts)
    : m_store(store)
    , m_grants(grants)
    , m_codes(codes)
    , m_faults(faults)
    , m_log(log)
    , m_proxy(proxy)
    , m_accounts(accounts)
    , m_token(DriveTree::newId())
    , m_listener([this](int descriptor) { serve(descriptor); }) {}

void ControlServer::serve(int descriptor) {
    PlainTransport transport(descriptor);
    HttpConnection connection(transport);
    const auto answer = [&connection](int status, const QJsonValue &value) {
        const QJsonObject object = value.isArray() ? QJsonObject{{"items"_L1, value}} : value.toObject();
        connection.send(status, {{"Content-Type", "application/json"}}, QJsonDocument(object).toJson());
    };
    try {
        while (connection.keepAlive()) {
            try {
                const std::optional<HttpRequest> request = connection.readRequest();
                if (!request)
                    return;
                if (request->header("Authorization") != "Bearer " + m_token.toLatin1())
                    throw ApiError::unauthorized();
                const QByteArray body = connection.readWholeBody(bodyLimit);
                const QJsonDocument document = QJsonDocument::fromJson(body);
                if (!body.isEmpty() && !document.isObject())
                    throw ApiError::badRequest(u"The body must be a JSON object"_s);
                answer(200, dispatch(*request, document.object()));
            } catch (const ApiError &error) {
                connection.drainBody();
                answer(error.status(), QJsonDocument::fromJson(error.toJson()).object());
            }
        }
    } catch (const std::exception &) {
        // The peer went away.
    }
}

QJsonValue ControlServer::dispatch(const HttpRequest &request, const QJsonObject &body) {
    const QByteArray call = request.method + ' ' + request.path;
    if (request.path.startsWith("/faults"))
        return faults(request, body);
    if (request.path.startsWith("/grants"))
        return grants(request, body);
    if (request.path == "/files")
        return files(request, body);
    if (call == "POST /network")
        return network(body);
    if (call == "POST /settings")
        return settings(body);
    if (call == "POST /manners") {
        m_proxy.manners().set(body);
        return QJsonObject();
    }
    if (call == "POST /quota")
        m_store.setQuotaLimit(body.value("limit"_L1).toInteger());
    if (request.path == "/quota") {
        const Quota quota = m_store.quota();
        return QJsonObject{{"limit"_L1, quota.limit}, {"used"_L1, quota.used}, {"usedInTrash"_L1, quota.usedInTrash}};
    }
    if (call == "GET /requests")
        return m_log.list(Parameters::parse(request.query).value(u"from"_s).toLongLong());
    if (call == "DELETE /requests") {
        m_log.clear();
        return QJsonObject();
    }
    if (call == "GET /statistics")
        return m_log.statistics();
    throw unknown();
}

QJsonValue ControlServer::faults(const HttpRequest &request, const QJsonObject &body) {
    if (request.method == "GET")
        return m_faults.list();
    if (request.method == "POST") {
        return QJsonObject{{"id"_L1, m_faults.add(Fault::fromJson(body))}};
    }
    if (request.method == "DELETE") {
        m_faults.remove(request.path == "/faults" ? -1 : request.path.mid(8).toInt());
        return QJsonObject();
    }
    throw unknown();
}

QJsonValue ControlServer::grants(const HttpRequest &request, const QJsonObject &body) {
    const QString client = body.value("clientId"_L1).toString();
    if (request.path == "/grants" && !client.isEmpty()) {
        return m_grants.grant(client, body.value("clientSecret"_L1).toString(),
                              body.value("scope"_L1).toString(u"https://www.googleapis.com/auth/drive.file"_s),
                              body.value("lifetime"_L1).toInt(Grants::usualLifetime), false);
    }
    if (request.path == "/grants/revoke") {
        m_grants.revoke(client);
    } else if (request.path == "/grants/expire") {
        m_grants.expire(client);
    } else {
        throw unknown();
    }
    return QJsonObject();
}

QJsonValue ControlServer::network(const QJsonObject &body) {
    static const QMap<QString, ProxyServer::Network> states{{u"up"_s, ProxyServer::Network::up},
                                                            {u"refused"_s, ProxyServer::Network::refused},
                                                            {u"silent"_s, ProxyServer::Network::silent},
                                                            {u"noSuchHost"_s, ProxyServer::Network::noSuchHost}};
    const QString state = body.value("state"_L1).toString();
    if (!states.contains(state))
        throw ApiError::invalidParameter(u"state"_s, state);
    m_proxy.setNetwork(states.value(state));
    m_accounts.setNetwork(state == "up"_L1       ? Listener::Mode::open
                          : state == "silent"_L1 ? Listener::Mode::silent
                                                 : Listener::Mode::refuse);
    return QJsonObject();
}

QJsonValue ControlServer::settings(const QJsonObject &body) {
    if (body.contains("tokenLifetime"_L1))
        m_grants.setLifetime(body.value("tokenLifetime"_L1).toInt(Grants::usualLifetime));
    if (body.contains("codeLifetime"_L1))
        m_codes.setLifetime(body.value("codeLifetime"_L1).toInt(AuthorizationCodes::usualLifetime));
    if (body.contains("automatic"_L1)) {
        const QString name = body.value("automatic"_L1).toString();
        const auto answerer = AccountsServer::answererNamed(name);
        if (!answerer && !name.isEmpty())
            throw ApiError::invalidParameter(u"automatic"_s, name);
        m_accounts.setAnswerer(answerer.value_or(AccountsServer::Answerer::user));
    }
    if (body.contains("account"_L1))
        m_accounts.setAccount(body.value("account"_L1).toString());
    if (body.contains("rootVisible"_L1))
        m_proxy.drive().setRootVisible(body.value("rootVisible"_L1).toBool());
    return QJsonObject();
}

QString ControlServer::idOf(const Viewer &viewer, const QString &path) {
    QString id = u"root"_s;
    const QStringList names = path.split(u'/', Qt::SkipEmptyParts);
    for (QString name : names) {
        name.replace(u'\\', u"\\\\"_s).replace(u'\'', u"\\'"_s);
        const FilePage page =
            m_store.list(viewer, u"trashed=false and '%1' in parents and name='%2'"_s.arg(id, name), 1, {});
        if (page.files.isEmpty())
            throw ApiError::fileNotFound(path);
        id = page.files.first().entry.id;
    }
    return id;
}

QJsonValue ControlServer::writeFile(const Viewer &viewer, const QString &path, const QByteArray &content) {
    const QString staged = m_store.newStagingPath();
    ContentWriter writer(m_store.absolute(staged));
    writer.write(content.constData(), content.size());
    const StagedFile file{.path = staged, .size = content.size(), .md5 = writer.finish()};
    QString existing;
    try {
        existing = idOf(owner, path);
    } catch (const ApiError &) {
        FilePatch patch;
        patch.name = lastName(path);
        patch.parents = QStringList{idOf(owner, parentPath(path))};
        return fileResource(m_store.createFile(viewer, patch, file));
    }
    return fileResource(m_store.update(owner, existing, {}, &file));
}

QJsonValue ControlServer::files(const HttpRequest &request, const QJsonObject &body) {
    if (request.method == "GET")
        return fileResource(m_store.get(owner, idOf(owner, Parameters::parse(request.query).value(u"path"_s))));
    const QString action = body.value("action"_L1).toString();
    const QString path = body.value("path"_L1).toString();
    // Without a name the file is everybody's, as one put into the folder by hand.
    const Viewer writer{.app = body.value("app"_L1).toString(), .everything = true};
    FilePatch patch;
    if (action == "write"_L1)
        return writeFile(writer, path, QByteArray::fromBase64(body.value("content"_L1).toString().toLatin1()));
    if (action == "folder"_L1) {
        patch.name = lastName(path);
        patch.mimeType = QLatin1StringView(folderType);
        patch.parents = QStringList{idOf(owner, parentPath(path))};
        return fileResource(m_store.createFolder(writer, patch));
    }
    const QString id = idOf(owner, path);
    if (action == "remove"_L1) {
        m_store.remove(owner, id);
        return QJsonObject();
    }
    if (action == "trash"_L1) {
        patch.trashed = true;
    } else if (action == "rename"_L1) {
        const QString to = body.value("to"_L1).toString();
        patch.name = lastName(to);
        patch.addParents = QStringList{idOf(owner, parentPath(to))};
        patch.removeParents = QStringList{idOf(owner, parentPath(path))};
    } else {
        throw ApiError::invalidParameter(u"action"_s, action);
    }
    return fileResource(m_store.update(owner, id, patch, nullptr));
}

} // namespace quillmount::standin
