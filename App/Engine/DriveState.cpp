// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/DriveState.h"

#include <QMetaEnum>

namespace quillmount {

using namespace Qt::StringLiterals;

QString DriveState::name() const {
    const QString base = QString::fromLatin1(QMetaEnum::fromType<Case>().valueToKey(m_case));
    if (!m_kind)
        return base;
    const QMetaEnum kinds = QMetaEnum::fromType<ErrorMapper::Kind>();
    return base + u'(' + QString::fromLatin1(kinds.valueToKey(static_cast<int>(*m_kind))) + u')';
}

} // namespace quillmount
