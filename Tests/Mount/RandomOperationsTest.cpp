// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Support/LocalGoogle.h"
#include "Tests/Support/MountedEngine.h"
#include "Tests/Support/WaitFor.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTest>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>

using namespace quillmount;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int fileNames = 6;
constexpr int folderNames = 2;
constexpr int openFiles = 5;
constexpr int maxOffset = 3'000'000;
constexpr int maxWrite = 300'000;
constexpr int maxPause = 500; // ms

// What one operation gave: the number and the bytes must be the same on both sides.
struct Outcome {
    qint64 result = 0;
    int error = 0;
    QByteArray bytes;

    bool operator==(const Outcome &) const = default;
};

// One of the two folders that the same operations are done in.
class Side {
public:
    explicit Side(const QString &root)
        : m_root(QFile::encodeName(root)) {
        m_files.fill(-1);
    }
    ~Side() {
        for (int file : m_files) {
            if (file >= 0)
                ::close(file);
        }
    }
    Side(const Side &) = delete;
    Side &operator=(const Side &) = delete;

    QByteArray path(int name) const {
        const int folder = name / fileNames;
        const QByteArray file = "f" + QByteArray::number(name % fileNames);
        return folder == 0 ? m_root + '/' + file : m_root + "/d" + QByteArray::number(folder) + '/' + file;
    }
    QByteArray folderPath(int folder) const { return m_root + "/d" + QByteArray::number(folder); }

    Outcome open(int slot, int name, int flags) {
        if (m_files[slot] >= 0)
            return {-2, 0, {}};
        m_files[slot] = ::open(path(name).constData(), flags, 0644);
        return m_files[slot] >= 0 ? Outcome{0, 0, {}} : Outcome{-1, errno, {}};
    }
    Outcome close(int slot) {
        const int file = std::exchange(m_files[slot], -1);
        return file < 0 ? Outcome{-2, 0, {}} : given(::close(file));
    }
    Outcome write(int slot, const QByteArray &bytes, qint64 offset, bool append) {
        if (append)
            return given(::write(m_files[slot], bytes.constData(), static_cast<std::size_t>(bytes.size())));
        return given(::pwrite(m_files[slot], bytes.constData(), static_cast<std::size_t>(bytes.size()), offset));
    }
    Outcome read(int slot, qint64 offset, int size) {
        Outcome outcome;
        outcome.bytes.resize(size);
        outcome.result = ::pread(m_files[slot], outcome.bytes.data(), static_cast<std::size_t>(size), offset);
        outcome.error = outcome.result < 0 ? errno : 0;
        outcome.bytes.truncate(static_cast<int>(std::max<qint64>(outcome.result, 0)));
        return outcome;
    }
    Outcome truncate(int slot, qint64 size) { return given(::ftruncate(m_files[slot], size)); }
    Outcome synchronise(int slot) { return given(::fsync(m_files[slot])); }
    Outcome rename(int from, int to) { return given(::rename(path(from).constData(), path(to).constData())); }
    Outcome unlink(int name) { return given(::unlink(path(name).constData())); }
    Outcome makeFolder(int folder) { return given(::mkdir(folderPath(folder).constData(), 0755)); }
    Outcome removeFolder(int folder) { return given(::rmdir(folderPath(folder).constData())); }
    Outcome renameFolder(int from, int to) {
        return given(::rename(folderPath(from).constData(), folderPath(to).constData()));
    }

    // Writes through a shared map, inside the file as it is.
    Outcome map(int slot, qint64 offset, const QByteArray &bytes) {
        struct stat status {};
        if (::fstat(m_files[slot], &status) != 0)
            return given(-1);
        const qint64 count = std::min<qint64>(bytes.size(), status.st_size - offset);
        if (count <= 0)
            return {0, 0, {}};
        void *memory = ::mmap(nullptr, static_cast<std::size_t>(status.st_size), PROT_READ | PROT_WRITE, MAP_SHARED,
                              m_files[slot], 0);
        if (memory == MAP_FAILED)
            return given(-1);
        std::memcpy(static_cast<char *>(memory) + offset, bytes.constData(), static_cast<std::size_t>(count));
        ::munmap(memory, static_cast<std::size_t>(status.st_size));
        return {count, 0, {}};
    }

    // Sizes by name and by descriptor.
    Outcome measure(int slot, int name) const {
        struct stat byName {
        }, byFile{};
        Outcome outcome{-1, 0, {}};
        if (::stat(path(name).constData(), &byName) == 0)
            outcome.result = byName.st_size;
        else
            outcome.error = errno;
        if (m_files[slot] >= 0 && ::fstat(m_files[slot], &byFile) == 0)
            outcome.bytes =
                QByteArray::number(qint64(byFile.st_size)) + ' ' + QByteArray::number(qint64(byFile.st_nlink));
        return outcome;
    }
    Outcome list(int folder) const {
        const QString directory = QFile::decodeName(folder == 0 ? m_root : folderPath(folder));
        const QStringList names =
            QDir(directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
        return {names.size(), 0, names.join(u' ').toLatin1()};
    }

private:
    static Outcome given(qint64 result) { return {result, result < 0 ? errno : 0, {}}; }

    QByteArray m_root;
    std::array<int, openFiles> m_files{};
};

} // namespace

