// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxNetworkPath.h"

#include "Platform/Linux/PlatformLog.h"

#include <QNetworkInformation>

namespace quillmount {

namespace {
bool satisfies(QNetworkInformation::Reachability reachability) {
    return reachability != QNetworkInformation::Reachability::Disconnected;
}
} // namespace

void LinuxNetworkPath::start() {
    bool satisfied = true;
    if (QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability)) {
        const QNetworkInformation *information = QNetworkInformation::instance();
        connect(information, &QNetworkInformation::reachabilityChanged, this,
                [this](QNetworkInformation::Reachability now) { Q_EMIT updated(satisfies(now)); });
        satisfied = satisfies(information->reachability());
    } else {
        qCInfo(platformLog, "no network service; the network counts as there");
    }
    QMetaObject::invokeMethod(
        this, [this, satisfied] { Q_EMIT updated(satisfied); }, Qt::QueuedConnection);
}

} // namespace quillmount
