// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/DriveStore.h"

#include <QByteArray>
#include <QJsonObject>

namespace quillmount::standin {

// A file in the form of the Drive calls: 64-bit numbers as text, times in RFC 3339.
QJsonObject fileResource(const FileView &view);

// What a call's JSON body sets. Throws ApiError for a body that is not an object, for members that do not exist or
// cannot be written, and for values of the wrong form. `creating`: a new file, where more can be set.
FilePatch parseFilePatch(const QByteArray &json, bool creating);

} // namespace quillmount::standin
