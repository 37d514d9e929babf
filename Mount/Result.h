// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount::mount {

// The outcome of an operation on a known file.
template <class T>
struct Result {
    int error = 0;  // an error number, 0 for success
    int status = 0; // the server's last status
    bool repeated = false;
    T value{};
};

} // namespace quillmount::mount
