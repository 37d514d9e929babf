// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QColor>
#include <QQuickPaintedItem>

namespace quillmount {

// A small sign that something goes on, for nobody knows how long. Still, it is a whole ring.
class SpinnerRing : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY changed FINAL)
    Q_PROPERTY(QColor rail MEMBER m_rail NOTIFY changed FINAL)
    Q_PROPERTY(double seconds MEMBER m_seconds NOTIFY changed FINAL)
    Q_PROPERTY(bool still MEMBER m_isStill NOTIFY changed FINAL)

public:
    explicit SpinnerRing(QQuickItem *parent = nullptr);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void changed();

private:
    QColor m_color;
    QColor m_rail;
    double m_seconds = 0;
    bool m_isStill = false;
};

} // namespace quillmount
