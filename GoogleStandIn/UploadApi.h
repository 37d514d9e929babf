// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/Call.h"
#include "GoogleStandIn/ContentWriter.h"

#include <map>
#include <memory>
#include <mutex>

namespace quillmount::standin {

// The calls below /upload/drive/v3/: content in one request (media, multipart) or in chunks (resumable).
//
// Sessions of resumable uploads live in memory: after a restart of this program their addresses answer 404, as the
// service's do after a week, and the client starts again. The oldest of many are forgotten likewise.
class UploadApi {
public:
    explicit UploadApi(DriveStore &store)
        : m_store(store) {}

    // Answers the call or throws ApiError. `path` is what follows /upload/drive/v3/, segment by segment, decoded.
    void handle(Call &call, const QStringList &path);

private:
    struct Session;
    struct Target;

    void whole(Call &call, const Target &target);
    void multipart(Call &call, Target target);
    void startSession(Call &call, Target target);
    void chunk(Call &call, const std::shared_ptr<Session> &session);
    void receive(Call &call, Session &session, qint64 from, qint64 size);
    void commit(Call &call, const Target &target, const StagedFile &content);
    QJsonObject store(const Target &target, const StagedFile &content);
    void check(const Target &target, qint64 size);
    std::shared_ptr<Session> findSession(const QString &id);

    DriveStore &m_store;
    std::mutex m_mutex;
    qint64 m_uses = 0;
    std::map<QString, std::shared_ptr<Session>> m_sessions;
};

} // namespace quillmount::standin
