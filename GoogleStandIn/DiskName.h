// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <functional>

namespace quillmount::standin {

// A name for the disk that is as close to `name` as it can be and is not `taken`: what a file system cannot store is
// replaced, and " (2)", " (3)" … is put before the extension of a name that is in use.
QString freeNameFor(const QString &name, const std::function<bool(const QString &)> &taken);

} // namespace quillmount::standin
