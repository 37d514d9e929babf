// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <string>

namespace quillmount::mount {

// Why this process cannot mount through `device`, and what to do about it; empty when it can.
std::string fuseDeviceError(const std::string &device = "/dev/fuse");

} // namespace quillmount::mount
