// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/Motion.h"

#include "Platform/Platform.h"

#include <QQmlEngine>

namespace quillmount {

Motion::Motion(const Appearance &appearance, QObject *parent)
    : QObject(parent)
    , m_appearance(appearance) {
    connect(&appearance, &Appearance::reduceMotionChanged, this, &Motion::reduceMotionChanged);
}

Motion *Motion::create(QQmlEngine *engine, QJSEngine *) {
    return new Motion(*Platform::current().appearance, engine);
}

Motion &Motion::of(const QObject &object) {
    static const int type = qmlTypeId("Quillmount.Components", 1, 0, "Motion");
    return *qmlEngine(&object)->singletonInstance<Motion *>(type);
}

QEasingCurve Motion::bezier(qreal x1, qreal y1, qreal x2, qreal y2) {
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(QPointF(x1, y1), QPointF(x2, y2), QPointF(1, 1));
    return curve;
}

bool Motion::reduceMotion() const {
    return m_appearance.reducesMotion();
}

} // namespace quillmount
