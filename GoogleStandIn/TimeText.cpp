// SPDX-License-Identifier: LicenseRef-Quillmount
#include "TimeText.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

std::optional<qint64> parseTime(const QString &text) {
    static const QRegularExpression shape(u"^(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d)(?:\\.(\\d{1,9}))?"
                                          "(Z|[+-]\\d\\d:\\d\\d)$"_s);
    const QRegularExpressionMatch match = shape.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const QDateTime time = QDateTime::fromString(match.captured(1) + match.captured(3), Qt::ISODate);
    if (!time.isValid())
        return std::nullopt;
    return time.toMSecsSinceEpoch() + match.captured(2).leftJustified(3, u'0', true).toInt();
}

QString formatTime(qint64 ms) {
    return QDateTime::fromMSecsSinceEpoch(ms, QTimeZone::utc()).toString(u"yyyy-MM-ddTHH:mm:ss.zzz"_s) + u'Z';
}

qint64 nowMs() {
    return QDateTime::currentMSecsSinceEpoch();
}

} // namespace quillmount::standin
