// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount {

// The desktop's message bus. Libraries that find none start one of their own, which nobody else is on and which stays
// when the application has ended; so each use of the bus asks here first.
namespace SessionBus {

// Whether the environment names a bus that is there already. An address that asks for a start names none.
[[nodiscard]] bool isThere();

// Without a bus, keeps every library of this process from starting one. Before the application object is made. The
// programs that it starts decide for themselves.
void startNone();

} // namespace SessionBus
} // namespace quillmount
