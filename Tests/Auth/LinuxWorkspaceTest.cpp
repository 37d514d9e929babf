// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxWorkspace.h"
#include "Tests/Engine/WaitFor.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class LinuxWorkspaceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void opensTheEncodedAddress();
    void nothingToOpenWith();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QByteArray m_path;
};

void LinuxWorkspaceTest::init() {
    m_folder = std::make_unique<QTemporaryDir>();
    m_path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(m_folder->path()));
}

void LinuxWorkspaceTest::cleanup() {
    qputenv("PATH", m_path);
}

void LinuxWorkspaceTest::opensTheEncodedAddress() {
    const QString opened = m_folder->filePath(u"opened"_s);
    QFile program(m_folder->filePath(u"xdg-open"_s));
    QVERIFY(program.open(QIODevice::WriteOnly));
    program.write("#!/bin/sh\necho noise; echo noise >&2\nprintf '%s\\n' \"$#\" \"$1\" > '" +
                  QFile::encodeName(opened) + ".part'\nPATH=/bin:/usr/bin mv '" + QFile::encodeName(opened) +
                  ".part' '" + QFile::encodeName(opened) + "'\n");
    program.close();
    QVERIFY(program.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

    const QByteArray address =
        "https://login.example/auth?scope=openid%20email&redirect_uri=http%3A%2F%2F127.0.0.1%3A1&x=%26";
    LinuxWorkspace workspace;
    QVERIFY(workspace.openURL(QUrl::fromEncoded(address)));
    QVERIFY(waitFor([&] { return QFile::exists(opened); }));
    QFile file(opened);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), "1\n" + address + "\n");
}

void LinuxWorkspaceTest::nothingToOpenWith() {
    // Any other line, one with the address above all, would fail the test.
    QTest::failOnWarning(QRegularExpression(u"secret"_s));
    QTest::ignoreMessage(QtWarningMsg, "xdg-open is not installed: no address can be opened");
    LinuxWorkspace workspace;
    QVERIFY(!workspace.openURL(QUrl(u"https://login.example/?state=secret"_s)));
}

QTEST_GUILESS_MAIN(LinuxWorkspaceTest)
#include "LinuxWorkspaceTest.moc"
