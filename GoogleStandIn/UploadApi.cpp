// SPDX-License-Identifier: LicenseRef-Quillmount
#include "UploadApi.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/FileResource.h"
#include "GoogleStandIn/MultipartReader.h"

#include <QRegularExpression>

#include <algorithm>
#include <atomic>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
constexpr qint64 metadataLimit = 1 << 20;
constexpr qsizetype pieceSize = 256 * 1024;
constexpr qint64 chunkMultiple = 256 * 1024;
constexpr size_t keptSessions = 100;

ApiError badChunk(const QString &why) {
    return ApiError::badRequest(u"Invalid upload request: "_s + why);
}

// "bytes 0-99/1000", "bytes 0-99/*", "bytes */1000", "bytes */*".
struct ContentRange {
    qint64 from = -1; // -1: no bytes, only the question how far the upload is.
    qint64 to = -1;
    qint64 total = -1; // -1: not known yet.
};

ContentRange parseContentRange(const QByteArray &header) {
    static const QRegularExpression shape(u"^bytes (?:(\\d{1,18})-(\\d{1,18})|\\*)/(\\d{1,18}|\\*)$"_s);
    const QRegularExpressionMatch match = shape.match(QString::fromLatin1(header));
    if (!match.hasMatch())
        throw badChunk(u"Content-Range."_s);
    ContentRange range;
    if (match.hasCaptured(1) && !match.capturedView(1).isEmpty()) {
        range.from = match.capturedView(1).toLongLong();
        range.to = match.capturedView(2).toLongLong();
        if (range.to < range.from)
            throw badChunk(u"Content-Range."_s);
    }
    if (match.capturedView(3) != u'*') {
        range.total = match.capturedView(3).toLongLong();
        if (range.to >= range.total)
            throw badChunk(u"Content-Range."_s);
    }
    return range;
}
} // namespace

// What an upload makes or changes.
struct UploadApi::Target {
    Viewer viewer;
    QString fileId; // Empty for a new file.
    FilePatch patch;
};

struct UploadApi::Session {
    std::mutex mutex;
    std::atomic<qint64> lastUsed = 0;
    Target target;
    Parameters parameters;
    qint64 total = -1;
    QString stagedPath;
    std::unique_ptr<ContentWriter> writer;
    std::optional<QJsonObject> result; // Kept, because a client whose answer was lost asks again.
};

void UploadApi::handle(Call &call, const QStringList &path) {
    const QByteArray &method = call.request.method;
    const Parameters &parameters = call.parameters;
    if (path.value(0) != "files"_L1 || path.size() > 2)
        throw ApiError(404, u"notFound"_s, u"Not Found"_s);
    parameters.requireKnown({u"uploadType"_s, u"upload_id"_s, u"supportsAllDrives"_s, u"supportsTeamDrives"_s,
                             u"keepRevisionForever"_s, u"setModifiedDate"_s, u"addParents"_s, u"removeParents"_s,
                             u"enforceSingleParent"_s, u"ignoreDefaultVisibility"_s, u"ocrLanguage"_s,
                             u"useContentAsIndexableText"_s});
    const QString form = parameters.value(u"uploadType"_s);
    if (parameters.contains(u"upload_id"_s)) {
        call.kind = u"upload.chunk"_s;
        if (form != "resumable"_L1 || (method != "PUT" && method != "POST"))
            throw ApiError(404, u"notFound"_s, u"Not Found"_s);
        chunk(call, findSession(parameters.value(u"upload_id"_s)));
        return;
    }
    const bool creating = path.size() == 1;
    if (method != (creating ? "POST" : "PATCH"))
        throw ApiError(404, u"notFound"_s, u"Not Found"_s);
    Target target{.viewer = call.viewer, .fileId = path.value(1), .patch = {}};
    call.kind = creating ? u"upload.create"_s : u"upload.update"_s;
    call.checkFields(Resource::file);
    if (form == "media"_L1) {
        whole(call, target);
    } else if (form == "multipart"_L1) {
        multipart(call, target);
    } else if (form == "resumable"_L1) {
        call.kind = u"upload.start"_s;
        startSession(call, target);
    } else {
        throw ApiError::invalidParameter(u"uploadType"_s, form);
    }
}

