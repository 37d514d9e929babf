// SPDX-License-Identifier: LicenseRef-Quillmount
#include "DiskName.h"

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
constexpr qsizetype maxName = 255;

QString shortened(QString stem, qsizetype bytes) {
    while (stem.toUtf8().size() > bytes)
        stem.chop(stem.back().isLowSurrogate() ? 2 : 1);
    return stem;
}
} // namespace

QString freeNameFor(const QString &name, const std::function<bool(const QString &)> &taken) {
    QString plain = name;
    plain.replace(u'/', u'\u2215');
    plain.replace(QChar::Null, u'\u2400');
    if (plain.isEmpty() || plain == u"."_s || plain == u".."_s)
        plain = u"_"_s + plain;
    const qsizetype dot = plain.lastIndexOf(u'.');
    const bool extended = dot > 0 && plain.size() - dot <= 16;
    const QString extension = extended ? plain.mid(dot) : QString();
    const QString stem = extended ? plain.left(dot) : plain;
    for (int number = 1;; ++number) {
        const QString tail = (number > 1 ? u" (%1)"_s.arg(number) : QString()) + extension;
        QString candidate = shortened(stem, maxName - tail.toUtf8().size()) + tail;
        if (!taken(candidate))
            return candidate;
    }
}

} // namespace quillmount::standin
