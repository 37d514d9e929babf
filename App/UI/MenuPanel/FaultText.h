// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/ErrorMapper.h"

#include <QString>

namespace quillmount {

// What the user is told of a drive that failed, in the panel and where the panel is not to be seen.
struct FaultText {
    QString title;
    QString detail;

    [[nodiscard]] static FaultText of(ErrorMapper::Kind kind, const QString &supportAddress);
};

} // namespace quillmount