void UploadApi::check(const Target &target, qint64 size) {
    if (target.fileId.isEmpty())
        m_store.checkCreate(target.viewer, target.patch, size);
    else
        m_store.checkUpdate(target.viewer, target.fileId, target.patch, size);
}

QJsonObject UploadApi::store(const Target &target, const StagedFile &content) {
    return fileResource(target.fileId.isEmpty() ? m_store.createFile(target.viewer, target.patch, content)
                                                : m_store.update(target.viewer, target.fileId, target.patch, &content));
}

void UploadApi::commit(Call &call, const Target &target, const StagedFile &content) {
    call.sendSelected(store(target, content), Resource::file, QLatin1StringView(usualFileFields));
}

void UploadApi::whole(Call &call, const Target &target) {
    check(target, 0);
    const QString path = m_store.newStagingPath();
    ContentWriter writer(m_store.absolute(path));
    QByteArray piece(pieceSize, Qt::Uninitialized);
    while (const qint64 got = call.connection.readBody(piece.data(), piece.size()))
        writer.write(piece.constData(), got);
    const qint64 size = writer.size();
    commit(call, target, {.path = path, .size = size, .md5 = writer.finish()});
}

void UploadApi::multipart(Call &call, Target target) {
    MultipartReader reader(call.connection, call.request.header("Content-Type"));
    QByteArray type;
    QByteArray json;
    if (!reader.nextPart(&type) || !type.startsWith("application/json"))
        throw ApiError::badRequest(u"Malformed multipart body."_s);
    reader.readPart([&json](const char *data, qint64 size) {
        json.append(data, size);
        if (json.size() > metadataLimit)
            throw ApiError(413, u"uploadTooLarge"_s, u"Request body too large"_s);
    });
    target.patch = parseFilePatch(json, target.fileId.isEmpty());
    target.patch.addParents = call.parameters.value(u"addParents"_s).split(u',', Qt::SkipEmptyParts);
    target.patch.removeParents = call.parameters.value(u"removeParents"_s).split(u',', Qt::SkipEmptyParts);
    check(target, 0);
    if (!reader.nextPart(&type))
        throw ApiError::badRequest(u"Malformed multipart body."_s);
    if (!target.patch.mimeType && target.fileId.isEmpty() && !type.isEmpty())
        target.patch.mimeType = QString::fromLatin1(type);
    const QString path = m_store.newStagingPath();
    ContentWriter writer(m_store.absolute(path));
    reader.readPart([&writer](const char *data, qint64 size) { writer.write(data, size); });
    if (reader.nextPart(&type))
        throw ApiError::badRequest(u"Malformed multipart body."_s);
    call.connection.drainBody();
    const qint64 size = writer.size();
    commit(call, target, {.path = path, .size = size, .md5 = writer.finish()});
}

void UploadApi::startSession(Call &call, Target target) {
    const auto session = std::make_shared<Session>();
    target.patch = parseFilePatch(call.readMetadata(), target.fileId.isEmpty());
    target.patch.addParents = call.parameters.value(u"addParents"_s).split(u',', Qt::SkipEmptyParts);
    target.patch.removeParents = call.parameters.value(u"removeParents"_s).split(u',', Qt::SkipEmptyParts);
    if (const QByteArray length = call.request.header("X-Upload-Content-Length"); !length.isNull()) {
        bool ok = false;
        session->total = length.toLongLong(&ok);
        if (!ok || session->total < 0)
            throw badChunk(u"X-Upload-Content-Length."_s);
    }
    if (const QByteArray type = call.request.header("X-Upload-Content-Type");
        !type.isNull() && !target.patch.mimeType) {
        target.patch.mimeType = QString::fromLatin1(type);
    }
    check(target, std::max<qint64>(0, session->total));
    session->target = target;
    session->parameters = call.parameters;
    session->stagedPath = m_store.newStagingPath();
    session->writer = std::make_unique<ContentWriter>(m_store.absolute(session->stagedPath));
    const QString id = DriveTree::newId();
    {
        const std::lock_guard lock(m_mutex);
        if (m_sessions.size() >= keptSessions) {
            m_sessions.erase(std::min_element(m_sessions.begin(), m_sessions.end(), [](const auto &a, const auto &b) {
                return a.second->lastUsed < b.second->lastUsed;
            }));
        }
        session->lastUsed = ++m_uses;
        m_sessions[id] = session;
    }
    const QByteArray location =
        "https://www.googleapis.com" + call.request.path + "?uploadType=resumable&upload_id=" + id.toLatin1();
    call.connection.send(200, {{"Location", location}, {"X-GUploader-UploadID", id.toLatin1()}}, {});
}

