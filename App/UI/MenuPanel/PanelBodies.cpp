// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/PanelBodies.h"

namespace quillmount {

void PanelBodies::replaceBy(PanelBodyModel *next) {
    next->setParent(this);
    if (m_bodies.size() == 2) {
        beginRemoveRows({}, 0, 0);
        PanelBodyModel *const gone = m_bodies.takeFirst();
        endRemoveRows();
        // After its view, which goes from the event loop as well.
        gone->deleteLater();
    }
    const int row = rowCount();
    beginInsertRows({}, row, row);
    m_bodies.append(next);
    endInsertRows();
    if (row > 0) {
        m_bodies[row - 1]->retire();
        Q_EMIT dataChanged(index(row - 1), index(row - 1), {isCurrent});
    }
    Q_EMIT replaced();
}

QVariant PanelBodies::data(const QModelIndex &index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    switch (role) {
    case body:
        return QVariant::fromValue(m_bodies[index.row()]);
    case isCurrent:
        return index.row() == rowCount() - 1;
    default:
        return {};
    }
}

} // namespace quillmount
