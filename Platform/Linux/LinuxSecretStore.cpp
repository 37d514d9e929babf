// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSecretStore.h"

#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/SecretServiceClient.h"
#include "Platform/Linux/SessionBus.h"

#include <QDeadlineTimer>

#include <condition_variable>
#include <future>
#include <mutex>
#include <system_error>
#include <thread>

namespace quillmount {

using namespace std::chrono_literals;

namespace {
// A cancelled call ends within milliseconds; one that does not is not worth holding up the end of the program.
constexpr auto lastWait = 1s;
} // namespace

// Shared with the threads of the calls, which may outlive the store.
struct LinuxSecretStore::Calls {
    std::mutex mutex;
    std::condition_variable changed;
    int running = 0;
    QDeadlineTimer pause;
};

LinuxSecretStore::LinuxSecretStore(std::chrono::milliseconds timeout, std::chrono::milliseconds pause)
    : m_timeout(timeout)
    , m_pause(pause)
    , m_calls(std::make_shared<Calls>()) {}

LinuxSecretStore::~LinuxSecretStore() {
    std::unique_lock lock(m_calls->mutex);
    m_calls->changed.wait_for(lock, lastWait, [this] { return m_calls->running == 0; });
}

template <typename Call>
auto LinuxSecretStore::bounded(Call call) -> decltype(call(std::declval<SecretServiceClient &>())) {
    using Answer = decltype(call(std::declval<SecretServiceClient &>()));
    if (!SessionBus::isThere())
        return {};
    {
        const std::lock_guard guard(m_calls->mutex);
        if (!m_calls->pause.hasExpired())
            return {};
        ++m_calls->running;
    }
    const auto cancellation = std::make_shared<Cancellation>();
    std::promise<Answer> promise;
    std::future<Answer> answer = promise.get_future();
    const auto ended = [calls = m_calls] {
        const std::lock_guard guard(calls->mutex);
        --calls->running;
        calls->changed.notify_all();
    };
    try {
        std::thread([call = std::move(call), promise = std::move(promise), cancellation, ended]() mutable {
            {
                SecretServiceClient client(*cancellation);
                promise.set_value(call(client));
            }
            ended();
        }).detach();
    } catch (const std::system_error &error) {
        qCWarning(platformLog, "no thread for the secret service: %s", error.what());
        ended();
        return {};
    }
    if (answer.wait_for(m_timeout) == std::future_status::ready)
        return answer.get();
    cancellation->cancel();
    qCWarning(platformLog, "the secret service did not answer in %lld ms; it is left alone for %lld ms",
              static_cast<long long>(m_timeout.count()), static_cast<long long>(m_pause.count()));
    const std::lock_guard guard(m_calls->mutex);
    m_calls->pause.setRemainingTime(m_pause);
    return {};
}

SecretStore::Lookup LinuxSecretStore::find(const QString &service, const QString &account) {
    return bounded([service, account](SecretServiceClient &client) { return client.find(service, account); });
}

bool LinuxSecretStore::remove(const QString &service, const QString &account) {
    return bounded([service, account](SecretServiceClient &client) { return client.remove(service, account); });
}

bool LinuxSecretStore::add(const QString &service, const QString &account, const QByteArray &data) {
    return bounded(
        [service, account, data](SecretServiceClient &client) { return client.add(service, account, data); });
}

} // namespace quillmount
