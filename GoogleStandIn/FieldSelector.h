// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QJsonObject>
#include <QString>

#include <map>
#include <memory>

namespace quillmount::standin {

// The kinds of object that answers are made of; each knows the names of its members.
enum class Resource { file, fileList, about, startPageToken, changeList };

// A "fields" parameter: which members of an answer are sent.
class FieldSelector {
public:
    // Parses `text`; throws ApiError (400) for broken syntax and for a name that the resource does not have. An empty
    // text selects nothing.
    static FieldSelector parse(const QString &text, Resource resource);

    // The object with the selected members only; lists are treated element by element.
    QJsonObject apply(const QJsonObject &object) const;

private:
    struct Part {
        bool everything = false;
        std::map<QString, Part> members;
    };
    friend class FieldParser;

    static QJsonObject select(const Part &part, const QJsonObject &object);
    Part m_part;
};

} // namespace quillmount::standin
