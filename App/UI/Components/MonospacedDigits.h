// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QColor>
#include <QFont>
#include <QQuickPaintedItem>

namespace quillmount {

// A line of text, right-aligned, in which every digit is as wide as the widest, so that it does not tremble as numbers
// change.
class MonospacedDigits : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString text MEMBER m_text NOTIFY changed FINAL)
    Q_PROPERTY(QFont font MEMBER m_font NOTIFY changed FINAL)
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY changed FINAL)

public:
    explicit MonospacedDigits(QQuickItem *parent = nullptr);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void changed();

private:
    void measure();

    QString m_text;
    QFont m_font;
    QColor m_color;
};

} // namespace quillmount
