// SPDX-License-Identifier: LicenseRef-Quillmount
// The drive ends under programs that write and that were told that their data is kept: all of it is there afterwards.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <map>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype chunk = 30'000;
constexpr int chunksInFile = 5;

// Writes one file after the other, and has each piece kept, until the drive refuses.
class Writer {
public:
    Writer(const QString &folder, dev_t device, int number)
        : m_device(device)
        , m_done(std::async(std::launch::async, [this, folder, number] { run(folder, number); })) {}

    // Names, and how many of each file's first bytes the drive has promised to keep. Blocks until it has ended.
    [[nodiscard]] const std::map<QString, qsizetype> &kept() {
        m_stop = true;
        m_done.wait();
        return m_kept;
    }
    [[nodiscard]] bool hasBegun() const { return m_pieces > 3; }
    [[nodiscard]] bool hasEnded() const {
        return m_done.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }

    [[nodiscard]] static QByteArray contents(const QString &name) {
        return someBytes(chunk * chunksInFile, quint32(qHash(name)));
    }

private:
    static dev_t device(int descriptor) {
        struct stat found = {};
        return ::fstat(descriptor, &found) == 0 ? found.st_dev : 0;
    }

    void run(const QString &folder, int number) {
        for (int file = 0; !m_stop; ++file) {
            const QString name = u"writer %1 file %2"_s.arg(number).arg(file);
            const QByteArray bytes = contents(name);
            const QByteArray path = QFile::encodeName(folder + u'/' + name);
            const int descriptor = ::open(path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            if (descriptor < 0)
                return;
            // The read-only folder beneath does not hold root.
            if (device(descriptor) != m_device) {
                ::close(descriptor);
                return;
            }
            for (qsizetype end = chunk; end <= bytes.size(); end += chunk) {
                if (::write(descriptor, bytes.constData() + end - chunk, size_t(chunk)) != chunk ||
                    ::fsync(descriptor) != 0) {
                    ::close(descriptor);
                    return;
                }
                m_kept[name] = end;
                ++m_pieces;
            }
            ::close(descriptor);
        }
    }

    dev_t m_device;
    std::map<QString, qsizetype> m_kept;
    std::atomic<int> m_pieces = 0;
    std::atomic<bool> m_stop = false;
    std::future<void> m_done;
};

} // namespace

class BusyEndTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everythingKeptIsThere_data();
    void everythingKeptIsThere();
};

void BusyEndTest::everythingKeptIsThere_data() {
    QTest::addColumn<QList<int>>("numbers");
    // As a desktop does it whose session ends: it tells all processes, and kills what is left after five seconds.
    QTest::newRow("all are asked, then killed") << QList{SIGTERM, SIGKILL};
    QTest::newRow("all are killed") << QList{SIGKILL};
    QTest::newRow("the application is asked to end") << QList<int>();
}

void BusyEndTest::everythingKeptIsThere() {
    QFETCH(QList<int>, numbers);
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    struct stat drive = {};
    QCOMPARE(::stat(QFile::encodeName(home.mountPoint()).constData(), &drive), 0);
    std::vector<std::unique_ptr<Writer>> writers;
    for (int number = 0; number < 8; ++number)
        writers.push_back(std::make_unique<Writer>(home.mountPoint(), drive.st_dev, number));
    QVERIFY(QTest::qWaitFor(
        [&] { return std::ranges::all_of(writers, [](const auto &writer) { return writer->hasBegun(); }); }, 30'000));

    QVERIFY(home.processes().size() >= 3);
    for (const int number : numbers) {
        const QList<ProcessInfo> processes = home.processes();
        for (const ProcessInfo &process : processes)
            ::kill(process.pid, number);
        if (QTest::qWaitFor([&] { return home.processes().isEmpty(); }, 5'000))
            break;
    }
    if (numbers.isEmpty()) {
        application.signal(SIGTERM);
        QCOMPARE(application.end(), 0);
        QVERIFY(home.isQuiet());
    }
    QVERIFY(QTest::qWaitFor(
        [&] { return std::ranges::all_of(writers, [](const auto &writer) { return writer->hasEnded(); }); }, 20'000));

    Application next(home);
    next.start();
    QVERIFY(next.comesTo(u"live"_s));
    int files = 0;
    for (const auto &writer : writers) {
        for (const auto &[name, size] : writer->kept()) {
            const QByteArray found = home.load(name).value_or(QByteArray());
            QVERIFY2(found.left(size) == Writer::contents(name).left(size),
                     qPrintable(u"%1: %2 of %3 bytes are there"_s.arg(name).arg(found.size()).arg(size)));
            ++files;
        }
    }
    QVERIFY(files >= 8);
}

QTEST_GUILESS_MAIN(BusyEndTest)
#include "BusyEndTest.moc"
