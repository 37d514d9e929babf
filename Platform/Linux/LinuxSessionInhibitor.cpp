// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSessionInhibitor.h"

namespace quillmount {

void LinuxSessionInhibitor::hold(const QString &) {}

void LinuxSessionInhibitor::release() {}

} // namespace quillmount
