// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Appearance.h"

#include <QEasingCurve>
#include <QtQml/qqmlregistration.h>

class QJSEngine;
class QQmlEngine;

namespace quillmount {

// The timings of the application, in milliseconds, and their curves.
class Motion : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(int state READ state CONSTANT FINAL)
    Q_PROPERTY(int step READ step CONSTANT FINAL)
    Q_PROPERTY(QEasingCurve curve READ curve CONSTANT FINAL)
    Q_PROPERTY(int press READ press CONSTANT FINAL)
    Q_PROPERTY(QEasingCurve pressCurve READ pressCurve CONSTANT FINAL)
    Q_PROPERTY(bool reduceMotion READ reduceMotion NOTIFY reduceMotionChanged FINAL)

public:
    // `appearance` has to outlive it.
    explicit Motion(const Appearance &appearance, QObject *parent = nullptr);
    // The engine's own, of the installed platform.
    static Motion *create(QQmlEngine *engine, QJSEngine *);
    // The one that the QML around this object sees.
    [[nodiscard]] static Motion &of(const QObject &object);

    // A change of state.
    [[nodiscard]] static int state() { return 200; }
    // From one step to the next.
    [[nodiscard]] static int step() { return 320; }
    // Of both: rises steeply and settles slowly.
    [[nodiscard]] static QEasingCurve curve() { return bezier(0.23, 1, 0.32, 1); }
    // A button that is pressed or let go, and its ease-out.
    [[nodiscard]] static int press() { return 160; }
    [[nodiscard]] static QEasingCurve pressCurve() { return bezier(0, 0, 0.58, 1); }
    // The curve of these two control points.
    [[nodiscard]] static QEasingCurve bezier(qreal x1, qreal y1, qreal x2, qreal y2);
    // Whether the user wants no motion. Then nothing moves by itself, and content only fades.
    [[nodiscard]] bool reduceMotion() const;

Q_SIGNALS:
    void reduceMotionChanged();

private:
    const Appearance &m_appearance;
};

} // namespace quillmount
