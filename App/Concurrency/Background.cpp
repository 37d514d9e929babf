// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Concurrency/Background.h"

#include "Platform/OneShot.h"

#include <QCoreApplication>

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

} // namespace

QCoro::Task<int> inBackground(std::function<int()> work) {
    OneShot<int> done;
    MainThread::instance().follow(QCoreApplication::instance());
    std::thread([work = std::move(work), done] {
        const int result = work();
        MainThread::instance().post([done, result]() mutable { done.set(result); });
    }).detach();
    const int result = co_await done;
    co_return result;
}

} // namespace quillmount
