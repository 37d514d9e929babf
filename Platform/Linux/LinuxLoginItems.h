// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/LoginItems.h"

#include <QString>

namespace quillmount {

// An XDG autostart entry of the user.
class LinuxLoginItems final : public LoginItems {
public:
    // `configuration` is the XDG config home; `executable` the absolute path of what is started, in the background.
    LinuxLoginItems(const QString &configuration, const QString &executable);

    void setEnabled(bool on) override;
    // False also when the user switched the entry off in the desktop's own settings, when it is not for this desktop,
    // or when what it would start is gone.
    [[nodiscard]] bool isEnabled() const override;
    void repair() override;

private:
    [[nodiscard]] QByteArray entry() const;

    QString m_folder;
    QString m_file;
    QString m_executable;
};

} // namespace quillmount
