// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>

namespace quillmount {

// How the line between the two stations is drawn.
class RouteLine {
    Q_GADGET

public:
    enum Style { live, idle, offline, fault, pending };
    Q_ENUM(Style)
};

} // namespace quillmount
