// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FileContent.h"

#include <algorithm>
#include <cerrno>

namespace quillmount::mount {
namespace {

// What may be pending for one file before a program that writes is made to wait.
constexpr std::size_t maxPendingBytes = std::size_t{8} << 20;
constexpr std::size_t maxPendingChunks = 2048;

bool isLater(const timespec &a, const timespec &b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

} // namespace

FileContent::AttributeCall::AttributeCall(const InodePtr &inode)
    : m_content(inode ? inode->content : nullptr) {
    if (m_content)
        ++m_content->m_attributeCalls;
}

FileContent::AttributeCall::~AttributeCall() {
    if (m_content && --m_content->m_attributeCalls == 0)
        m_content->m_endWhileAsking = 0;
}

void FileContent::addOpen(OpenFile &file) {
    file.errorsSeen = m_errors;
    m_opened.insert(&file);
}

Attributes FileContent::expected(Attributes heard) const {
    if (heard.type != FileType::regular)
        return heard;
    const std::uint64_t end = std::max(m_pending.end(), m_endWhileAsking);
    if (end > heard.size)
        heard.size = heard.used = end;
    if (hasPending() && isLater(m_written, heard.modified))
        heard.modified = heard.changed = m_written;
    return heard;
}

void FileContent::noteAttributes(const Attributes &attributes) {
    if (!hasPending())
        m_reach = attributes.size;
    m_size = attributes.size;
}

bool FileContent::keepsPages(const Version &version) {
    if (hasPending() || m_pages.matches(version))
        return true;
    // Somebody else has changed the file since its pages were read.
    m_pages = version;
    for (OpenFile *file : m_opened)
        file->ahead.drop();
    return false;
}

void FileContent::noteChange(const Change &change) {
    // The kernel's pages follow our own changes. If the file was not as we left it, somebody else has changed it too,
    // and the pages are not to be trusted after the next open.
    if (m_pages.matches(change.before) && change.hasAfter)
        m_pages = change.after.version();
    else
        m_pages.known = false;
}

void FileContent::noteError(int error) {
    // The kernel's pages hold what the server does not: they must not outlive this error. Nor is it known how far the
    // file reaches on the server, so the next write asks.
    m_pages.known = false;
    m_reach = 0;
    m_lastError = error;
    ++m_errors;
}

int FileContent::takeError(OpenFile &file) const {
    if (m_errors == file.errorsSeen)
        return 0;
    file.errorsSeen = m_errors;
    return m_lastError;
}

void FileContent::changed() {
    m_inode.changed = m_table.nextSequence();
    for (OpenFile *file : m_opened)
        file->ahead.drop();
}

// Turns

Task<void> FileContent::beginReading() {
    co_await settle();
    ++m_turns.readersWaiting;
    while (!m_turns.mayRead(m_pending.inFlight()))
        co_await m_settled.wait();
    --m_turns.readersWaiting;
    ++m_turns.reading;
}

void FileContent::endReading() {
    --m_turns.reading;
    pump();
    m_settled.open();
}

Task<void> FileContent::beginChange() {
    co_await settle();
    ++m_turns.changesWaiting;
    while (!m_turns.mayChange(m_pending.inFlight()))
        co_await m_settled.wait();
    --m_turns.changesWaiting;
    m_turns.changing = true;
}

void FileContent::endChange() {
    m_turns.changing = false;
    pump();
    m_settled.open();
}

// Reading and changes of the attributes

Task<Result<std::size_t>> FileContent::read(std::uint64_t offset, char *buffer, std::size_t size,
                                            std::uint64_t stream) {
    const InodePtr inode = m_inode.shared_from_this();
    Result<std::size_t> result;
    std::size_t &got = result.value;
    for (int doubts = 0; got < size;) {
        co_await beginReading();
        const Result<ReadResult> part =
            co_await m_handles.call<ReadResult>(Procedure::read, inode, [&](const Handle &handle) {
                return m_client.read(handle, offset + got, buffer + got, size - got, stream);
            });
        endReading();
        result.error = part.error;
        if (part.error != 0)
            co_return result;
        const ReadResult &bytes = part.value;
        const std::uint64_t reached = offset + got + bytes.count;
        // The end of the file before its size means that the server could not get the rest. A program that took that
        // for the end would save a cut-off file.
        const bool doubtful = bytes.hasAttributes && reached < bytes.attributes.size;
        if ((bytes.end && doubtful) || (!bytes.end && bytes.count == 0)) {
            if (++doubts > 1) {
                result.error = EIO;
                co_return result;
            }
            continue;
        }
        got += bytes.count;
        if (bytes.end)
            break;
    }
    co_return result;
}

Task<Result<Change>> FileContent::sendChange(AttributeChange change) {
    const InodePtr inode = m_inode.shared_from_this();
    const Result<Change> result = co_await m_handles.call<Change>(
        Procedure::setAttributes, inode, [&](const Handle &handle) { return m_client.setAttributes(handle, change); });
    changed();
    noteChange(result.value);
    co_return result;
}

Task<Result<Change>> FileContent::changeSize(AttributeChange change) {
    const InodePtr inode = m_inode.shared_from_this();
    co_await beginChange();
    const Result<Change> result = co_await sendChange(change);
    if (result.error == 0)
        m_reach = *change.size;
    m_endWhileAsking = 0;
    endChange();
    co_return result;
}

Task<Result<Change>> FileContent::changeTime(AttributeChange change) {
    const InodePtr inode = m_inode.shared_from_this();
    co_await settle();
    const Result<Change> result = co_await sendChange(change);
    co_return result;
}

Task<int> FileContent::growTo(std::uint64_t end) {
    const InodePtr inode = m_inode.shared_from_this();
    co_await beginChange();
    const int error = co_await fillGap(end);
    if (error == 0)
        m_reach = std::max(m_reach, end);
    changed();
    endChange();
    co_return error;
}

// Writing

std::uint64_t FileContent::write(OpenFile &file, std::uint64_t offset, std::string_view bytes, Buffer block) {
    file.uncommitted = true;
    if (!hasPending())
        ++m_work.files;
    m_work.bytes -= m_pending.bytes();
    const std::uint64_t sequence = block.size() > 0 ? m_pending.accept(offset, std::move(block))
                                                    : m_pending.accept(offset, bytes.data(), bytes.size());
    m_work.bytes += m_pending.bytes();
    clock_gettime(CLOCK_REALTIME, &m_written);
    changed();
    pump();
    return sequence;
}

Task<int> FileContent::accepted(std::uint64_t sequence, bool fromPageCache) {
    const InodePtr inode = m_inode.shared_from_this();
    const std::uint64_t errorsBefore = m_errors;
    if (fromPageCache) {
        // The kernel does this behind the program's back anyway; it learns of errors only from the answer.
        m_pending.seal();
        pump();
        while (!m_pending.isDone(sequence))
            co_await m_settled.wait();
        if (m_errors != errorsBefore)
            co_return m_lastError;
    }
    while (m_pending.bytes() > maxPendingBytes || m_pending.count() > maxPendingChunks ||
           (m_work.bytes > PendingWork::maxBytes && hasPending()))
        co_await m_settled.wait();
    co_return 0;
}

void FileContent::pump() {
    while (m_turns.mayWrite()) {
        PendingWrites::Chunk *chunk = m_pending.nextToSend();
        if (!chunk)
            return;
        const bool afterGap = chunk->offset > m_reach;
        m_reach = std::max(m_reach, chunk->end());
        m_turns.changing = afterGap;
        spawn(send(chunk, afterGap));
    }
}

// Grows the file to `end`. A write beyond the end leaves a gap, which the server forgets to be zeros when it is asked
// for the size at the same moment; a size that was set it remembers.
Task<int> FileContent::fillGap(std::uint64_t end) {
    const InodePtr inode = m_inode.shared_from_this();
    while (m_pending.inFlight() > 1)
        co_await m_settled.wait();
    // Somebody else may have made it longer meanwhile.
    const Result<Attributes> now = co_await m_handles.call<Attributes>(
        Procedure::getAttributes, inode, [&](const Handle &handle) { return m_client.getAttributes(handle); });
    if (now.error != 0 || now.value.size >= end)
        co_return now.error;
    AttributeChange change;
    change.size = end;
    const Result<Change> grown = co_await m_handles.call<Change>(
        Procedure::setAttributes, inode, [&](const Handle &handle) { return m_client.setAttributes(handle, change); });
    if (grown.error == 0)
        noteChange(grown.value);
    co_return grown.error;
}

Task<void> FileContent::send(PendingWrites::Chunk *chunk, bool afterGap) {
    const InodePtr inode = m_inode.shared_from_this();
    std::size_t done = 0;
    int error = 0;
    if (afterGap) {
        // As far as the last of them needs it: a program that writes here and there pays once, not for each place.
        const std::uint64_t end = std::max(chunk->offset, m_pending.lastOffset());
        error = co_await fillGap(end);
        if (error == 0)
            m_reach = std::max(m_reach, end);
        m_turns.changing = false;
        pump();
    }
    while (done < chunk->bytes.size() && error == 0) {
        const Result<WriteResult> part =
            co_await m_handles.call<WriteResult>(Procedure::write, inode, [&](const Handle &handle) {
                return m_client.write(handle, chunk->offset + done, chunk->bytes.data() + done,
                                      chunk->bytes.size() - done, inode->id());
            });
        error = part.error;
        if (error == 0 && part.value.count == 0)
            error = EIO;
        if (error == 0)
            noteChange(part.value.change);
        done += part.value.count;
    }
    if (error != 0)
        noteError(error);
    if (m_attributeCalls > 0 && error == 0)
        m_endWhileAsking = std::max(m_endWhileAsking, chunk->end());
    m_work.bytes -= chunk->bytes.size();
    m_pending.finish(chunk);
    changed();
    if (!hasPending())
        --m_work.files;
    pump();
    m_settled.open();
    m_work.progress.open();
}

Task<void> FileContent::settle() {
    const InodePtr inode = m_inode.shared_from_this();
    const std::uint64_t sequence = m_pending.seal();
    pump();
    while (!m_pending.isDone(sequence))
        co_await m_settled.wait();
}

Task<void> FileContent::commit(OpenFilePtr file, NfsClient::Commit how) {
    const InodePtr inode = m_inode.shared_from_this();
    if (!file->uncommitted && how == NfsClient::Commit::close) {
        co_await settle();
        co_return;
    }
    file->uncommitted = false;
    const std::uint64_t sequence = m_pending.seal();
    pump();
    while (m_pending.hasUnsent())
        co_await m_settled.wait();
    // The server works through a connection in turn, so it may be asked behind the last WRITE without waiting for that
    // one's answer. If it answers this first all the same, it was asked too early.
    while (true) {
        const std::uint64_t stream = inode->id();
        const Result<Nothing> done = co_await m_handles.call<Nothing>(
            Procedure::commit, inode, [&](const Handle &handle) { return m_client.commit(handle, how, stream); });
        if (done.error != 0)
            noteError(done.error);
        if (m_pending.isDone(sequence))
            break;
        co_await settle();
    }
}

} // namespace quillmount::mount
