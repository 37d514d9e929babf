// SPDX-License-Identifier: LicenseRef-Quillmount
#include "ApiError.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

QByteArray ApiError::toJson() const {
    // The domains that a client's retry rules look at: limits are reported under "usageLimits".
    const bool limit = m_reason.contains("Limit"_L1) || m_reason.contains("Quota"_L1);
    QJsonObject detail{
        {"domain"_L1, limit ? "usageLimits"_L1 : "global"_L1}, {"reason"_L1, m_reason}, {"message"_L1, m_message}};
    if (!m_location.isEmpty()) {
        detail.insert("location"_L1, m_location);
        detail.insert("locationType"_L1, m_status == 401 ? "header"_L1 : "parameter"_L1);
    }
    const QJsonObject error{{"code"_L1, m_status}, {"message"_L1, m_message}, {"errors"_L1, QJsonArray{detail}}};
    return QJsonDocument(QJsonObject{{"error"_L1, error}}).toJson(QJsonDocument::Compact);
}

ApiError ApiError::badRequest(const QString &message) {
    return {400, u"badRequest"_s, message};
}

ApiError ApiError::invalidParameter(const QString &parameter, const QString &value) {
    return {400, u"invalidParameter"_s, u"Invalid value '%1' for parameter '%2'"_s.arg(value, parameter), parameter};
}

ApiError ApiError::unauthorized() {
    return {401, u"authError"_s, u"Invalid Credentials"_s, u"Authorization"_s};
}

ApiError ApiError::fileNotFound(const QString &id) {
    return {404, u"notFound"_s, u"File not found: %1."_s.arg(id), u"fileId"_s};
}

ApiError ApiError::quotaExceeded() {
    return {403, u"storageQuotaExceeded"_s, u"The user's Drive storage quota has been exceeded."_s};
}

ApiError ApiError::internal(const QString &message) {
    return {500, u"internalError"_s, message};
}

} // namespace quillmount::standin
