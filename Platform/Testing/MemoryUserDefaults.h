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
        if (m_writable)
            m_values.insert(key, value);
        return m_writable;
    }
    bool remove(const QString &key) override {
        if (m_writable)
            m_values.remove(key);
        return m_writable;
    }

    // Makes every change fail, as on a full disk.
    void setWritable(bool writable) { m_writable = writable; }
    [[nodiscard]] QStringList keys() const { return m_values.keys(); }

private:
    QMap<QString, Value> m_values;
    bool m_writable = true;
};

} // namespace quillmount
