// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <optional>
#include <variant>

namespace quillmount {

// The application's own settings store. Typed: what was stored as one type reads as absent through every other, so an
// integer stored as a string is not an integer. A change is on disk when `set` or `remove` returns.
class UserDefaults {
public:
    using Value = std::variant<qint64, bool, QString, QByteArray, QJsonObject>;

    virtual ~UserDefaults() = default;

    // Absent when the key is not there.
    [[nodiscard]] virtual std::optional<Value> value(const QString &key) const = 0;
    // False when the value could not be kept (it is logged); the old value then stays.
    virtual bool set(const QString &key, const Value &value) = 0;
    virtual bool remove(const QString &key) = 0;
    // Removes everything that was ever stored, also what was damaged and kept. From then on nothing is stored any more:
    // `set` refuses, and whatever ends late leaves nothing behind. What cannot be removed is logged.
    virtual void removeAll() = 0;

    template <typename T>
    [[nodiscard]] std::optional<T> get(const QString &key) const {
        const auto stored = value(key);
        if (stored)
            if (const T *typed = std::get_if<T>(&*stored))
                return *typed;
        return std::nullopt;
    }
};

} // namespace quillmount
