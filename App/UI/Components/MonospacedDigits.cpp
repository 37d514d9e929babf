// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/MonospacedDigits.h"

#include <QFontMetricsF>
#include <QPainter>

#include <cmath>

namespace quillmount {

namespace {

bool isDigit(QChar letter) {
    return letter >= u'0' && letter <= u'9';
}

// Calls `place(piece, x, width)` for each digit and each run of other letters, and returns the width of all.
template <typename Place>
qreal layOut(const QString &text, const QFontMetricsF &metrics, const Place &place) {
    qreal widest = 0;
    for (char16_t digit = u'0'; digit <= u'9'; ++digit)
        widest = std::max(widest, metrics.horizontalAdvance(QChar(digit)));
    qreal x = 0;
    for (qsizetype at = 0; at < text.size();) {
        qsizetype end = at + 1;
        while (!isDigit(text[at]) && end < text.size() && !isDigit(text[end]))
            ++end;
        const QString piece = text.mid(at, end - at);
        const qreal advance = isDigit(text[at]) ? widest : metrics.horizontalAdvance(piece);
        place(piece, x, advance);
        x += advance;
        at = end;
    }
    return x;
}

} // namespace

MonospacedDigits::MonospacedDigits(QQuickItem *parent)
    : QQuickPaintedItem(parent) {
    connect(this, &MonospacedDigits::changed, this, &MonospacedDigits::measure);
}

void MonospacedDigits::measure() {
    const QFontMetricsF metrics(m_font);
    const qreal width = layOut(m_text, metrics, [](const QString &, qreal, qreal) {});
    setImplicitSize(std::ceil(width), std::ceil(metrics.height()));
    setBaselineOffset(std::ceil(metrics.ascent()));
    update();
}

void MonospacedDigits::paint(QPainter *painter) {
    painter->setFont(m_font);
    painter->setPen(m_color);
    const QFontMetricsF metrics(m_font);
    const qreal left = width() - layOut(m_text, metrics, [](const QString &, qreal, qreal) {});
    layOut(m_text, metrics, [&](const QString &piece, qreal x, qreal advance) {
        painter->drawText(QPointF(left + x + (advance - metrics.horizontalAdvance(piece)) / 2, baselineOffset()),
                          piece);
    });
}

} // namespace quillmount
