// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// Asks the desktop to tell the user before it ends the session. It never keeps the machine awake, and the user can
// always end the session all the same. It ends with the process at the latest.
class SessionInhibitor {
public:
    virtual ~SessionInhibitor() = default;

    // `reason` is a sentence for the user. A second call replaces the reason.
    virtual void hold(const QString &reason) = 0;
    // Harmless when nothing is held.
    virtual void release() = 0;
};

} // namespace quillmount
