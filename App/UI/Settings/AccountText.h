// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/Settings/AccountSnapshot.h"
#include "App/UI/Settings/ConfirmationContent.h"

namespace quillmount {

// What the account tab and its two questions say.
namespace AccountText {

[[nodiscard]] QString email(const AccountSnapshot &account);
// Empty while the figures are not known.
[[nodiscard]] QString storage(const AccountSnapshot &account);
// Below what can be done with the account; empty when there is nothing to say.
[[nodiscard]] QString footer(const AccountSnapshot &account);

[[nodiscard]] ConfirmationContent disconnect(const AccountSnapshot &account);
[[nodiscard]] ConfirmationContent uninstall(const AccountSnapshot &account);

} // namespace AccountText
} // namespace quillmount
