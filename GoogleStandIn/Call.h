// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/DriveStore.h"
#include "GoogleStandIn/FieldSelector.h"
#include "GoogleStandIn/HttpConnection.h"
#include "GoogleStandIn/Parameters.h"

#include <QJsonObject>

namespace quillmount::standin {

// One request on its way through the calls.
struct Call {
    HttpConnection &connection;
    const HttpRequest &request;
    Parameters parameters;
    Viewer viewer;
    QString kind; // What it turned out to be, for the list of requests: "files.list", "upload.chunk" …

    // The body, when it describes a file in JSON; throws ApiError for another type and for more than 1 MiB.
    QByteArray readMetadata() const;
    void sendJson(int status, const QJsonObject &object, const HttpHeaders &more = {}) const;
    // The object reduced by the call's "fields" (or, without that, by `usual`).
    void sendSelected(const QJsonObject &object, Resource resource, const QString &usual, int status = 200) const;
    // Throws ApiError for a "fields" that the resource does not have; for calls that do their work before they answer.
    void checkFields(Resource resource) const;
};

// The members of a file that are sent without "fields".
inline constexpr auto usualFileFields = "kind,id,name,mimeType";

} // namespace quillmount::standin
