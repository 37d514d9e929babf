// SPDX-License-Identifier: LicenseRef-Quillmount
#include "DriveApi.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/ContentWriter.h"
#include "GoogleStandIn/FileResource.h"
#include "GoogleStandIn/TimeText.h"

#include <QJsonArray>
#include <QScopeGuard>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
const QSet<QString> sharedDrives{u"supportsAllDrives"_s, u"supportsTeamDrives"_s};

ApiError unknownCall() {
    return {404, u"notFound"_s, u"Not Found"_s};
}

// The part of a file that a Range header asks for.
struct Span {
    qint64 from = 0;
    qint64 length = 0;
    bool partial = false;
};

Span chooseSpan(const QByteArray &range, qint64 size) {
    if (range.isNull()) {
        return {.from = 0, .length = size, .partial = false};
    }
    const ApiError unsatisfiable(416, u"requestedRangeNotSatisfiable"_s, u"Request range not satisfiable"_s);
    const qsizetype dash = range.indexOf('-');
    if (!range.startsWith("bytes=") || dash < 0 || range.contains(','))
        throw unsatisfiable;
    const QByteArray first = range.mid(6, dash - 6);
    const QByteArray last = range.mid(dash + 1);
    bool firstOk = true;
    bool lastOk = true;
    qint64 from = first.isEmpty() ? -1 : first.toLongLong(&firstOk);
    qint64 to = last.isEmpty() ? size - 1 : last.toLongLong(&lastOk);
    if (!firstOk || !lastOk || (first.isEmpty() && last.isEmpty()))
        throw unsatisfiable;
    if (first.isEmpty()) {
        from = std::max<qint64>(0, size - to);
        to = size - 1;
    }
    to = std::min(to, size - 1);
    if (from < 0 || from >= size || to < from)
        throw unsatisfiable;
    return {.from = from, .length = to - from + 1, .partial = true};
}
} // namespace

void DriveApi::handle(Call &call, const QStringList &path) {
    const QByteArray &method = call.request.method;
    if (path.value(0) == "files"_L1) {
        files(call, path);
    } else if (path == QStringList{u"about"_s} && method == "GET") {
        about(call);
    } else if (path == QStringList{u"changes"_s} && method == "GET") {
        listChanges(call);
    } else if (path == QStringList{u"changes"_s, u"startPageToken"_s} && method == "GET") {
        startPageToken(call);
    } else {
        throw unknownCall();
    }
}

void DriveApi::files(Call &call, const QStringList &path) {
    const QByteArray &method = call.request.method;
    if (path.size() == 1 && method == "GET") {
        listFiles(call);
    } else if (path.size() == 1 && method == "POST") {
        createFile(call);
    } else if (path.size() == 2 && method == "GET") {
        getFile(call, path[1]);
    } else if (path.size() == 2 && method == "PATCH") {
        updateFile(call, path[1]);
    } else if (path.size() == 2 && method == "DELETE") {
        call.kind = u"files.delete"_s;
        call.parameters.requireKnown(sharedDrives + QSet<QString>{u"enforceSingleParent"_s});
        if (path[1] == "trash"_L1)
            m_store.emptyTrash(call.viewer);
        else
            m_store.remove(call.viewer, path[1]);
        call.connection.send(204, {}, {});
    } else {
        throw unknownCall();
    }
}

void DriveApi::listFiles(Call &call) {
    call.kind = u"files.list"_s;
    const Parameters &parameters = call.parameters;
    parameters.requireKnown(sharedDrives + QSet<QString>{u"q"_s, u"pageSize"_s, u"pageToken"_s, u"corpora"_s,
                                                         u"spaces"_s, u"includeItemsFromAllDrives"_s,
                                                         u"includeTeamDriveItems"_s});
    if (parameters.contains(u"spaces"_s) && parameters.value(u"spaces"_s) != "drive"_L1)
        throw ApiError::invalidParameter(u"spaces"_s, parameters.value(u"spaces"_s));
    if (parameters.contains(u"corpora"_s) && parameters.value(u"corpora"_s) != "user"_L1)
        throw ApiError::invalidParameter(u"corpora"_s, parameters.value(u"corpora"_s));
    const FilePage page =
        m_store.list(call.viewer, parameters.value(u"q"_s), parameters.number(u"pageSize"_s, 100, 1, 1000),
                     parameters.value(u"pageToken"_s));
    QJsonArray files;
    for (const FileView &file : page.files)
        files.append(fileResource(file));
    QJsonObject answer{{"kind"_L1, "drive#fileList"_L1}, {"incompleteSearch"_L1, false}, {"files"_L1, files}};
    if (!page.nextPageToken.isEmpty())
        answer.insert("nextPageToken"_L1, page.nextPageToken);
    call.sendSelected(answer, Resource::fileList,
                      u"kind,nextPageToken,incompleteSearch,files(%1)"_s.arg(QLatin1StringView(usualFileFields)));
}

