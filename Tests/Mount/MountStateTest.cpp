// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/DirectorySnapshot.h"
#include "Mount/InodeTable.h"
#include "Mount/KnownListing.h"
#include "Mount/LaneSlots.h"
#include "Mount/PendingWrites.h"
#include "Mount/ReadAhead.h"
#include "Mount/ReadAheadBudget.h"
#include "Mount/Turns.h"

#include <QTest>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>

using namespace quillmount::mount;
using namespace std::chrono_literals;

// What the mount program keeps in mind: the tree of files, listings, bytes on their way in either direction.
class MountStateTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tellsReplacedFilesApart();
    void forgetsWhatTheKernelForgets();
    void writesWhatWasWritten();
    void letsAChangeOfSizeHaveItsTurn();
    void givesEachCallItsConnection();
    void readsAheadOfASequence();
    void sharesOneBudgetForReadingAhead();
    void putsListingsTogether();
    void endsListingsThatNeverStandStill();
    void believesAListingOfLate();
    void listsWhenAskedForManyNames();
};

void MountStateTest::tellsReplacedFilesApart() {
    InodeTable table;
    const InodePtr old = table.obtain(table.root(), "a", FileType::regular, "the hash of a");
    table.move(old, table.root(), "b");
    // A new file at the old path has the old handle, but neither the identity nor the visible number of the old file.
    const InodePtr fresh = table.obtain(table.root(), "a", FileType::regular, "the hash of a");
    QVERIFY(fresh != old && fresh->id() != old->id() && fresh->number() != old->number());
    QVERIFY(table.obtain(table.root(), "b", FileType::regular, "the hash of b") == old);
    QCOMPARE(old->handle, Handle("the hash of b"));
    // A file that has become a folder behind our back is another file.
    const InodePtr folder = table.obtain(table.root(), "b", FileType::directory, "the hash of b");
    QVERIFY(folder != old && old->isGone());
    table.detach(*folder);
    QVERIFY(!table.child(*table.root(), "b") && folder->isGone());
}

void MountStateTest::forgetsWhatTheKernelForgets() {
    InodeTable table;
    std::uint64_t id = 0;
    {
        const InodePtr folder = table.obtain(table.root(), "folder", FileType::directory, "h");
        const InodePtr file = table.obtain(folder, "file", FileType::regular, "h2");
        table.addLookup(file);
        table.addLookup(file);
        id = file->id();
    }
    // The folder stays as long as the file in it, whose path leads through it.
    QVERIFY(table.find(id));
    QCOMPARE(table.find(id)->parent()->name(), std::string("folder"));
    table.forget(id, 1);
    QVERIFY(table.find(id));
    table.forget(id, 7);
    QVERIFY(!table.find(id));
    QVERIFY(!table.child(*table.root(), "folder"));
    QCOMPARE(table.size(), 1U);
    table.forget(1, 100);
    QVERIFY(table.find(1) == table.root());
}

