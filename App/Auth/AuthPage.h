// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>

namespace quillmount {

// The page that the browser shows when it comes back from Google.
namespace AuthPage {

// The whole HTML document in UTF-8. It runs no script and loads nothing, and nothing of the request is in it.
[[nodiscard]] QByteArray html(bool success);

} // namespace AuthPage
} // namespace quillmount
