// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SessionInhibitor.h"

namespace quillmount {

class LinuxSessionInhibitor final : public SessionInhibitor {
public:
    void hold(const QString &reason) override;
    void release() override;
};

} // namespace quillmount