void MountStateTest::writesWhatWasWritten() {
    // Random writes, sent and confirmed in a random order, leave the same bytes as if each had been done at once.
    std::mt19937 random(4711);
    const auto pick = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
    for (int round = 0; round < 50; ++round) {
        PendingWrites pending;
        std::string expected, server;
        std::vector<PendingWrites::Chunk *> flying;
        const auto apply = [](std::string &file, std::uint64_t offset, const char *data, std::size_t size) {
            if (file.size() < offset + size)
                file.resize(offset + size, '\0');
            std::copy_n(data, size, file.begin() + static_cast<std::ptrdiff_t>(offset));
        };
        const auto confirm = [&] {
            const auto chosen = flying.begin() + pick(static_cast<unsigned>(flying.size()));
            apply(server, (*chosen)->offset, (*chosen)->bytes.data(), (*chosen)->bytes.size());
            pending.finish(*chosen);
            flying.erase(chosen);
        };
        for (int i = 0; i < 300; ++i) {
            const std::string text(1 + pick(3000), static_cast<char>('a' + pick(26)));
            const std::uint64_t offset = pick(2) == 0 ? expected.size() : pick(20'000);
            apply(expected, offset, text.data(), text.size());
            pending.accept(offset, text.data(), text.size());
            if (pick(4) == 0)
                pending.seal();
            while (PendingWrites::Chunk *chunk = pending.nextToSend())
                flying.push_back(chunk);
            QVERIFY(flying.size() <= PendingWrites::maxInFlight);
            if (!flying.empty() && pick(3) == 0)
                confirm();
        }
        pending.seal();
        while (!pending.isEmpty()) {
            while (PendingWrites::Chunk *chunk = pending.nextToSend())
                flying.push_back(chunk);
            QVERIFY(!flying.empty());
            confirm();
        }
        QVERIFY(server == expected);
    }
}

void MountStateTest::letsAChangeOfSizeHaveItsTurn() {
    Turns turns;
    turns.reading = 1;
    turns.changesWaiting = 1;
    QVERIFY(!turns.mayChange(0));
    // Readers that come later wait behind it, or there would be one under way for ever.
    QVERIFY(!turns.mayRead(0));
    turns.reading = 0;
    QVERIFY(turns.mayChange(0) && !turns.mayChange(1));
    turns = {.changing = true};
    QVERIFY(!turns.mayRead(0) && !turns.mayWrite() && !turns.mayChange(0));
}

void MountStateTest::givesEachCallItsConnection() {
    const LaneSlots::Moment start{};
    const auto late = start + LaneSlots::maxWait;
    LaneSlots lane;
    // Some connections are there at once; then a call waits, until one is released or it has waited for long.
    std::set<std::size_t> taken;
    for (std::size_t i = 0; i < LaneSlots::usual; ++i)
        taken.insert(lane.take(i + 1, start, start).value());
    QCOMPARE(taken.size(), LaneSlots::usual);
    QVERIFY(!lane.take(0, start, late - 1ms));
    // Calls of one stream follow each other on one connection, those of another do not.
    const std::size_t own = lane.take(1, start, start).value();
    QVERIFY(!lane.take(99, start, start));
    lane.release(own, start);
    QVERIFY(!lane.take(99, start, start));
    lane.release(own, start);
    QCOMPARE(lane.take(99, start, start), own);
    // However many slow calls there are, the number of connections has an end.
    for (std::size_t i = LaneSlots::usual; i < LaneSlots::maxOpen; ++i)
        taken.insert(lane.take(0, start, late).value());
    QCOMPARE(taken.size(), LaneSlots::maxOpen);
    QVERIFY(!lane.take(0, start, late + 1h));
    QVERIFY(!lane.nextIdle());
    // What was opened in addition is closed when it has been idle for long; the usual ones stay.
    for (const std::size_t place : taken)
        lane.release(place, late);
    QVERIFY(lane.nextIdle() == late + LaneSlots::idleTime);
    QVERIFY(lane.idle(late + LaneSlots::idleTime - 1ms).empty());
    const auto idle = lane.idle(late + LaneSlots::idleTime);
    QCOMPARE(idle.size(), LaneSlots::maxOpen - LaneSlots::usual);
    for (const std::size_t place : idle)
        lane.close(place);
    QVERIFY(!lane.nextIdle());
    QVERIFY(lane.take(0, start, start).value() < LaneSlots::usual);
}

void MountStateTest::readsAheadOfASequence() {
    constexpr std::uint64_t size = 20'000'000;
    constexpr std::size_t request = 131'072;
    ReadAhead ahead;
    // Single looks into a file fetch nothing more than was asked for.
    QVERIFY(ahead.note(0, request, size, size).empty());
    QVERIFY(ahead.note(15'000'000, request, size, size).empty());
    QVERIFY(ahead.note(4'000'000, request, size, size).empty());
    // A sequence does, in neighbouring blocks, each asked for once, never beyond the end and never too many at a time.
    std::uint64_t reached = 0;
    std::uint64_t fetched = 0;
    for (std::uint64_t offset = 0; offset < size; offset += request) {
        for (const auto &block : ahead.note(offset, request, size, size)) {
            if (fetched != 0)
                QCOMPARE(block->offset, reached);
            reached = block->end();
            fetched += block->length;
            QVERIFY(reached <= size);
            QVERIFY(reached <= offset + (ReadAhead::maxBlocks + 2) * ReadAhead::blockSize);
        }
        if (offset > 2 * request && offset + request <= size) {
            const auto blocks = ahead.covering(offset, request);
            QVERIFY(!blocks.empty());
            QVERIFY(blocks.front()->offset <= offset && blocks.back()->end() >= offset + request);
        }
    }
    QCOMPARE(reached, size);
    QVERIFY(fetched > size - 4 * request);
    // A change of the file makes what was fetched worthless, also for those who wait for it.
    const auto last = ahead.covering(size - 10, 10);
    QCOMPARE(last.size(), 1U);
    ahead.drop();
    QVERIFY(last.front()->dropped);
    QVERIFY(ahead.covering(size - 10, 10).empty());
}

void MountStateTest::sharesOneBudgetForReadingAhead() {
    constexpr std::uint64_t size = 1'000'000'000;
    constexpr std::size_t request = 131'072;
    std::vector<ReadAhead> files(150);
    ReadAheadBudget budget;
    ReadAheadBudget::Moment now{};
    const auto readOn = [&](ReadAhead &file, int times) {
        std::size_t fetched = 0;
        for (int i = 0; i < times; ++i)
            fetched += file.note(static_cast<std::uint64_t>(i) * request, request, size, budget.room(file, now)).size();
        return fetched;
    };
    // However many files are read at once, there is an end, and none takes what another is reading.
    for (ReadAhead &file : files)
        readOn(file, 20);
    QVERIFY(budget.bytes() <= ReadAheadBudget::maxBytes);
    QVERIFY(files.front().bytes() > 0 && files.back().bytes() == 0);
    // Later, who was read longest ago makes room.
    now += ReadAheadBudget::busyTime;
    files.back().drop();
    QVERIFY(readOn(files.back(), 20) > 0);
    QCOMPARE(files.front().bytes(), 0U);
    QVERIFY(budget.bytes() <= ReadAheadBudget::maxBytes);
    // Nothing is held for readers that have gone to sleep or away.
    now += ReadAheadBudget::idleTime;
    QVERIFY(budget.nextIdle() <= now);
    budget.dropIdle(now);
    QCOMPARE(budget.bytes(), 0U);
    QVERIFY(!budget.nextIdle());
    readOn(files[3], 20);
    budget.remove(files[3]);
    QCOMPARE(budget.bytes(), 0U);
}

namespace {

DirectoryPage pageOf(const std::vector<std::string> &names, std::size_t from, std::size_t count,
                     std::uint64_t verifier) {
    DirectoryPage page;
    page.verifier = verifier;
    for (std::size_t i = from; i < std::min(from + count, names.size()); ++i) {
        DirectoryEntry entry;
        entry.name = names[i];
        page.entries.push_back(std::move(entry));
        page.lastCookie = i + 2;
    }
    page.end = from + count >= names.size();
    return page;
}

std::vector<std::string> numbered(int count) {
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i)
        names.push_back("n" + std::to_string(1000 + i));
    return names;
}

} // namespace

