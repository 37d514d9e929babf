// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Service/ServerStatus.h"

#include <QObject>

#include <optional>

namespace quillmount {

// The notice of the maker's service that is current, as the last status has it. A status that is older than a week has
// none.
class CheckInState : public QObject {
    Q_OBJECT

public:
    explicit CheckInState(QObject *parent = nullptr);

    [[nodiscard]] const std::optional<ServerBanner> &banner() const { return m_banner; }
    // The notice, unless it is the one that the user closed last.
    [[nodiscard]] std::optional<ServerBanner> visibleBanner() const;

    // Reads the last status again.
    void recompute();
    // Hides the notice for good.
    void dismissBanner();

Q_SIGNALS:
    void bannerChanged();

private:
    std::optional<ServerBanner> m_banner;
};

} // namespace quillmount
