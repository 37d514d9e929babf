// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxUpdater.h"

namespace quillmount {

using namespace Qt::StringLiterals;

LinuxUpdater::LinuxUpdater(Clock &clock, const Bundle &bundle)
    : m_clock(clock)
    , m_feed(bundle.infoString(u"SUFeedURL"_s).value_or(QString()), QUrl::StrictMode) {}

void LinuxUpdater::check() {
    if (hasFeed())
        setState({Status::failed, {}, {}});
}

} // namespace quillmount