std::shared_ptr<UploadApi::Session> UploadApi::findSession(const QString &id) {
    const std::lock_guard lock(m_mutex);
    const auto it = m_sessions.find(id);
    if (it == m_sessions.end())
        throw ApiError(404, u"notFound"_s, u"Upload session not found."_s);
    it->second->lastUsed = ++m_uses;
    return it->second;
}

void UploadApi::receive(Call &call, Session &session, qint64 from, qint64 size) {
    ContentWriter &writer = *session.writer;
    writer.mark();
    QByteArray piece(pieceSize, Qt::Uninitialized);
    qint64 at = from;
    try {
        while (const qint64 got = call.connection.readBody(piece.data(), piece.size())) {
            // A chunk that is sent again because its answer was lost overlaps what is here already.
            const qint64 known = std::clamp<qint64>(writer.size() - at, 0, got);
            writer.write(piece.constData() + known, got - known);
            at += got;
            if (at > from + size)
                throw badChunk(u"more bytes than Content-Range says."_s);
        }
        if (at != from + size)
            throw badChunk(u"fewer bytes than Content-Range says."_s);
    } catch (...) {
        writer.backToMark();
        throw;
    }
}

void UploadApi::chunk(Call &call, const std::shared_ptr<Session> &session) {
    const std::lock_guard lock(session->mutex);
    const QByteArray header = call.request.header("Content-Range");
    ContentRange range;
    if (header.isNull()) {
        bool ok = false;
        range.total = call.request.header("Content-Length").toLongLong(&ok);
        if (!ok)
            throw badChunk(u"neither Content-Range nor Content-Length."_s);
        range.from = range.total > 0 ? 0 : -1;
        range.to = range.total - 1;
    } else {
        range = parseContentRange(header);
    }
    if (session->result) {
        call.connection.drainBody();
        call.sendJson(200, *session->result);
        return;
    }
    if (range.total >= 0 && session->total >= 0 && range.total != session->total)
        throw badChunk(u"the total size differs from the one announced."_s);
    ContentWriter &writer = *session->writer;
    if (range.from > writer.size() || (range.total >= 0 && range.total < writer.size()))
        throw badChunk(u"the chunk does not follow the bytes received."_s);
    const qint64 size = range.from < 0 ? 0 : range.to - range.from + 1;
    const bool last = range.total >= 0 && range.to + 1 == range.total;
    if (size % chunkMultiple != 0 && !last)
        throw badChunk(u"the chunk is not a multiple of 256 KiB."_s);
    receive(call, *session, range.from < 0 ? writer.size() : range.from, size);
    if (range.total >= 0)
        session->total = range.total;
    if (range.total < 0 || writer.size() < range.total) {
        HttpHeaders headers;
        if (writer.size() > 0) {
            headers.append({QByteArray("Range"), "bytes=0-" + QByteArray::number(writer.size() - 1)});
        }
        call.connection.send(308, headers, {});
        return;
    }
    const qint64 total = writer.size();
    const StagedFile content{.path = session->stagedPath, .size = total, .md5 = writer.finish()};
    const QJsonObject file = store(session->target, content);
    session->writer.reset();
    const Parameters &parameters = session->parameters;
    const QString fields =
        parameters.contains(u"fields"_s) ? parameters.value(u"fields"_s) : QString(QLatin1StringView(usualFileFields));
    session->result = FieldSelector::parse(fields, Resource::file).apply(file);
    call.sendJson(200, *session->result);
}

} // namespace quillmount::standin
