// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSidebar.h"
#include "Platform/PlatformError.h"

#include <QTemporaryDir>
#include <QtTest>

#include <optional>

using namespace quillmount;
using namespace Qt::StringLiterals;

using Text = std::optional<QByteArray>;

class LinuxSidebarTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void entries_data();
    void entries();
    void leavesAloneWhatItCannotRead();
};

namespace {

Text contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? std::optional(file.readAll()) : std::nullopt;
}

void write(const QString &path, const Text &text) {
    QFile file(path);
    if (text)
        QVERIFY(QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
                file.write(*text) == text->size());
}

// Both lists of a user; text in front of and behind our entries.
struct Lists {
    QTemporaryDir folder;
    QString bookmarks = folder.path() + u"/config/gtk-3.0/bookmarks"_s;
    QString places = folder.path() + u"/data/user-places.xbel"_s;
    LinuxSidebar sidebar{folder.path() + u"/config"_s, folder.path() + u"/data"_s};
};

const QByteArray begin =
    "<?xml version=\"1.0\"?>\n<xbel>\n <bookmark href=\"file:///home/x\"><title>Home \xc3\xa4</title>"
    "<info><metadata owner=\"a\"/></info></bookmark>\n";
const QByteArray entry = " <bookmark href=\"file:///Volumes/Quillmount\">\n  <title>Quillmount</title>\n </bookmark>\n";

} // namespace

void LinuxSidebarTest::entries_data() {
    QTest::addColumn<Text>("before");
    QTest::addColumn<Text>("added");
    QTest::addColumn<Text>("removed");
    QTest::addColumn<bool>("isKde");
    const QByteArray line = "file:///Volumes/Quillmount Quillmount\n";
    QTest::newRow("no list") << Text() << Text(line) << Text("") << false;
    QTest::newRow("others") << Text("file:///a\nfile:///b B\n") << Text("file:///a\nfile:///b B\n" + line)
                            << Text("file:///a\nfile:///b B\n") << false;
    QTest::newRow("no last newline") << Text("file:///a") << Text("file:///a\n" + line) << Text("file:///a\n") << false;
    QTest::newRow("there already, by another name")
        << Text("file:///Volumes/Quillmount My drive\nfile:///a")
        << Text("file:///Volumes/Quillmount My drive\nfile:///a") << Text("file:///a") << false;
    QTest::newRow("a longer address") << Text("file:///Volumes/Quillmount2 Q\n")
                                      << Text("file:///Volumes/Quillmount2 Q\n" + line)
                                      << Text("file:///Volumes/Quillmount2 Q\n") << false;
    QTest::newRow("no places") << Text() << Text() << Text() << true;
    QTest::newRow("places") << Text(begin + "</xbel>\n") << Text(begin + entry + "</xbel>\n")
                            << Text(begin + "</xbel>\n") << true;
}

void LinuxSidebarTest::entries() {
    QFETCH(Text, before);
    QFETCH(bool, isKde);
    Lists lists;
    const QString file = isKde ? lists.places : lists.bookmarks;
    write(file, before);
    for (int time = 0; time < 2; ++time) {
        lists.sidebar.add(u"/Volumes/Quillmount"_s, u"Quillmount"_s);
        QTEST(contents(file), "added");
    }
    for (int time = 0; time < 2; ++time) {
        lists.sidebar.remove(u"/Volumes/Quillmount"_s);
        QTEST(contents(file), "removed");
    }
}

void LinuxSidebarTest::leavesAloneWhatItCannotRead() {
    Lists lists;
    const Text broken("<xbel><bookmark href=\"file:///Volumes/Quillmount\">");
    write(lists.places, broken);
    QVERIFY_THROWS_EXCEPTION(PlatformError, lists.sidebar.add(u"/Volumes/Quillmount"_s, u"Quillmount"_s));
    QVERIFY_THROWS_EXCEPTION(PlatformError, lists.sidebar.remove(u"/Volumes/Quillmount"_s));
    QCOMPARE(contents(lists.places), broken);
}

QTEST_GUILESS_MAIN(LinuxSidebarTest)
#include "LinuxSidebarTest.moc"
