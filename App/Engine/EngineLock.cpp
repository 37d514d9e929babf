// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/EngineLock.h"

#include "App/Support/Paths.h"

#include <QFile>
#include <QLoggingCategory>

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {
constexpr int attempts = 20;
constexpr auto attemptPause = 50ms;

} // namespace

std::optional<EngineLock> EngineLock::acquire() {
    const QString path = Paths::cacheDirectory() + u"/engine.lock"_s;
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    EngineLock lock(descriptor);
    int error = descriptor < 0 ? errno : EWOULDBLOCK;
    for (int attempt = 0; error == EWOULDBLOCK || error == EINTR; ++attempt) {
        if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            return lock;
        error = errno;
        if (error != EWOULDBLOCK)
            continue;
        if (attempt == attempts)
            return std::nullopt;
        std::this_thread::sleep_for(attemptPause);
    }
    qCWarning(engineLog, "the cache cannot be locked: %s", std::generic_category().message(error).c_str());
    return EngineLock(-1);
}

EngineLock::EngineLock(EngineLock &&other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

EngineLock::~EngineLock() {
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

} // namespace quillmount
