// SPDX-License-Identifier: LicenseRef-Quillmount
// The drive of somebody who is not root, whom permissions hold.
#include "MountList/MountList.h"
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"
#include "Tests/Support/Machine.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <csignal>
#include <unistd.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

constexpr auto nobody = 65534;

void giveAway(const QString &folder) {
    QDirIterator entries(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    QStringList paths{folder};
    while (entries.hasNext())
        paths.append(entries.next());
    for (const QString &path : std::as_const(paths))
        if (::lchown(QFile::encodeName(path).constData(), nobody, nobody) != 0)
            qFatal("%ls cannot be given away", qUtf16Printable(path));
}

} // namespace

class OrdinaryUserTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void usesTheDrive();

private:
    // Runs a command as that person, within the mounts that the application sees while it runs. Its exit status.
    [[nodiscard]] int asPerson(const QStringList &command) const;

    bool m_isRoot = ::geteuid() == 0;
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<Application> m_application;
};

void OrdinaryUserTest::initTestCase() {
    const QString missing = m_isRoot ? Machine::lacksMountNamespaces() : QString();
    QVERIFY2(missing.isEmpty(), qPrintable(missing));
}

void OrdinaryUserTest::init() {
    m_home = std::make_unique<TestHome>();
    m_application = std::make_unique<Application>(*m_home);
    if (!m_isRoot)
        return;
    // The checkout and the local Google's folder may be closed to others.
    const QString bundle = m_home->path() + u"/bundle"_s;
    QVERIFY(QDir().mkpath(bundle) && QDir().mkpath(m_home->path() + u"/device"_s));
    for (const QString &name : {u"quillmount"_s, u"quillmount-mount"_s, u"QuillmountEngine"_s, u"Info.json"_s})
        QVERIFY(QFile::copy(qEnvironmentVariable("QUILLMOUNT_BIN") + u'/' + name, bundle + u'/' + name));
    const QString authority = m_home->path() + u"/authority.pem"_s;
    QVERIFY(QFile::copy(m_home->google.certificateAuthority(), authority));
    m_application->environment.insert(u"SSL_CERT_FILE"_s, authority);
    // /dev/fuse may be root's own: a private one stands in its place, for this application only.
    m_application->command = {u"/usr/bin/unshare"_s,
                              u"--mount"_s,
                              u"/bin/sh"_s,
                              u"-e"_s,
                              u"-c"_s,
                              uR"(mount -t tmpfs -o size=64k device "$1"
                                  mknod -m 666 "$1/fuse" c 10 229
                                  mount --bind "$1/fuse" /dev/fuse
                                  shift
                                  exec setpriv --reuid=65534 --regid=65534 --clear-groups -- "$@")"_s,
                              u"sh"_s,
                              m_home->path() + u"/device"_s,
                              bundle + u"/quillmount"_s};
}

void OrdinaryUserTest::cleanup() {
    m_application.reset();
    m_home.reset();
}

int OrdinaryUserTest::asPerson(const QStringList &command) const {
    QStringList words{u"/usr/bin/timeout"_s, u"--signal=KILL"_s, u"20"_s};
    const pid_t application = m_home->application();
    if (m_isRoot && application != 0)
        words +=
            {u"nsenter"_s, u"--mount=/proc/%1/ns/mnt"_s.arg(application), u"--root=/proc/%1/root"_s.arg(application)};
    if (m_isRoot)
        words += {u"setpriv"_s, u"--reuid=65534"_s, u"--regid=65534"_s, u"--clear-groups"_s, u"--"_s};
    words += command;
    return QProcess::execute(words.first(), words.mid(1));
}

void OrdinaryUserTest::usesTheDrive() {
    const QString drive = m_home->mountPoint();
    const QString source = m_home->path() + u"/source.bin"_s;
    const QByteArray contents = someBytes(3'000'001, 1);
    QFile file(source);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size());
    file.close();
    m_home->addAccount();
    if (m_isRoot)
        giveAway(m_home->path());

    m_application->start();
    QVERIFY(m_application->comesTo(u"live"_s));
    QFile mounts(u"/proc/%1/mountinfo"_s.arg(m_home->application()));
    QVERIFY(mounts.open(QIODevice::ReadOnly));
    QVERIFY(!mountsAt(parseMountInfo(mounts.readAll().toStdString()), drive.toStdString()).empty());

    QCOMPARE(asPerson({u"cp"_s, source, drive + u"/copy.bin"_s}), 0);
    QCOMPARE(asPerson({u"cmp"_s, source, drive + u"/copy.bin"_s}), 0);
    QCOMPARE(asPerson({u"mkdir"_s, drive + u"/folder"_s}), 0);
    QCOMPARE(asPerson({u"mv"_s, drive + u"/copy.bin"_s, drive + u"/folder/moved.bin"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(m_home->onGoogle(u"folder/moved.bin"_s), contents, 20'000);

    m_application->signal(SIGTERM);
    QCOMPARE(m_application->end(), 0);
    QVERIFY(m_home->isQuiet());
    // What would be saved now would disappear under the drive when it comes back.
    QCOMPARE(QFileInfo(drive).permissions() & QFile::Permissions(0xf000), QFile::ReadOwner | QFile::ExeOwner);
    QVERIFY(asPerson({u"cp"_s, source, drive + u"/lost.bin"_s}) != 0);
    QVERIFY(QDir(drive).isEmpty());
}

QTEST_GUILESS_MAIN(OrdinaryUserTest)
#include "OrdinaryUserTest.moc"
