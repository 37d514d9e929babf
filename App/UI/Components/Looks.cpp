// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/Looks.h"

#include "App/UI/Components/Motion.h"

#include <QString>

#include <cmath>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr qreal dimOpacity = 0.35;
constexpr double secondsToDim = 0.9;

} // namespace

qreal Looks::primaryButton(bool isEnabled, bool isParentEnabled, bool isPressed) {
    if (!isEnabled && isParentEnabled)
        return 0.4;
    return isPressed ? 0.85 : 1;
}

qreal Looks::secondaryButton(bool isPressed) {
    return isPressed ? 0.14 : 0.08;
}

qreal Looks::quietButton(bool isHovered, bool isPressed) {
    if (isPressed)
        return 0.12;
    return isHovered ? 0.06 : 0;
}

qreal Looks::control(bool isEnabled) {
    return isEnabled ? 1 : 0.4;
}

qreal Looks::pressScale(bool isPressed, bool reduceMotion) {
    return isPressed && !reduceMotion ? 0.97 : 1;
}

qreal Looks::pulse(double seconds) {
    static const QEasingCurve curve = Motion::bezier(0.42, 0, 0.58, 1);
    const double phase = std::fmod(seconds, 2 * secondsToDim) / secondsToDim;
    return 1 - (1 - dimOpacity) * curve.valueForProgress(phase <= 1 ? phase : 2 - phase);
}

QString Looks::spokenStatus(const QString &label) {
    return u"Status: %1"_s.arg(label);
}

QString Looks::spokenPercent(double fraction) {
    return u"%1 percent"_s.arg(static_cast<qint64>(fraction * 100));
}

} // namespace quillmount
