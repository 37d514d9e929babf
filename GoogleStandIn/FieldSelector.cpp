// SPDX-License-Identifier: LicenseRef-Quillmount
#include "FieldSelector.h"

#include "GoogleStandIn/ApiError.h"

#include <QHash>
#include <QJsonArray>
#include <QSet>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
// One line an object: its members; those of object type name the schema that goes on.
using Schema = QHash<QString, QString>;

Schema leaves(const QString &names) {
    Schema schema;
    const QStringList list = names.split(u' ', Qt::SkipEmptyParts);
    for (const QString &name : list) {
        schema.insert(name, {});
    }
    return schema;
}

const QHash<QString, Schema> &schemas() {
    static const QHash<QString, Schema> all = [] {
        QHash<QString, Schema> result;
        Schema file = leaves(
            u"appProperties capabilities contentRestrictions copyRequiresWriterPermission createdTime description "
            u"driveId "
            "explicitlyTrashed exportLinks fileExtension folderColorRgb fullFileExtension hasThumbnail headRevisionId "
            "iconLink id isAppAuthorized kind lastModifyingUser linkShareMetadata md5Checksum mimeType modifiedByMe "
            "modifiedByMeTime modifiedTime name originalFilename ownedByMe owners parents permissionIds permissions "
            "properties quotaBytesUsed resourceKey sha1Checksum sha256Checksum shared sharedWithMeTime size spaces "
            "starred "
            "thumbnailLink thumbnailVersion trashed trashedTime version viewedByMe viewedByMeTime webContentLink "
            "webViewLink writersCanShare imageMediaMetadata videoMediaMetadata"_s);
        file.insert(u"shortcutDetails"_s, u"shortcut"_s);
        result.insert(u"shortcut"_s, leaves(u"targetId targetMimeType targetResourceKey"_s));
        result.insert(u"file"_s, file);
        Schema fileList = leaves(u"kind nextPageToken incompleteSearch"_s);
        fileList.insert(u"files"_s, u"file"_s);
        result.insert(u"fileList"_s, fileList);
        Schema about =
            leaves(u"kind exportFormats importFormats maxUploadSize maxImportSizes appInstalled canCreateDrives "
                   "folderColorPalette driveThemes"_s);
        about.insert(u"storageQuota"_s, u"quota"_s);
        about.insert(u"user"_s, u"user"_s);
        result.insert(u"quota"_s, leaves(u"limit usage usageInDrive usageInDriveTrash"_s));
        result.insert(u"user"_s, leaves(u"kind displayName emailAddress photoLink me permissionId"_s));
        result.insert(u"about"_s, about);
        result.insert(u"startPageToken"_s, leaves(u"kind startPageToken"_s));
        Schema change = leaves(u"kind type changeType time removed fileId driveId drive"_s);
        change.insert(u"file"_s, u"file"_s);
        result.insert(u"change"_s, change);
        Schema changeList = leaves(u"kind nextPageToken newStartPageToken"_s);
        changeList.insert(u"changes"_s, u"change"_s);
        result.insert(u"changeList"_s, changeList);
        return result;
    }();
    return all;
}

QString schemaName(Resource resource) {
    switch (resource) {
    case Resource::file:
        return u"file"_s;
    case Resource::fileList:
        return u"fileList"_s;
    case Resource::about:
        return u"about"_s;
    case Resource::startPageToken:
        return u"startPageToken"_s;
    case Resource::changeList:
        return u"changeList"_s;
    }
    return {};
}
} // namespace

class FieldParser {
public:
    using Part = FieldSelector::Part;

    explicit FieldParser(const QString &text)
        : m_text(text) {}

    void list(Part &into, const QString &schema, bool nested) {
        do {
            item(into, schema);
        } while (take(u','));
        if (nested ? !take(u')') : m_at != m_text.size())
            throw invalid();
    }

private:
    ApiError invalid() const {
        return {400, u"invalidParameter"_s, u"Invalid field selection %1"_s.arg(m_text), u"fields"_s};
    }

    bool take(QChar c) {
        if (m_at >= m_text.size() || m_text[m_at] != c)
            return false;
        ++m_at;
        return true;
    }

    void item(Part &into, const QString &schema) {
        if (take(u'*')) {
            into.everything = true;
            return;
        }
        const qsizetype start = m_at;
        while (m_at < m_text.size() && m_text[m_at].isLetterOrNumber())
            ++m_at;
        const QString name = m_text.mid(start, m_at - start);
        const Schema members = schemas().value(schema);
        if (!members.contains(name))
            throw invalid();
        Part &part = into.members[name];
        const QString inner = members.value(name);
        if (take(u'(')) {
            requireObject(inner);
            list(part, inner, true);
        } else if (take(u'/')) {
            requireObject(inner);
            item(part, inner);
        } else {
            part.everything = true;
        }
    }

    void requireObject(const QString &schema) const {
        if (schema.isEmpty())
            throw invalid();
    }

    const QString &m_text;
    qsizetype m_at = 0;
};

FieldSelector FieldSelector::parse(const QString &text, Resource resource) {
    FieldSelector selector;
    if (!text.isEmpty())
        FieldParser(text).list(selector.m_part, schemaName(resource), false);
    return selector;
}

QJsonObject FieldSelector::apply(const QJsonObject &object) const {
    return select(m_part, object);
}

QJsonObject FieldSelector::select(const Part &part, const QJsonObject &object) {
    if (part.everything)
        return object;
    QJsonObject result;
    for (const auto &[name, inner] : part.members) {
        const QJsonValue value = object.value(name);
        if (value.isUndefined())
            continue;
        if (inner.everything) {
            result.insert(name, value);
        } else if (value.isArray()) {
            QJsonArray elements;
            const QJsonArray all = value.toArray();
            for (const QJsonValue &element : all)
                elements.append(select(inner, element.toObject()));
            result.insert(name, elements);
        } else {
            result.insert(name, select(inner, value.toObject()));
        }
    }
    return result;
}

} // namespace quillmount::standin
