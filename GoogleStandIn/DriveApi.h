// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/Call.h"

#include <atomic>

namespace quillmount::standin {

// The calls below /drive/v3/, except those that bring content.
class DriveApi {
public:
    explicit DriveApi(DriveStore &store)
        : m_store(store) {}

    // Answers the call or throws ApiError. `path` is what follows /drive/v3/, segment by segment, decoded.
    void handle(Call &call, const QStringList &path);
    // Whether files.get of the root succeeds: with the scope drive.file the service also answers 404.
    void setRootVisible(bool visible) { m_rootVisible = visible; }

private:
    void files(Call &call, const QStringList &path);
    void listFiles(Call &call);
    void createFile(Call &call);
    void getFile(Call &call, const QString &id);
    void download(Call &call, const QString &id);
    void updateFile(Call &call, const QString &id);
    void about(Call &call) const;
    void startPageToken(Call &call) const;
    void listChanges(Call &call) const;

    DriveStore &m_store;
    std::atomic<bool> m_rootVisible = true;
};

} // namespace quillmount::standin
