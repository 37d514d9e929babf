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
        if (m_isRemoved)
            return false;
        m_values.insert(key, value);
        return true;
    }
    bool remove(const QString &key) override {
        m_values.remove(key);
        return true;
    }
    void removeAll() override {
        m_isRemoved = true;
        m_values.clear();
    }

    [[nodiscard]] QStringList keys() const { return m_values.keys(); }

private:
    bool m_isRemoved = false;
    QMap<QString, Value> m_values;
};

} // namespace quillmount
