// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/LiveBodyModel.h"

#include <utility>

namespace quillmount {

LiveBodyModel::LiveBodyModel(const DriveSnapshot &drive, QObject *parent)
    : PanelBodyModel(parent)
    , m_content(LiveContent::of(drive)) {
    m_transfers.update(drive.stats.transfers);
}

void LiveBodyModel::update(const DriveSnapshot &drive) {
    const LiveContent former = std::exchange(m_content, LiveContent::of(drive));
    if (m_content != former)
        Q_EMIT contentChanged();
    m_transfers.update(drive.stats.transfers);
}

} // namespace quillmount
