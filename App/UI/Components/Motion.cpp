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

bool Motion::reduceMotion() const {
    return m_appearance.reducesMotion();
}

} // namespace quillmount