void DriveApi::createFile(Call &call) {
    call.kind = u"files.create"_s;
    call.parameters.requireKnown(sharedDrives + QSet<QString>{u"enforceSingleParent"_s, u"ignoreDefaultVisibility"_s,
                                                              u"keepRevisionForever"_s, u"ocrLanguage"_s,
                                                              u"useContentAsIndexableText"_s});
    call.checkFields(Resource::file);
    const FilePatch patch = parseFilePatch(call.readMetadata(), true);
    FileView view;
    if (patch.mimeType == QLatin1StringView(folderType)) {
        view = m_store.createFolder(call.viewer, patch);
    } else {
        const QString staged = m_store.newStagingPath();
        ContentWriter empty(m_store.absolute(staged));
        view = m_store.createFile(call.viewer, patch, {.path = staged, .size = 0, .md5 = empty.finish()});
    }
    call.sendSelected(fileResource(view), Resource::file, QLatin1StringView(usualFileFields));
}

void DriveApi::getFile(Call &call, const QString &id) {
    call.parameters.requireKnown(sharedDrives + QSet<QString>{u"acknowledgeAbuse"_s});
    const QString form = call.parameters.value(u"alt"_s);
    if (form == "media"_L1) {
        download(call, id);
        return;
    }
    call.kind = u"files.get"_s;
    const FileView view = m_store.get(call.viewer, id);
    if (view.entry.parentId.isEmpty() && !m_rootVisible)
        throw ApiError::fileNotFound(id);
    call.sendSelected(fileResource(view), Resource::file, QLatin1StringView(usualFileFields));
}

void DriveApi::download(Call &call, const QString &id) {
    call.kind = u"files.download"_s;
    FileView view;
    const int fd = m_store.openContent(call.viewer, id, &view);
    const auto close = qScopeGuard([fd] { ::close(fd); });
    const qint64 size = view.entry.size;
    const Span span = chooseSpan(call.request.header("Range"), size);
    HttpHeaders headers{{"Content-Type", view.entry.mimeType.toLatin1()}};
    if (span.partial) {
        headers.append({"Content-Range", "bytes " + QByteArray::number(span.from) + '-' +
                                             QByteArray::number(span.from + span.length - 1) + '/' +
                                             QByteArray::number(size)});
    }
    call.connection.start(span.partial ? 206 : 200, headers, span.length);
    QByteArray piece(256 * 1024, Qt::Uninitialized);
    for (qint64 at = span.from, end = span.from + span.length; at < end;) {
        const ssize_t got = ::pread(fd, piece.data(), size_t(std::min<qint64>(piece.size(), end - at)), at);
        if (got <= 0) {
            // Somebody shortened the file by hand meanwhile: there is no way to say so but to break off.
            throw ConnectionLost();
        }
        call.connection.writeBody(piece.constData(), got);
        at += got;
    }
}

void DriveApi::updateFile(Call &call, const QString &id) {
    call.kind = u"files.update"_s;
    const Parameters &parameters = call.parameters;
    parameters.requireKnown(sharedDrives + QSet<QString>{u"addParents"_s, u"removeParents"_s, u"enforceSingleParent"_s,
                                                         u"keepRevisionForever"_s, u"ocrLanguage"_s,
                                                         u"useContentAsIndexableText"_s});
    call.checkFields(Resource::file);
    FilePatch patch = parseFilePatch(call.readMetadata(), false);
    patch.addParents = parameters.value(u"addParents"_s).split(u',', Qt::SkipEmptyParts);
    patch.removeParents = parameters.value(u"removeParents"_s).split(u',', Qt::SkipEmptyParts);
    const FileView view = m_store.update(call.viewer, id, patch, nullptr);
    call.sendSelected(fileResource(view), Resource::file, QLatin1StringView(usualFileFields));
}

