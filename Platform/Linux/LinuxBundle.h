// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Bundle.h"

#include <QJsonObject>

namespace quillmount {

// The folder of the executable: "Info.json" in it is the information dictionary, read once, and the other files and
// the programs in it belong to the application.
// The key "QMFolderName" says that the folder is the application's alone, as long as it has that name: a dictionary
// that was copied elsewhere says nothing of the other folder.
class LinuxBundle final : public Bundle {
public:
    explicit LinuxBundle(const QString &folder);

    [[nodiscard]] std::optional<QString> infoString(const QString &key) const override;
    [[nodiscard]] std::optional<QString> resource(const QString &fileName) const override;
    [[nodiscard]] std::optional<QString> location() const override;
    [[nodiscard]] std::optional<QString> auxiliaryExecutable(const QString &name) const override;

private:
    QString m_folder;
    QJsonObject m_info;
};

} // namespace quillmount
