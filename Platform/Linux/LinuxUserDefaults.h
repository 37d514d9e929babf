// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/UserDefaults.h"

namespace quillmount {

// The settings in one JSON file, readable by the user alone and replaced as a whole. Integers, Booleans and strings are
// stored as what they are, bytes as {"data": base64} and dictionaries as {"dictionary": {…}}; values of another shape
// read as absent but are kept. A change made to the file by hand is seen at the next call. A file that cannot be
// understood is renamed aside with the moment in its name, and what was known before is written again.
class LinuxUserDefaults final : public UserDefaults {
public:
    explicit LinuxUserDefaults(const QString &file);

    [[nodiscard]] std::optional<Value> value(const QString &key) const override;
    bool set(const QString &key, const Value &value) override;
    bool remove(const QString &key) override;
    void removeAll() override;

private:
    // Which state of the file was read last.
    struct Stamp {
        quint64 device = 0;
        quint64 inode = 0;
        qint64 size = 0;
        qint64 seconds = 0;
        qint64 nanoseconds = 0;

        friend bool operator==(const Stamp &, const Stamp &) = default;
    };

    [[nodiscard]] std::optional<Stamp> stampOf() const;
    bool refresh() const;
    [[nodiscard]] bool setAside() const;
    bool save(const QJsonObject &values) const;

    QString m_file;
    bool m_isRemoved = false;
    // The file as it was last seen: reading brings it up to date.
    mutable QJsonObject m_values;
    mutable std::optional<Stamp> m_stamp;
};

} // namespace quillmount
