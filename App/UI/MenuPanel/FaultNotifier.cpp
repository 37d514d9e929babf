// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/FaultNotifier.h"

#include "App/UI/MenuPanel/FaultText.h"
#include "Platform/Platform.h"

#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

// Of one kind: the news that the drive is back takes the place of the fault.
void tell(const QString &title, const QString &text) {
    Platform::current().alerts->notify(title, text, u"drive"_s);
}

} // namespace

FaultNotifier::FaultNotifier(std::function<bool()> isPanelVisible)
    : m_isPanelVisible(std::move(isPanelVisible)) {}

void FaultNotifier::update(const DriveSnapshot &drive) {
    const auto kind = drive.state.kind();
    if (kind && kind != ErrorMapper::Kind::offline) {
        if (std::exchange(m_known, kind) == kind || m_isPanelVisible())
            return;
        const FaultText text = FaultText::of(*kind, drive.supportAddress);
        tell(text.title, text.detail);
        m_hasTold = true;
        return;
    }
    // A drive that is being started, or is offline meanwhile, may fail again in the same way.
    if (kind || drive.state == DriveState::starting)
        return;
    m_known.reset();
    if (std::exchange(m_hasTold, false) && drive.isLive() && !m_isPanelVisible())
        tell(u"Your drive is back"_s, u"Quillmount is connected to Google Drive again."_s);
}

} // namespace quillmount
