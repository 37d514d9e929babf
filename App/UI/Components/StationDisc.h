// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QColor>
#include <QQuickPaintedItem>

namespace quillmount {

// A station: a ring inside its edge, dashed while it is not filled.
class StationDisc : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor ring MEMBER m_ring NOTIFY changed FINAL)
    Q_PROPERTY(QColor fill MEMBER m_fill NOTIFY changed FINAL)
    Q_PROPERTY(bool filled MEMBER m_isFilled NOTIFY changed FINAL)

public:
    explicit StationDisc(QQuickItem *parent = nullptr);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void changed();

private:
    QColor m_ring;
    QColor m_fill;
    bool m_isFilled = false;
};

} // namespace quillmount
