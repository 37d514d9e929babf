// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QProcessEnvironment>

namespace quillmount {

// The desktop's message bus. Libraries that find none start one of their own, which nobody else is on and which stays
// when the application has ended; so each use of the bus asks here first.
namespace SessionBus {

// Whether the environment names a bus that is there already. An address that asks for a start names none.
[[nodiscard]] bool isThere();

// Without a bus, keeps every library of this process from starting one. Before the application object is made.
void startNone();

// The environment for a program that belongs to the user rather than to the application: that program decides about the
// bus for itself.
[[nodiscard]] QProcessEnvironment usersEnvironment();

} // namespace SessionBus
} // namespace quillmount
