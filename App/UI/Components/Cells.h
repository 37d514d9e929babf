// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QColor>
#include <QQuickPaintedItem>

namespace quillmount {

// The cells of a meter. Their edges lie on the screen's pixels, so that all gaps look alike.
class Cells : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double fraction MEMBER m_fraction NOTIFY changed FINAL)
    Q_PROPERTY(int cells MEMBER m_cells NOTIFY changed FINAL)
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY changed FINAL)
    Q_PROPERTY(QColor rail MEMBER m_rail NOTIFY changed FINAL)

public:
    explicit Cells(QQuickItem *parent = nullptr);

    // How many cells are coloured; a fraction above 1 colours all. `fraction` has to be finite.
    [[nodiscard]] static int coloured(double fraction, int cells);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void changed();

private:
    double m_fraction = 0;
    int m_cells = 0;
    QColor m_color;
    QColor m_rail;
};

} // namespace quillmount
