// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Concurrency/Background.h"

#include <QCoreApplication>

#include <coroutine>
#include <memory>
#include <mutex>
#include <thread>

namespace quillmount {

namespace {

// Posts to the application as long as it lives. Threads outlive it, so none may look for it by itself.
class MainThread {
public:
    static MainThread &instance() {
        // Never destroyed: a thread may still come here after the end of `main`.
        static auto *mainThread = new MainThread;
        return *mainThread;
    }

    // To be called on the main thread before the thread starts that will post.
    void follow(QCoreApplication *application) {
        const std::lock_guard lock(m_mutex);
        if (application == m_application)
            return;
        m_application = application;
        // Called first of all when the application is destroyed.
        qAddPostRoutine([] { instance().forget(); });
    }

    void post(std::function<void()> action) {
        const std::lock_guard lock(m_mutex);
        if (m_application)
            QMetaObject::invokeMethod(m_application, std::move(action), Qt::QueuedConnection);
    }

private:
    void forget() {
        const std::lock_guard lock(m_mutex);
        m_application = nullptr;
    }

    std::mutex m_mutex;
    QCoreApplication *m_application = nullptr;
};

struct BackgroundRun {
    std::function<int()> work;
    std::shared_ptr<int> result = std::make_shared<int>(-1);

    [[nodiscard]] bool await_ready() const { return false; }
    void await_suspend(std::coroutine_handle<> waiter) const {
        MainThread::instance().follow(QCoreApplication::instance());
        std::thread([work = work, result = result, waiter] {
            *result = work();
            MainThread::instance().post([waiter] { waiter.resume(); });
        }).detach();
    }
    [[nodiscard]] int await_resume() const { return *result; }
};

} // namespace

QCoro::Task<int> inBackground(std::function<int()> work) {
    // Named: GCC 12 destroys the members of a temporary awaiter twice.
    const BackgroundRun run{std::move(work)};
    co_return co_await run;
}

} // namespace quillmount
