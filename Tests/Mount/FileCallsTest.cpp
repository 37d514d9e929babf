// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Support/MountedEngine.h"
#include "Tests/Support/TestFiles.h"
#include "Tests/Support/WaitFor.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

using namespace quillmount;
using namespace Qt::StringLiterals;

// Single calls whose exact outcome programs depend on.
class FileCallsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void keepsAnUnlinkedOpenFile();
    void createsExclusively();
    void writesThroughMemoryMaps();
    void preallocates();
    void renames();
    void followsARenamedFolder();
    void movesWhileFoldersAreRenamed();
    void refusesWhatItCannotDo();
    void setsTimes();
    void tellsWhenItWasChanged();
    void showsAnotherWritersChange();
    void leavesNothingBehind();

private:
    QByteArray at(const char *name) const { return QFile::encodeName(m_folder) + '/' + name; }
    static QByteArray content(const QByteArray &path) { return contentOf(QFile::decodeName(path)); }
    static bool write(const QByteArray &path, const QByteArray &bytes);
    QStringList hiddenFiles() const {
        return QDir(m_drive.backend()).entryList({u".nfs*"_s}, QDir::Files | QDir::Hidden);
    }

    MountedEngine m_drive;
    QString m_folder;
};

void FileCallsTest::initTestCase() {
    QVERIFY(m_drive.startEngine() && m_drive.mount() == 0);
}

void FileCallsTest::init() {
    m_folder = m_drive.mountPoint() + u'/' + QString::fromLatin1(QTest::currentTestFunction());
    QVERIFY(QDir().mkpath(m_folder));
}

bool FileCallsTest::write(const QByteArray &path, const QByteArray &bytes) {
    QFile file(QFile::decodeName(path));
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size() && file.flush();
}

void FileCallsTest::keepsAnUnlinkedOpenFile() {
    QVERIFY(write(at("file"), "first"));
    const int file = ::open(at("file").constData(), O_RDWR);
    QVERIFY(file >= 0);
    QCOMPARE(::unlink(at("file").constData()), 0);
    QCOMPARE(::access(at("file").constData(), F_OK), -1);
    QVERIFY(QDir(m_folder).isEmpty());
    // It can still be read, written, measured and emptied, and its folder can go.
    QCOMPARE(::pwrite(file, " second", 7, 5), 7);
    char buffer[64] = {};
    QCOMPARE(::pread(file, buffer, sizeof buffer, 0), 12);
    QCOMPARE(QByteArray(buffer), QByteArray("first second"));
    struct stat status {};
    QCOMPARE(::fstat(file, &status), 0);
    QCOMPARE(status.st_size, 12);
    QCOMPARE(status.st_nlink, 0U);
    QCOMPARE(::rmdir(QFile::encodeName(m_folder).constData()), 0);
    QCOMPARE(::ftruncate(file, 5), 0);
    QCOMPARE(::pread(file, buffer, sizeof buffer, 0), 5);
    // A new file of the old name is another file.
    QVERIFY(QDir().mkpath(m_folder));
    QVERIFY(write(at("file"), "other"));
    QCOMPARE(::pread(file, buffer, sizeof buffer, 0), 5);
    QCOMPARE(QByteArray(buffer, 5), QByteArray("first"));
    QVERIFY(!QDir(m_drive.mountPoint()).entryList(QDir::Hidden | QDir::Files).contains(u".nfs"_s));
    QCOMPARE(QDir(m_drive.mountPoint()).entryList({u".nfs*"_s}, QDir::Hidden | QDir::Files), QStringList());
    QCOMPARE(::close(file), 0);
    QCOMPARE(content(at("file")), QByteArray("other"));
}

