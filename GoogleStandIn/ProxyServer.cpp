// SPDX-License-Identifier: LicenseRef-Quillmount
#include "ProxyServer.h"

#include "GoogleStandIn/ApiError.h"

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
const QString apiHost = u"www.googleapis.com"_s;
const QString tokenHost = u"oauth2.googleapis.com"_s;

QStringList segmentsAfter(const QByteArray &path, const QByteArray &prefix) {
    QStringList segments;
    const QList<QByteArray> parts = path.mid(prefix.size()).split('/');
    for (const QByteArray &part : parts)
        segments.append(percentDecoded(part));
    return segments;
}
} // namespace

ProxyServer::ProxyServer(DriveStore &store, Grants &grants, TokenEndpoint &token, Faults &faults, RequestLog &log,
                         const CertificateAuthority &authority)
    : m_grants(grants)
    , m_faults(faults)
    , m_log(log)
    , m_authority(authority)
    , m_drive(store)
    , m_upload(store)
    , m_token(token)
    , m_service(faults, log)
    , m_listener([this](int descriptor) { serve(descriptor); }) {}

ProxyServer::~ProxyServer() {
    m_faults.stop();
}

void ProxyServer::setNetwork(Network network) {
    m_noSuchHost = network == Network::noSuchHost;
    m_listener.setMode(network == Network::refused  ? Listener::Mode::refuse
                       : network == Network::silent ? Listener::Mode::silent
                                                    : Listener::Mode::open);
    if (network == Network::noSuchHost)
        m_listener.cutConnections();
}

void ProxyServer::serve(int descriptor) {
    try {
        QString host;
        {
            PlainTransport plain(descriptor);
            HttpConnection connection(plain);
            const std::optional<HttpRequest> request = connection.readRequest();
            if (!request)
                return;
            host = QString::fromLatin1(request->target);
            const bool tunnel = request->method == "CONNECT";
            const bool known = host == apiHost + u":443"_s || host == tokenHost + u":443"_s;
            if (!tunnel || !known || m_noSuchHost) {
                // The words after the status are all that a client shows of a proxy's refusal.
                const QByteArray answer = !tunnel ? "HTTP/1.1 405 Method Not Allowed\r\n"
                                          : known ? "HTTP/1.1 502 no such host\r\n"
                                                  : "HTTP/1.1 403 Forbidden\r\n";
                const qint64 number = m_log.begin(QString::fromLatin1(request->method), host, {}, {});
                const QByteArray whole = answer + "Content-Length: 0\r\nConnection: close\r\n\r\n";
                m_log.end(number, u"connect.refused"_s, answer.mid(9, 3).toInt(), u"answered"_s, 0, 0);
                plain.write(whole.constData(), whole.size());
                return;
            }
            const QByteArray answer = "HTTP/1.1 200 Connection established\r\n\r\n";
            plain.write(answer.constData(), answer.size());
            host.chop(4);
        }
        serveTunnel(descriptor, host);
    } catch (const std::exception &) {
        // The peer went away or spoke nonsense before there was a request to answer.
    }
}

void ProxyServer::serveTunnel(int descriptor, const QString &host) {
    TlsTransport transport(descriptor, m_authority.serverContext());
    HttpConnection connection(transport);
    while (connection.keepAlive()) {
        try {
            const std::optional<HttpRequest> request = connection.readRequest();
            if (!request)
                return;
            m_service.serve(connection, *request, host, [&](Call &call) { dispatch(call, host); });
        } catch (const ApiError &error) {
            RequestService::sendError(connection, error);
            return;
        }
    }
}

void ProxyServer::dispatch(Call &call, const QString &host) {
    QByteArray named = call.request.header("Host");
    if (named.endsWith(":443"))
        named.chop(4);
    if (named != host.toLatin1())
        throw ApiError::badRequest(u"The Host header names another host."_s);
    if (host == tokenHost) {
        if (call.request.path != "/token")
            throw ApiError(404, u"notFound"_s, u"Not Found"_s);
        m_token.handle(call);
    } else {
        dispatchDrive(call);
    }
}

void ProxyServer::dispatchDrive(Call &call) {
    static const QByteArray drive = "/drive/v3/";
    static const QByteArray upload = "/upload/drive/v3/";
    const QByteArray &path = call.request.path;
    const bool content = path.startsWith(upload);
    if (!content && !path.startsWith(drive))
        throw ApiError(404, u"notFound"_s, u"Not Found"_s);
    call.viewer = m_grants.authorize(call.request.header("Authorization"));
    m_manners.receive(call.request);
    call.parameters = Parameters::parse(call.request.query);
    const QString form = call.parameters.value(u"alt"_s);
    if (!form.isEmpty() && form != "json"_L1 && form != "media"_L1)
        throw ApiError::invalidParameter(u"alt"_s, form);
    if (content)
        m_upload.handle(call, segmentsAfter(path, upload));
    else
        m_drive.handle(call, segmentsAfter(path, drive));
}

} // namespace quillmount::standin
