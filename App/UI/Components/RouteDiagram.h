// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QColor>
#include <QQuickItem>

namespace quillmount {

// What the picture of the route shows: two stations, and a line between them whose colour and dash say how the drive is
// connected. RouteDiagram.qml lays it out.
class RouteDiagram : public QQuickItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(RouteDiagramBase)
    Q_PROPERTY(LineStyle style MEMBER m_style NOTIFY changed FINAL)
    Q_PROPERTY(int movingCount MEMBER m_movingCount NOTIFY changed FINAL)
    Q_PROPERTY(QString leftLabel MEMBER m_leftLabel NOTIFY changed FINAL)
    Q_PROPERTY(QString rightLabel MEMBER m_rightLabel NOTIFY changed FINAL)
    Q_PROPERTY(QColor lineColor READ lineColor NOTIFY changed FINAL)
    Q_PROPERTY(QColor ringColor READ ringColor NOTIFY changed FINAL)
    Q_PROPERTY(bool connected READ isConnected NOTIFY changed FINAL)
    Q_PROPERTY(QString accessibilityText READ accessibilityText NOTIFY changed FINAL)

public:
    enum class LineStyle {
        live,
        idle,
        offline,
        fault,
        pending,
    };
    Q_ENUM(LineStyle)

    using QQuickItem::QQuickItem;

    [[nodiscard]] QColor lineColor() const;
    [[nodiscard]] QColor ringColor() const;
    // Whether the line is solid and the right station filled.
    [[nodiscard]] bool isConnected() const;
    // What a screen reader says for the whole picture.
    [[nodiscard]] QString accessibilityText() const { return accessibilityText(m_style, m_movingCount); }
    [[nodiscard]] static QString accessibilityText(LineStyle style, int movingCount);

Q_SIGNALS:
    void changed();

protected:
    void componentComplete() override;

private:
    LineStyle m_style = LineStyle::idle;
    int m_movingCount = 0; // of files
    QString m_leftLabel;
    QString m_rightLabel;
};

} // namespace quillmount
