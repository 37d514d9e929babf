// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/StatusBodyModel.h"

#include <utility>

namespace quillmount {

StatusBodyModel::StatusBodyModel(const DriveSnapshot &drive, QObject *parent)
    : PanelBodyModel(parent)
    , m_content(StatusContent::of(drive)) {}

void StatusBodyModel::update(const DriveSnapshot &drive) {
    const StatusContent former = std::exchange(m_content, StatusContent::of(drive));
    if (m_content == former)
        return;
    Q_EMIT contentChanged();
    // Told by themselves: a view makes its buttons anew for it, and the focus is lost.
    if (m_content.buttons != former.buttons)
        Q_EMIT buttonsChanged();
}

QVariantList StatusBodyModel::buttons() const {
    QVariantList buttons;
    for (const PanelButton &button : m_content.buttons)
        buttons.append(QVariant::fromValue(button));
    return buttons;
}

} // namespace quillmount
