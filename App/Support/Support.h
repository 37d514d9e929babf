// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>
#include <QUrl>

namespace quillmount {

// Help for the user.
namespace Support {

// The e-mail address of the support, from the information dictionary.
[[nodiscard]] QString address();

// Begins an e-mail to the support in the user's mail program, with what they need to know; puts their address on the
// pasteboard, and shows the engine's log, which the message asks for. What of it cannot be done is left out.
void contact();

// The user's files at Google, in the browser.
[[nodiscard]] QUrl driveWebURL();

} // namespace Support
} // namespace quillmount
