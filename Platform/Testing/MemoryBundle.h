// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Bundle.h"

#include <QHash>

namespace quillmount {

// A bundle that holds what a test puts in.
class MemoryBundle final : public Bundle {
public:
    [[nodiscard]] std::optional<QString> infoString(const QString &key) const override { return find(m_info, key); }
    [[nodiscard]] std::optional<QString> resource(const QString &fileName) const override {
        return find(m_resources, fileName);
    }
    [[nodiscard]] std::optional<QString> location() const override { return m_location; }
    [[nodiscard]] std::optional<QString> auxiliaryExecutable(const QString &name) const override {
        return find(m_executables, name);
    }

    void setInfoString(const QString &key, const QString &value) { m_info.insert(key, value); }
    void setResource(const QString &fileName, const QString &path) { m_resources.insert(fileName, path); }
    void setLocation(const std::optional<QString> &folder) { m_location = folder; }
    void setExecutable(const QString &name, const QString &path) { m_executables.insert(name, path); }
    void removeExecutable(const QString &name) { m_executables.remove(name); }

private:
    static std::optional<QString> find(const QHash<QString, QString> &table, const QString &key) {
        const auto found = table.constFind(key);
        return found == table.cend() ? std::nullopt : std::optional(*found);
    }

    QHash<QString, QString> m_info;
    QHash<QString, QString> m_resources;
    QHash<QString, QString> m_executables;
    std::optional<QString> m_location;
};

} // namespace quillmount
