// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QJsonObject>
#include <QString>

#include <functional>

namespace quillmount::standin {

// An append-only file of JSON records, one a line, each written with one call: after a kill it holds every record that
// was written whole, and a torn last line is cut off.
class Journal {
public:
    explicit Journal(QString path)
        : m_path(std::move(path)) {}
    ~Journal();
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    // Hands the records to `replay` in order and opens the file for more;
    // `last` is true for the last one. Throws StartError for a damaged file.
    void load(const std::function<void(const QJsonObject &record, bool last)> &replay);
    // Throws ApiError (500) when the disk does not take it; the file is then as before.
    void append(const QJsonObject &record);
    // Takes the last record back.
    void withdraw();
    // Replaces the whole file atomically. Throws StartError.
    void rewrite(const QList<QJsonObject> &records);
    qint64 records() const { return m_records; }

private:
    void open();

    QString m_path;
    int m_descriptor = -1;
    qint64 m_size = 0;
    qint64 m_lastSize = 0;
    qint64 m_records = 0;
};

} // namespace quillmount::standin