void MountStateTest::putsListingsTogether() {
    const std::vector<std::string> names = numbered(25);
    DirectorySnapshot snapshot;
    DirectoryPage first = pageOf(names, 0, 10, 7);
    for (const char *own : {"..", "."}) {
        DirectoryEntry entry;
        entry.name = own;
        first.entries.insert(first.entries.begin(), entry);
    }
    QVERIFY(!snapshot.take(std::move(first), 1));
    QCOMPARE(snapshot.cookie(), 11U);
    QCOMPARE(snapshot.verifier(), 7U);
    // One name that the system refuses would take the whole folder with it.
    DirectoryEntry tooLong;
    tooLong.name = std::string(256, 'n');
    DirectoryPage second = pageOf(names, 10, 10, 7);
    second.entries.push_back(tooLong);
    QVERIFY(!snapshot.take(std::move(second), 2));
    QVERIFY(snapshot.take(pageOf(names, 20, 10, 7), 3));
    QCOMPARE(snapshot.entries().size(), 25U);
    QCOMPARE(snapshot.entries().front().name, std::string("n1000"));
    QCOMPARE(snapshot.entries().back().asOf, 3U);
    QCOMPARE(snapshot.leftOut(), std::vector<std::string>{tooLong.name});
}

void MountStateTest::endsListingsThatNeverStandStill() {
    // After many restarts pages overlap: names that come and go move the positions, those that stay are all found once.
    DirectorySnapshot snapshot;
    for (int i = 0; i <= DirectorySnapshot::maxRestarts; ++i)
        snapshot.badCookie();
    std::vector<std::string> names = numbered(3000);
    int pages = 0;
    while (true) {
        QVERIFY(++pages < 100);
        QCOMPARE(snapshot.verifier(), 0U);
        const std::uint64_t from = snapshot.cookie() == 0 ? 0 : snapshot.cookie() - 1;
        if (snapshot.take(pageOf(names, from, 200, 1), 1))
            break;
        // A few names in front disappear, so that everything moves up.
        if (names.size() > 2900)
            names.erase(names.begin(), names.begin() + 20);
    }
    std::map<std::string, int> seen;
    for (const auto &entry : snapshot.entries())
        ++seen[entry.name];
    for (const std::string &name : names)
        QCOMPARE(seen[name], 1);
}

