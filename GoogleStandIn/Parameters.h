// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QMap>
#include <QSet>
#include <QString>

namespace quillmount::standin {

// The parameters of a query string or of a form (application/x-www-form-urlencoded).
class Parameters {
public:
    Parameters() = default;
    // Throws ApiError for a broken escape, text that is not UTF-8, or a name that comes twice.
    static Parameters parse(const QByteArray &encoded);

    bool contains(const QString &name) const { return m_values.contains(name); }
    QString value(const QString &name) const { return m_values.value(name); }
    // Throws ApiError for anything but "true" and "false".
    bool flag(const QString &name, bool absent) const;
    // Throws ApiError for anything but a decimal number within the limits.
    int number(const QString &name, int absent, int least, int most) const;
    // A name that is not in `known`; empty when there is none.
    QString firstNotIn(const QSet<QString> &known) const;
    // Refuses every name that is neither in `known` nor among those that all of Google's calls take.
    void requireKnown(const QSet<QString> &known) const;

private:
    QMap<QString, QString> m_values;
};

// Decodes "%XX"; throws ApiError when an escape is broken or the result is not UTF-8.
QString percentDecoded(const QByteArray &encoded);

} // namespace quillmount::standin
