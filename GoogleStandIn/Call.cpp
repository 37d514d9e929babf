// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Call.h"

#include "GoogleStandIn/ApiError.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

QByteArray Call::readMetadata() const {
    const QByteArray body = connection.readWholeBody(1 << 20);
    if (!body.isEmpty() && !request.header("Content-Type").startsWith("application/json"))
        throw ApiError::badRequest(u"The body must be JSON, and say so in Content-Type."_s);
    return body;
}

void Call::sendJson(int status, const QJsonObject &object, const HttpHeaders &more) const {
    const HttpHeaders headers = HttpHeaders{{"Content-Type", "application/json; charset=UTF-8"}} + more;
    connection.send(status, headers, QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void Call::sendSelected(const QJsonObject &object, Resource resource, const QString &usual, int status) const {
    const QString fields = parameters.contains(u"fields"_s) ? parameters.value(u"fields"_s) : usual;
    sendJson(status, FieldSelector::parse(fields, resource).apply(object));
}

void Call::checkFields(Resource resource) const {
    FieldSelector::parse(parameters.value(u"fields"_s), resource);
}

} // namespace quillmount::standin