// The same random operations on the mount and on a local folder, compared step by step; and, with uploads all the
// while, what Google has in the end. The seed is printed; set QUILLMOUNT_SEED and QUILLMOUNT_STEPS to run others.
class RandomOperationsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void behavesLikeALocalFolder_data();
    void behavesLikeALocalFolder();
    void uploadsWhatIsLeft_data();
    void uploadsWhatIsLeft();

private:
    // With `mostlyNames` more of the operations move, remove and make files and folders.
    static QString step(QRandomGenerator &random, Side &local, Side &mounted, bool mostlyNames);
    // The steps of this row's seed, with `google` also uploads meanwhile; a text when one had another outcome.
    static QString steps(MountedEngine &drive, int usual, LocalGoogle *google);
    // What "diff" finds; empty when the folders are equal.
    static QString difference(const QString &one, const QString &other);
    static void seeds(const QList<quint32> &usual);
};

namespace {

// Does the same on both sides; an empty text when both gave the same.
template <class Operation>
QString both(const char *what, Side &local, Side &mounted, Operation operation) {
    const Outcome expected = operation(local);
    const Outcome found = operation(mounted);
    if (expected == found)
        return {};
    int different = 0;
    while (different < std::min(expected.bytes.size(), found.bytes.size()) &&
           expected.bytes[different] == found.bytes[different])
        ++different;
    return u"%1: expected %2 (error %3, %4 bytes) but got %5 (error %6, %7 bytes), first difference at %8: \"%9\" \"%10\""_s
        .arg(QLatin1StringView(what))
        .arg(expected.result)
        .arg(expected.error)
        .arg(expected.bytes.size())
        .arg(found.result)
        .arg(found.error)
        .arg(found.bytes.size())
        .arg(different)
        .arg(QString::fromLatin1(expected.bytes.mid(different, 40)),
             QString::fromLatin1(found.bytes.mid(different, 40)));
}

} // namespace