void DriveApi::about(Call &call) const {
    call.kind = u"about"_s;
    call.parameters.requireKnown({});
    if (call.parameters.value(u"fields"_s).isEmpty())
        throw ApiError(400, u"required"_s, u"The 'fields' parameter is required for this method."_s, u"fields"_s);
    const Quota quota = m_store.quota();
    QJsonObject numbers{{"usage"_L1, QString::number(quota.used)},
                        {"usageInDrive"_L1, QString::number(quota.used)},
                        {"usageInDriveTrash"_L1, QString::number(quota.usedInTrash)}};
    if (quota.limit > 0)
        numbers.insert("limit"_L1, QString::number(quota.limit));
    const QJsonArray documents{"application/vnd.google-apps.document"_L1};
    call.sendSelected({{"kind"_L1, "drive#about"_L1},
                       {"storageQuota"_L1, numbers},
                       {"maxUploadSize"_L1, "5242880000000"_L1},
                       {"exportFormats"_L1, QJsonObject{{"application/vnd.google-apps.document"_L1,
                                                         QJsonArray{"application/pdf"_L1, "text/plain"_L1}}}},
                       {"importFormats"_L1, QJsonObject{{"text/plain"_L1, documents}}},
                       {"user"_L1, QJsonObject{{"kind"_L1, "drive#user"_L1},
                                               {"displayName"_L1, "Local User"_L1},
                                               {"emailAddress"_L1, "user@example.com"_L1},
                                               {"me"_L1, true}}}},
                      Resource::about, {});
}

void DriveApi::startPageToken(Call &call) const {
    call.kind = u"changes.startPageToken"_s;
    call.parameters.requireKnown(sharedDrives);
    call.sendSelected({{"kind"_L1, "drive#startPageToken"_L1}, {"startPageToken"_L1, m_store.startPageToken()}},
                      Resource::startPageToken, u"*"_s);
}

void DriveApi::listChanges(Call &call) const {
    call.kind = u"changes.list"_s;
    const Parameters &parameters = call.parameters;
    parameters.requireKnown(sharedDrives + QSet<QString>{u"pageToken"_s, u"pageSize"_s, u"includeItemsFromAllDrives"_s,
                                                         u"includeTeamDriveItems"_s, u"restrictToMyDrive"_s,
                                                         u"includeRemoved"_s, u"includeCorpusRemovals"_s, u"spaces"_s});
    if (!parameters.contains(u"pageToken"_s))
        throw ApiError(400, u"required"_s, u"Required parameter: pageToken"_s, u"pageToken"_s);
    const ChangePage page =
        m_store.changes(call.viewer, parameters.value(u"pageToken"_s), parameters.number(u"pageSize"_s, 100, 1, 1000),
                        parameters.flag(u"includeRemoved"_s, true));
    QJsonArray changes;
    for (const ChangeView &change : page.changes) {
        QJsonObject object{{"kind"_L1, "drive#change"_L1}, {"type"_L1, "file"_L1},
                           {"changeType"_L1, "file"_L1},   {"fileId"_L1, change.fileId},
                           {"removed"_L1, !change.file},   {"time"_L1, formatTime(change.timeMs)}};
        if (change.file)
            object.insert("file"_L1, fileResource(*change.file));
        changes.append(object);
    }
    QJsonObject answer{{"kind"_L1, "drive#changeList"_L1}, {"changes"_L1, changes}};
    if (page.nextPageToken.isEmpty())
        answer.insert("newStartPageToken"_L1, page.newStartPageToken);
    else
        answer.insert("nextPageToken"_L1, page.nextPageToken);
    call.sendSelected(
        answer, Resource::changeList,
        u"kind,nextPageToken,newStartPageToken,changes(kind,type,changeType,time,removed,fileId,file(%1))"_s.arg(
            QLatin1StringView(usualFileFields)));
}

} // namespace quillmount::standin
