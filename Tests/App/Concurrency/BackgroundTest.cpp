// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Concurrency/Background.h"

#include <QCoreApplication>
#include <QTest>

#include <memory>
#include <optional>
#include <semaphore>
#include <vector>

using namespace quillmount;

namespace {

std::binary_semaphore workMayEnd(0);
std::binary_semaphore threadHasEnded(0);
std::optional<int> result;
bool endedInTime = false;

struct ThreadEnd {
    ~ThreadEnd() { threadHasEnded.release(); }
};

int work() {
    [[maybe_unused]] thread_local const ThreadEnd end{};
    workMayEnd.acquire();
    return 7;
}

QCoro::Task<> waitForWork() {
    const int answer = co_await inBackground(work);
    result = answer;
}

// Called while the application is being destroyed, after those that were registered later: the work ends only now, and
// whatever it has left for the main thread is done.
void letTheWorkEnd() {
    workMayEnd.release();
    endedInTime = threadHasEnded.try_acquire_for(std::chrono::seconds(20));
    QCoreApplication::sendPostedEvents();
}

} // namespace

class BackgroundTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void resumesOnTheMainThread_data();
    void resumesOnTheMainThread();
};

void BackgroundTest::resumesOnTheMainThread_data() {
    QTest::addColumn<bool>("applicationEnds");
    QTest::newRow("work ends first") << false;
    QTest::newRow("application ends first") << true;
    QTest::newRow("the next application") << false;
}

void BackgroundTest::resumesOnTheMainThread() {
    QFETCH(const bool, applicationEnds);
    result.reset();
    int argc = 1;
    char name[] = "BackgroundTest";
    char *argv[] = {name, nullptr};
    auto application = std::make_unique<QCoreApplication>(argc, argv);
    if (applicationEnds)
        qAddPostRoutine(letTheWorkEnd);
    static auto &tasks = *new std::vector<QCoro::Task<>>; // one that never resumes is no leak then
    tasks.push_back(waitForWork());
    QVERIFY(!result);
    if (applicationEnds) {
        application.reset();
        QVERIFY(endedInTime);
        QVERIFY2(!result, "resumed in an application that is being destroyed");
        return;
    }
    workMayEnd.release();
    QTRY_COMPARE(result, std::optional(7));
    QVERIFY(threadHasEnded.try_acquire_for(std::chrono::seconds(20)));
}

QTEST_APPLESS_MAIN(BackgroundTest)
#include "BackgroundTest.moc"
