// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace quillmount::standin {

// What a search term is compared with.
struct QuerySubject {
    QString name = {};
    QString mimeType = {};
    QString parentId = {};
    bool trashed = false;
    qint64 modifiedMs = 0;
    qint64 createdMs = 0;
};

// A search in the language of files.list's "q": the terms on name, mimeType, trashed, parents and the two times.
class DriveQuery {
public:
    struct Node;

    // Matches everything.
    DriveQuery() = default;
    // Throws ApiError (400) for anything outside the language.
    static DriveQuery parse(const QString &text);

    bool matches(const QuerySubject &subject) const;
    // The folders outside of which nothing can match, when the search says so.
    std::optional<QStringList> parents() const;
    // The same search with the folder called `alias` replaced, as "root" is by the folder's own id.
    DriveQuery withParentAlias(const QString &alias, const QString &id) const;

private:
    std::shared_ptr<const Node> m_root;
};

} // namespace quillmount::standin
