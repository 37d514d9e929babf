// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/ByteText.h"

#include <algorithm>
#include <iterator>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

struct Unit {
    QStringView name;
    qint64 bytes;
    qint64 steps; // how many steps of its last digit make one
};

constexpr Unit units[] = {
    {u"KB", 1'000, 1},
    {u"MB", 1'000'000, 10},
    {u"GB", 1'000'000'000, 100},
    {u"TB", 1'000'000'000'000, 100},
};

} // namespace

QString byteText(qint64 bytes) {
    if (bytes <= 0)
        return u"0 KB"_s;
    const Unit *unit = units;
    qint64 count = 0; // of the unit's steps
    for (;; ++unit) {
        const qint64 step = unit->bytes / unit->steps;
        count = bytes / step + (bytes % step >= step - bytes % step ? 1 : 0);
        // What rounds to a thousand is one of the next unit.
        if (count < 1'000 * unit->steps || unit == std::end(units) - 1)
            break;
    }
    count = std::max<qint64>(count, 1);
    QString number = QString::number(count / unit->steps);
    if (const qint64 rest = count % unit->steps) {
        QString digits = QString::number(unit->steps + rest).mid(1); // with its leading zeros
        while (digits.endsWith(u'0'))
            digits.chop(1);
        number += u'.' + digits;
    }
    return number + u' ' + unit->name.toString();
}

} // namespace quillmount
