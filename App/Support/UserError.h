// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <exception>

namespace quillmount {

// An error that the user is told of as it is: `description` is a whole sentence for them, `what` is for the log.
class UserError : public std::exception {
public:
    [[nodiscard]] virtual QString description() const = 0;
};

} // namespace quillmount
