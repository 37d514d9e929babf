// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SecretStore.h"

#include <chrono>
#include <memory>

namespace quillmount {

class SecretServiceClient;

// The desktop's Secret Service. A keyring program that hangs must not take the interface with it, so every call runs on
// a thread of its own and is given up after a while; the service is then left alone for some time. Without a session
// bus nothing is called at all, since the attempt would start one.
class LinuxSecretStore final : public SecretStore {
public:
    // `timeout`: how long one call may keep its caller. `pause`: how long the service is left alone after it
    // exceeded that; every call is answered at once then, as if the service were missing.
    explicit LinuxSecretStore(std::chrono::milliseconds timeout = std::chrono::seconds(2),
                              std::chrono::milliseconds pause = std::chrono::seconds(60));
    // Waits a moment for calls that were given up, so that none of them outlives the program's end.
    ~LinuxSecretStore() override;
    Q_DISABLE_COPY_MOVE(LinuxSecretStore)

    [[nodiscard]] Lookup find(const QString &service, const QString &account) override;
    bool remove(const QString &service, const QString &account) override;
    bool add(const QString &service, const QString &account, const QByteArray &data) override;

private:
    struct Calls;

    // What `call` answers, or a default value when it may not be made or does not answer in time. `call` runs on
    // another thread and may go on when this has returned: it holds what it uses.
    template <typename Call>
    auto bounded(Call call) -> decltype(call(std::declval<SecretServiceClient &>()));

    std::chrono::milliseconds m_timeout;
    std::chrono::milliseconds m_pause;
    std::shared_ptr<Calls> m_calls;
};

} // namespace quillmount
