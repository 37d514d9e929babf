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

QString StatusBodyModel::primaryButton() const {
    const PanelButton first = m_content.buttons.value(0);
    return first.isPrimary ? first.title : QString();
}

QStringList StatusBodyModel::secondaryButtons() const {
    QStringList titles;
    for (const PanelButton &button : m_content.buttons)
        if (!button.isPrimary)
            titles.append(button.title);
    return titles;
}

void StatusBodyModel::press(const QString &title) {
    for (const PanelButton &button : m_content.buttons)
        if (button.title == title)
            perform(button.action);
}

} // namespace quillmount