void FileCallsTest::createsExclusively() {
    const int file = ::open(at("lock").constData(), O_CREAT | O_EXCL | O_WRONLY, 0600);
    QVERIFY(file >= 0);
    ::close(file);
    QCOMPARE(::open(at("lock").constData(), O_CREAT | O_EXCL | O_WRONLY, 0600), -1);
    QCOMPARE(errno, EEXIST);
    // Opening to create must not empty what is there.
    QVERIFY(write(at("kept"), "content"));
    ::close(::open(at("kept").constData(), O_CREAT | O_WRONLY, 0600));
    QCOMPARE(content(at("kept")), QByteArray("content"));
    // Not even when another writer made it a moment ago.
    const QString other = m_drive.makeMountPoint(u"other"_s);
    QCOMPARE(m_drive.mountAt(other, m_drive.port()), 0);
    QVERIFY(write(QFile::encodeName(other) + "/createsExclusively/theirs", "theirs"));
    QCOMPARE(::open(at("theirs").constData(), O_CREAT | O_EXCL | O_WRONLY, 0600), -1);
    QCOMPARE(errno, EEXIST);
    ::close(::open(at("theirs").constData(), O_CREAT | O_WRONLY, 0600));
    QCOMPARE(content(at("theirs")), QByteArray("theirs"));
    QVERIFY(m_drive.unmount(other));
}

