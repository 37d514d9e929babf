// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/UserDefaults.h"

#include <QMap>

namespace quillmount {

// Settings that live as long as this object.
class MemoryUserDefaults final : public UserDefaults {
public:
    [[nodiscard]] std::optional<Value> value(const QString &key) const override {
        const auto found = m_values.constFind(key);
        return found == m_values.cend() ? std::nullopt : std::optional(*found);
    }
    bool set(const QString &key, const Value &value) override {
        m_values.insert(key, value);
        return true;
    }
    bool remove(const QString &key) override {
        m_values.remove(key);
        return true;
    }

    [[nodiscard]] QStringList keys() const { return m_values.keys(); }

private:
    QMap<QString, Value> m_values;
};

} // namespace quillmount
