// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// A question before something that cannot be undone.
struct ConfirmationContent {
    QString title;
    QString message;
    QString action;         // the title of its button
    bool isWarning = false; // something would be lost

    friend bool operator==(const ConfirmationContent &, const ConfirmationContent &) = default;
};

} // namespace quillmount