void FileCallsTest::writesThroughMemoryMaps() {
    constexpr std::size_t size = 3 * 4096 + 100;
    QVERIFY(write(at("mapped"), QByteArray(size, 'a')));
    const int file = ::open(at("mapped").constData(), O_RDWR);
    auto *memory = static_cast<char *>(::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    QVERIFY(memory != MAP_FAILED);
    QCOMPARE(memory[size - 1], 'a');
    std::memset(memory + 4000, 'b', 5000);
    QCOMPARE(::msync(memory, size, MS_SYNC), 0);
    QByteArray expected = QByteArray(4000, 'a') + QByteArray(5000, 'b') + QByteArray(size - 9000, 'a');
    QCOMPARE(content(at("mapped")), expected);
    // Without msync, the bytes still arrive when the map goes, also after the descriptor.
    memory[0] = 'c';
    expected[0] = 'c';
    ::close(file);
    QCOMPARE(::munmap(memory, size), 0);
    const QString path = m_drive.backend() + u"/writesThroughMemoryMaps/mapped"_s;
    QVERIFY(waitFor([&] { return content(QFile::encodeName(path)) == expected; }));
    QCOMPARE(content(at("mapped")), expected);
}

void FileCallsTest::preallocates() {
    const int file = ::open(at("file").constData(), O_CREAT | O_RDWR, 0644);
    QCOMPARE(::write(file, "start", 5), 5);
    QCOMPARE(::fallocate(file, 0, 2, 100'000'000), 0);
    struct stat status {};
    QCOMPARE(::fstat(file, &status), 0);
    QCOMPARE(status.st_size, 100'000'002);
    // It never makes a file shorter, and keeps what is there.
    QCOMPARE(::fallocate(file, 0, 0, 10), 0);
    QCOMPARE(::fstat(file, &status), 0);
    QCOMPARE(status.st_size, 100'000'002);
    char bytes[8] = {};
    QCOMPARE(::pread(file, bytes, 8, 0), 8);
    QCOMPARE(QByteArray(bytes, 8), QByteArray("start\0\0\0", 8));
    for (const int mode : {FALLOC_FL_KEEP_SIZE, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE}) {
        QCOMPARE(::fallocate(file, mode, 0, 200'000'000), -1);
        QCOMPARE(errno, EOPNOTSUPP);
    }
    QCOMPARE(::close(file), 0);
}

void FileCallsTest::renames() {
    const auto renameAt = [&](const char *from, const char *to, unsigned flags) {
        return ::renameat2(AT_FDCWD, at(from).constData(), AT_FDCWD, at(to).constData(), flags) == 0 ? 0 : errno;
    };
    QVERIFY(write(at("a"), "a") && write(at("b"), "b"));
    QCOMPARE(renameAt("a", "b", RENAME_NOREPLACE), EEXIST);
    QCOMPARE(renameAt("a", "c", RENAME_NOREPLACE), 0);
    QCOMPARE(renameAt("c", "b", RENAME_EXCHANGE), EINVAL);
    QCOMPARE(renameAt("c", "b", 0), 0);
    QCOMPARE(content(at("b")), QByteArray("a"));
    QCOMPARE(renameAt("gone", "d", 0), ENOENT);
    QDir folder(m_folder);
    QVERIFY(folder.mkpath(u"full/inside"_s) && folder.mkdir(u"empty"_s) && folder.mkdir(u"moving"_s));
    QVERIFY(write(at("moving/file"), "file"));
    QCOMPARE(renameAt("moving", "full", 0), ENOTEMPTY);
    QCOMPARE(renameAt("moving", "empty", 0), 0);
    QCOMPARE(content(at("empty/file")), QByteArray("file"));
    QCOMPARE(renameAt("empty", "b", 0), ENOTDIR);
    QCOMPARE(renameAt("b", "empty", 0), EISDIR);
    QCOMPARE(renameAt("full", "full/inside/itself", 0), EINVAL);
    QCOMPARE(folder.entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList({u"b"_s, u"empty"_s, u"full"_s}));
}

void FileCallsTest::followsARenamedFolder() {
    QVERIFY(QDir(m_folder).mkpath(u"one/two/three"_s));
    QVERIFY(write(at("one/two/three/file"), "before"));
    const int file = ::open(at("one/two/three/file").constData(), O_RDWR);
    const int inside = ::open(at("one/two/three").constData(), O_RDONLY | O_DIRECTORY);
    QVERIFY(file >= 0 && inside >= 0);
    QCOMPARE(::write(file, "BEF", 3), 3); // may still be on its way when the folder moves
    QCOMPARE(::rename(at("one").constData(), at("moved").constData()), 0);
    // A new folder of the old name has the handles that the moved one had.
    QVERIFY(QDir(m_folder).mkpath(u"one/two/three"_s));
    QVERIFY(write(at("one/two/three/file"), "impostor"));
    QCOMPARE(::pwrite(file, "!", 1, 6), 1);
    QCOMPARE(::fsync(file), 0);
    char buffer[64] = {};
    QCOMPARE(::pread(file, buffer, sizeof buffer, 0), 7);
    QCOMPARE(QByteArray(buffer), QByteArray("BEFore!"));
    const int created = ::openat(inside, "new", O_CREAT | O_WRONLY, 0644);
    QVERIFY(created >= 0);
    ::close(created);
    QVERIFY(QFile::exists(m_folder + u"/moved/two/three/new"_s));
    QCOMPARE(content(at("moved/two/three/file")), QByteArray("BEFore!"));
    QCOMPARE(content(at("one/two/three/file")), QByteArray("impostor"));
    ::close(file);
    ::close(inside);
}

void FileCallsTest::movesWhileFoldersAreRenamed() {
    // A folder waits for the calls in its tree before it is renamed, and the calls wait for the rename: never both.
    const QByteArray folder = at("renamed");
    for (const char *name : {"renamed", "renamed/one", "renamed/two"})
        QCOMPARE(::mkdir(at(name).constData(), 0755), 0);
    QVERIFY(write(folder + "/one/file", "x"));
    std::atomic<bool> over{false};
    std::thread mover([&] {
        for (int i = 0; !over; ++i) {
            const char *places[] = {"/one/file", "/two/file"};
            ::rename((folder + places[i % 2]).constData(), (folder + places[(i + 1) % 2]).constData());
        }
    });
    std::atomic<int> renames{0};
    std::thread renamer([&] {
        for (int i = 0; i < 150 && !over; ++i, ++renames) {
            ::rename(folder.constData(), at("elsewhere").constData());
            ::rename(at("elsewhere").constData(), folder.constData());
        }
    });
    const bool moved = waitFor([&] { return renames == 150; });
    over = true;
    if (!moved)
        ::kill(MountedEngine::mountProcess(m_drive.mountPoint()), SIGKILL);
    mover.join();
    renamer.join();
    QVERIFY2(moved, "the drive stands still");
}

void FileCallsTest::refusesWhatItCannotDo() {
    QVERIFY(write(at("file"), "x"));
    const auto outcome = [](int result) { return result == 0 ? 0 : errno; };
    QCOMPARE(outcome(::symlink("file", at("symlink").constData())), EPERM);
    QCOMPARE(outcome(::link(at("file").constData(), at("link").constData())), EPERM);
    QCOMPARE(outcome(::mkfifo(at("pipe").constData(), 0600)), EPERM);
    QCOMPARE(outcome(::setxattr(at("file").constData(), "user.note", "text", 4, 0)), ENOTSUP);
    QCOMPARE(outcome(::removexattr(at("file").constData(), "user.note")), ENOTSUP);
    const QByteArray maxName(255, 'n');
    QVERIFY(write(at(maxName.constData()), "x"));
    QCOMPARE(outcome(::mkdir(at((maxName + 'n').constData()).constData(), 0755)), ENAMETOOLONG);
    QCOMPARE(outcome(::rename(at("file").constData(), at((maxName + 'n').constData()).constData())), ENAMETOOLONG);
    QCOMPARE(outcome(::mkdir(at("file").constData(), 0755)), EEXIST);
    QCOMPARE(outcome(::rmdir(at("file").constData())), ENOTDIR);
    QCOMPARE(outcome(::access(at("file/below").constData(), F_OK)), ENOTDIR);
    QCOMPARE(outcome(::mkdir(at("absent/folder").constData(), 0755)), ENOENT);
    // Accepted without effect, so that copying with modes and owners does not fail.
    QCOMPARE(outcome(::chmod(at("file").constData(), 0600)), 0);
    QCOMPARE(outcome(::chown(at("file").constData(), getuid(), getgid())), 0);
    // Locks are the kernel's own.
    const int file = ::open(at("file").constData(), O_RDWR);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    QCOMPARE(::fcntl(file, F_SETLK, &lock), 0);
    ::close(file);
}

void FileCallsTest::setsTimes() {
    const int file = ::open(at("file").constData(), O_CREAT | O_WRONLY, 0644);
    QCOMPARE(::write(file, "x", 1), 1);
    // Times set while bytes are on their way are the last word, as cp -p wants it.
    const timespec times[2] = {{1'000'000'000, 0}, {1'111'111'111, 0}};
    QCOMPARE(::futimens(file, times), 0);
    QCOMPARE(::close(file), 0);
    struct stat status {};
    QCOMPARE(::stat(at("file").constData(), &status), 0);
    QCOMPARE(status.st_mtim.tv_sec, 1'111'111'111);
}

void FileCallsTest::tellsWhenItWasChanged() {
    const QByteArray folder = at("folder");
    const QByteArray file = folder + "/file";
    const QByteArray moved = at("moved");
    const auto changes = [](const QByteArray &path, auto action) {
        struct stat before {
        }, after{};
        const bool known = ::stat(path.constData(), &before) == 0;
        const bool done = action() == 0;
        const auto moment = [](const timespec &time) { return std::pair(time.tv_sec, time.tv_nsec); };
        return known && done && ::stat(path.constData(), &after) == 0 && moment(after.st_ctim) > moment(before.st_ctim);
    };
    QCOMPARE(::mkdir(folder.constData(), 0700), 0);
    QVERIFY(changes(folder, [&] { return ::close(::open(file.constData(), O_CREAT | O_WRONLY, 0600)); }));
    QVERIFY(changes(file, [&] { return ::chmod(file.constData(), 0640); }));
    QVERIFY(changes(folder, [&] { return ::rename(file.constData(), moved.constData()); }));
    QVERIFY(changes(folder, [&] { return ::rename(moved.constData(), file.constData()); }));
    QVERIFY(changes(folder, [&] { return ::unlink(file.constData()); }));
}

void FileCallsTest::showsAnotherWritersChange() {
    const QString other = m_drive.makeMountPoint(u"second"_s);
    QCOMPARE(m_drive.mountAt(other, m_drive.port()), 0);
    const QByteArray theirs = QFile::encodeName(other) + "/showsAnotherWritersChange/file";
    // Longer, shorter, and of the same length: only the time tells the last one.
    for (const QByteArray &text :
         {QByteArray("first"), QByteArray(9000, 's'), QByteArray("third"), QByteArray("THIRD")}) {
        QVERIFY(write(theirs, text));
        // A new name may take some seconds; what is opened is never old.
        QVERIFY(waitFor([&] { return QFile::exists(QFile::decodeName(at("file"))); }));
        QCOMPARE(content(at("file")), text);
    }
    QVERIFY(write(at("file"), "ours"));
    QCOMPARE(content(theirs), QByteArray("ours"));
    QVERIFY(QFile::remove(QFile::decodeName(theirs)));
    QVERIFY(waitFor([&] { return !QFile::exists(m_folder + u"/file"_s); }));
    QVERIFY(m_drive.unmount(other));
}

void FileCallsTest::leavesNothingBehind() {
    QVERIFY(waitFor([&] { return hiddenFiles().isEmpty(); }));
}

QTEST_GUILESS_MAIN(FileCallsTest)
#include "FileCallsTest.moc"