QString RandomOperationsTest::step(QRandomGenerator &random, Side &local, Side &mounted, bool mostlyNames) {
    const auto pick = [&](int count) { return random.bounded(count); };
    // Small numbers are likely, so that operations meet each other.
    const auto offset = [&] { return static_cast<qint64>(pick(3) == 0 ? pick(maxOffset) : pick(20'000)); };
    const auto text = [&] {
        QByteArray bytes(1 + (pick(6) == 0 ? pick(maxWrite) : pick(6'000)), Qt::Uninitialized);
        const char first = static_cast<char>('a' + pick(26));
        for (int i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<char>(first + i % 7);
        return bytes;
    };
    const int slot = pick(openFiles);
    const int name = pick(fileNames * (folderNames + 1));
    const int other = pick(fileNames * (folderNames + 1));
    const int folder = 1 + pick(folderNames);
    const auto run = [&](const char *what, auto operation) { return both(what, local, mounted, operation); };
    switch (mostlyNames && pick(3) == 0 ? 16 + pick(6) : pick(24)) {
    case 0:
    case 1:
    case 2: {
        constexpr std::array<int, 5> flags{O_RDWR | O_CREAT, O_RDWR, O_RDWR | O_CREAT | O_TRUNC,
                                           O_RDWR | O_CREAT | O_EXCL, O_RDWR | O_APPEND | O_CREAT};
        const int chosen = flags[static_cast<std::size_t>(pick(flags.size()))];
        return run("open", [&](Side &side) { return side.open(slot, name, chosen); });
    }
    case 3:
        return run("close", [&](Side &side) { return side.close(slot); });
    case 4:
    case 5:
    case 6:
    case 7:
    case 8: {
        const QByteArray bytes = text();
        const qint64 at = offset();
        return run("write", [&](Side &side) { return side.write(slot, bytes, at, false); });
    }
    case 9: {
        const QByteArray bytes = text();
        return run("append", [&](Side &side) { return side.write(slot, bytes, 0, true); });
    }
    case 10:
    case 11:
    case 12:
    case 13: {
        const qint64 at = offset();
        const int size = 1 + (pick(4) == 0 ? pick(2'000'000) : pick(10'000));
        return run("read", [&](Side &side) { return side.read(slot, at, size); });
    }
    case 14: {
        const qint64 size = offset();
        return run("truncate", [&](Side &side) { return side.truncate(slot, size); });
    }
    case 15:
        return run("fsync", [&](Side &side) { return side.synchronise(slot); });
    case 16:
        return run("rename", [&](Side &side) { return side.rename(name, other); });
    case 17:
        return run("unlink", [&](Side &side) { return side.unlink(name); });
    case 18: {
        const QByteArray bytes = text();
        const qint64 at = offset();
        return run("map", [&](Side &side) { return side.map(slot, at, bytes); });
    }
    case 19:
        return run("make folder", [&](Side &side) { return side.makeFolder(folder); });
    case 20:
        return pick(3) == 0 ? run("remove folder", [&](Side &side) { return side.removeFolder(folder); }) : QString();
    case 21:
        return run("rename folder", [&](Side &side) { return side.renameFolder(folder, 1 + folder % folderNames); });
    case 22:
        return run("list", [&](Side &side) { return side.list(name % (folderNames + 1)); });
    default:
        return run("measure", [&](Side &side) { return side.measure(slot, name); });
    }
}

QString RandomOperationsTest::steps(MountedEngine &drive, int usual, LocalGoogle *google) {
    QFETCH(quint32, seed);
    const int count =
        qEnvironmentVariableIsSet("QUILLMOUNT_STEPS") ? qEnvironmentVariableIntValue("QUILLMOUNT_STEPS") : usual;
    qInfo("seed %u, %d steps", seed, count);
    QRandomGenerator random(seed);
    Side local(drive.local());
    Side mounted(drive.mountPoint());
    for (int i = 0; i < count; ++i) {
        // Now and then uploads get time to begin.
        if (google && random.bounded(8) == 0) {
            google->clearRequests();
            const int pause = random.bounded(maxPause);
            (void)waitFor([&] { return !google->requests().isEmpty(); }, std::chrono::milliseconds(pause));
        }
        const QString difference = step(random, local, mounted, google != nullptr);
        if (!difference.isEmpty())
            return u"seed %1, step %2: %3\n%4"_s.arg(seed).arg(i).arg(difference, drive.engineLog());
    }
    return {};
}

QString RandomOperationsTest::difference(const QString &one, const QString &other) {
    QProcess diff;
    diff.start(u"diff"_s, {u"-r"_s, one, other});
    const bool same = diff.waitForFinished() && diff.exitCode() == 0;
    return same ? QString() : u"different: "_s + QString::fromUtf8(diff.readAll());
}

void RandomOperationsTest::seeds(const QList<quint32> &usual) {
    QTest::addColumn<quint32>("seed");
    const bool isGiven = qEnvironmentVariableIsSet("QUILLMOUNT_SEED");
    for (const quint32 seed : isGiven ? QList{qEnvironmentVariable("QUILLMOUNT_SEED").toUInt()} : usual)
        QTest::addRow("seed %u", seed) << seed;
}

void RandomOperationsTest::behavesLikeALocalFolder_data() {
    seeds({1, 20'260, 424'242});
}

void RandomOperationsTest::behavesLikeALocalFolder() {
    // Nothing is uploaded meanwhile: the engine's local backend loses track of files whose folder is renamed while they
    // are on their way, which is not what is tested here.
    MountedEngine drive({u"--vfs-write-back"_s, u"1h"_s});
    QVERIFY(drive.startEngine() && drive.mount() == 0);
    QCOMPARE(steps(drive, 3000, nullptr), QString());
    // What is there in the end, read by a kernel that remembers nothing, is what the programs left.
    QVERIFY(drive.unmount());
    QCOMPARE(drive.mount(), 0);
    QCOMPARE(difference(drive.local(), drive.mountPoint()), QString());
}

void RandomOperationsTest::uploadsWhatIsLeft_data() {
    seeds({2007}); // folders are moved while files in them wait for their upload
}

void RandomOperationsTest::uploadsWhatIsLeft() {
    LocalGoogle google;
    MountedEngine drive(google, {u"--vfs-write-back"_s, u"200ms"_s});
    QVERIFY(drive.startEngine() && drive.mount() == 0);
    QCOMPARE(steps(drive, 400, &google), QString());
    const QString uploaded = google.pathOf(u"Quillmount"_s);
    const bool isUploaded = waitFor([&] { return difference(drive.local(), uploaded).isEmpty(); }, 60s);
    QVERIFY2(isUploaded, qPrintable(difference(drive.local(), uploaded) + drive.engineLog()));
    QVERIFY(drive.unmount());
    drive.signalEngine(SIGKILL);
    QVERIFY(drive.startEngine() && drive.mount() == 0);
    QCOMPARE(difference(drive.local(), drive.mountPoint()), QString());
    QCOMPARE(difference(drive.local(), uploaded), QString());
}

QTEST_GUILESS_MAIN(RandomOperationsTest)
#include "RandomOperationsTest.moc"