void MountStateTest::believesAListingOfLate() {
    using Says = KnownListing::Says;
    using namespace std::chrono_literals;
    const auto listing = std::make_shared<DirectorySnapshot>();
    DirectoryPage page = pageOf({"there", "changed before", "changed since", "bare"}, 0, 10, 1);
    for (DirectoryEntry &entry : page.entries) {
        entry.hasAttributes = entry.name != "bare";
        entry.handle = "h";
    }
    QVERIFY(listing->take(std::move(page), 1));
    KnownListing names;
    const KnownListing::Moment start{};
    const unsigned number = names.beginLearning();
    names.changed("changed before", start - 1ms);
    names.changed("changed since", start + 1ms);
    names.endLearning(number, listing, start, start + 2ms);
    const auto says = [&](std::string_view name, KnownListing::Moment now) { return names.look(name, now).says; };
    const auto last = start + 2ms + KnownListing::trust - 1ns;
    QCOMPARE(says("there", last), Says::present);
    QCOMPARE(names.look("there", last).entry->name, std::string("there"));
    QCOMPARE(says("there", last + 1ns), Says::nothing);
    QCOMPARE(says("not there", last), Says::absent);
    QCOMPARE(says("not there", last + 1ns), Says::nothing);
    QCOMPARE(says("changed before", last), Says::present);
    QCOMPARE(says("changed since", last), Says::nothing);
    QCOMPARE(says("bare", last), Says::nothing);
    // The server may find it spelled with other bytes.
    QCOMPARE(says("\xc3\xa9", last), Says::nothing);
    names.changed("not there", last);
    QCOMPARE(says("not there", last), Says::nothing);
    // What was asked for before a move of the folder has the handles of its old place.
    const unsigned outdated = names.beginLearning();
    names.forget();
    names.endLearning(outdated, listing, last, last);
    QCOMPARE(says("there", last), Says::nothing);
}

void MountStateTest::listsWhenAskedForManyNames() {
    using namespace std::chrono_literals;
    KnownListing names;
    KnownListing::Moment now{};
    const auto questions = [&](std::size_t size, std::chrono::milliseconds pause) {
        for (int count = 1; count <= 1000; ++count) {
            now += pause;
            if (names.isWorthLearning(size, now))
                return count;
        }
        return 0;
    };
    QCOMPARE(questions(0, 10ms), 4);
    QCOMPARE(questions(3200, 10ms), 100);
    QCOMPARE(questions(0, 2s), 0); // now and then is not many
    names.beginLearning();
    QCOMPARE(questions(0, 10ms), 0); // it is being listed
}

QTEST_GUILESS_MAIN(MountStateTest)
#include "MountStateTest.moc"
