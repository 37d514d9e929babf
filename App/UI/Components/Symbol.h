// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QColor>
#include <QQuickPaintedItem>

namespace quillmount {

// One of the drawings of `SymbolImage`, sized as text of `pixelSize` is: its square is somewhat larger than that, and
// of an even number of points, so that it can stand in the middle of things that are.
class Symbol : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString name MEMBER m_name NOTIFY changed FINAL)
    Q_PROPERTY(qreal pixelSize MEMBER m_pixelSize NOTIFY changed FINAL)
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY changed FINAL)

public:
    explicit Symbol(QQuickItem *parent = nullptr);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void changed();

private:
    QString m_name;
    qreal m_pixelSize = 0;
    QColor m_color = Qt::black;
};

} // namespace quillmount
