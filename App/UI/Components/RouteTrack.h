// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QColor>
#include <QQuickPaintedItem>

namespace quillmount {

// The line of a route diagram and the riders on it.
class RouteTrack : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY changed FINAL)
    Q_PROPERTY(bool dashed MEMBER m_isDashed NOTIFY changed FINAL)
    Q_PROPERTY(int movingCount MEMBER m_movingCount NOTIFY changed FINAL)
    Q_PROPERTY(QColor riderColor MEMBER m_riderColor NOTIFY changed FINAL)
    // What surrounds the riders: the colour of the window, so that they look cut out of the line.
    Q_PROPERTY(QColor background MEMBER m_background NOTIFY changed FINAL)
    Q_PROPERTY(double seconds MEMBER m_seconds NOTIFY changed FINAL)
    Q_PROPERTY(bool reduceMotion MEMBER m_reduceMotion NOTIFY changed FINAL)

public:
    explicit RouteTrack(QQuickItem *parent = nullptr);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void changed();

private:
    QColor m_color;
    bool m_isDashed = false;
    int m_movingCount = 0;
    QColor m_riderColor;
    QColor m_background;
    double m_seconds = 0;
    bool m_reduceMotion = false;
};

} // namespace quillmount
