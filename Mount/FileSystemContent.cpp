// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FileSystem.h"

#include "Mount/HandleCall.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>

namespace quillmount::mount {
namespace {

// Bytes that may be pending before a program that writes is made to wait, for one file and for all.
constexpr std::size_t mostPendingOfFile = std::size_t{8} << 20;
constexpr std::size_t mostChunksOfFile = 2048;
constexpr std::size_t mostPending = std::size_t{48} << 20;

} // namespace

std::shared_ptr<FileState> FileSystem::stateOf(Inode &inode) {
    if (!inode.file)
        inode.file = std::make_shared<FileState>();
    return inode.file;
}

std::uint64_t FileSystem::addOpen(const InodePtr &inode) {
    auto file = std::make_shared<OpenFile>();
    file->inode = inode;
    file->state = stateOf(*inode);
    file->errorsSeen = file->state->errors;
    file->state->opened.insert(file.get());
    ++inode->opens;
    const std::uint64_t id = m_nextOpen++;
    m_files.emplace(id, std::move(file));
    return id;
}

void FileSystem::dropOpen(std::uint64_t id) {
    const auto found = m_files.find(id);
    if (found == m_files.end())
        return;
    const std::shared_ptr<OpenFile> file = found->second;
    m_files.erase(found);
    file->state->opened.erase(file.get());
    file->ahead.drop();
    m_readAhead.remove(file->ahead);
    if (--file->inode->opens == 0 && file->inode->unlinked)
        spawn(afterLastClose(file->inode));
}

Task<void> FileSystem::afterLastClose(InodePtr inode) {
    ++m_background;
    co_await settle(inode);
    if (inode->opens == 0 && !inode->isGone())
        co_await removeName(inode->parent(), inode->name(), Procedure::remove);
    m_unlinked.erase(inode);
    --m_background;
    m_progress.open();
}

Task<void> FileSystem::open(Request request, InodePtr inode, fuse_file_info info) {
    // Counted before anything is asked, so that an unlink in the meantime keeps the file for us.
    info.fh = addOpen(inode);
    const std::shared_ptr<FileState> state = inode->file;
    const Result<Attributes> now = co_await fetchAttributes(inode);
    if (now.error != 0) {
        dropOpen(info.fh);
        request.fail(now.error);
        co_return;
    }
    const Version version = now.value.version();
    if (!state->pending.isEmpty() || state->pages.matches(version)) {
        info.keep_cache = 1;
    } else {
        // Somebody else has changed the file since its pages were read.
        state->pages = version;
        for (OpenFile *other : state->opened)
            other->ahead.drop();
        m_staleAttributes(inode->id());
    }
    if (!request.answer([&](fuse_req_t target) { return fuse_reply_open(target, &info); }))
        dropOpen(info.fh);
}

Task<void> FileSystem::beginReading(InodePtr inode) {
    const std::shared_ptr<FileState> state = inode->file;
    co_await settle(inode);
    ++state->turns.readersWaiting;
    while (!state->turns.mayRead(state->pending.inFlight()))
        co_await state->settled.wait();
    --state->turns.readersWaiting;
    ++state->turns.reading;
}

void FileSystem::endReading(const InodePtr &inode) {
    --inode->file->turns.reading;
    pump(inode);
    inode->file->settled.open();
}

Task<void> FileSystem::beginExclusive(InodePtr inode) {
    const std::shared_ptr<FileState> state = inode->file;
    co_await settle(inode);
    ++state->turns.changesWaiting;
    while (!state->turns.mayChange(state->pending.inFlight()))
        co_await state->settled.wait();
    --state->turns.changesWaiting;
    state->turns.changing = true;
}

void FileSystem::endExclusive(const InodePtr &inode) {
    inode->file->turns.changing = false;
    pump(inode);
    inode->file->settled.open();
}

Task<int> FileSystem::readRange(InodePtr inode, std::uint64_t offset, char *buffer, std::size_t size,
                                std::uint64_t stream, std::size_t &got) {
    got = 0;
    for (int doubts = 0; got < size;) {
        co_await beginReading(inode);
        const Result<ReadResult> part =
            co_await onHandle<ReadResult>(Procedure::read, inode, [&](const Handle &handle) {
                return m_client.read(handle, offset + got, buffer + got, size - got, stream);
            });
        endReading(inode);
        if (part.error != 0)
            co_return part.error;
        const ReadResult &result = part.value;
        const std::uint64_t reached = offset + got + result.count;
        // The end of the file before its size means that the server could not get the rest. A program that took that
        // for the end would save a cut-off file.
        const bool doubtful = result.hasAttributes && reached < result.attributes.size;
        if ((result.end && doubtful) || (!result.end && result.count == 0)) {
            if (++doubts > 1)
                co_return EIO;
            continue;
        }
        got += result.count;
        if (result.end)
            break;
    }
    co_return 0;
}

Task<void> FileSystem::fetchBlock(InodePtr inode, ReadAhead::BlockPtr block) {
    block->bytes = Buffer(block->length);
    std::size_t got = 0;
    // Two calls of one reader may overlap.
    const std::uint64_t stream = 2 * inode->id() + (block->offset / ReadAhead::blockSize) % 2;
    const int error = co_await readRange(inode, block->offset, block->bytes.data(), block->length, stream, got);
    block->bytes.setSize(got);
    block->settled = true;
    block->valid = error == 0 && got == block->length;
    block->done.open();
}

Task<bool> FileSystem::answerFromBlocks(Request &request, std::vector<ReadAhead::BlockPtr> blocks, std::uint64_t offset,
                                        std::size_t size) {
    std::vector<iovec> parts;
    for (const ReadAhead::BlockPtr &block : blocks) {
        while (!block->settled)
            co_await block->done.wait();
        if (!block->valid || block->dropped)
            co_return false;
        const std::uint64_t from = std::max(offset, block->offset);
        const std::uint64_t to = std::min(offset + size, block->end());
        parts.push_back({block->bytes.data() + (from - block->offset), to - from});
    }
    request.answer(
        [&](fuse_req_t target) { return fuse_reply_iov(target, parts.data(), static_cast<int>(parts.size())); });
    co_return true;
}

Task<void> FileSystem::read(Request request, std::uint64_t id, std::uint64_t offset, std::size_t size) {
    const auto found = m_files.find(id);
    if (found == m_files.end()) {
        request.fail(EBADF);
        co_return;
    }
    const std::shared_ptr<OpenFile> file = found->second;
    const InodePtr inode = file->inode;
    // While the file is also being written, what was read ahead would be thrown away at once.
    if (file->state->pending.isEmpty()) {
        const std::size_t room = m_readAhead.room(file->ahead, EventLoop::Clock::now());
        dropIdleLater();
        for (ReadAhead::BlockPtr &block : file->ahead.note(offset, size, file->state->size, room))
            spawn(fetchBlock(inode, std::move(block)));
        const std::uint64_t known = file->state->size;
        std::vector<ReadAhead::BlockPtr> blocks;
        if (offset + size <= known)
            blocks = file->ahead.covering(offset, size);
        if (!blocks.empty()) {
            const bool answered = co_await answerFromBlocks(request, std::move(blocks), offset, size);
            if (answered)
                co_return;
        }
    }
    Buffer buffer(size);
    std::size_t got = 0;
    const int error = co_await readRange(inode, offset, buffer.data(), size, 0, got);
    if (error != 0)
        request.fail(error);
    else
        request.answer([&](fuse_req_t target) { return fuse_reply_buf(target, buffer.data(), got); });
}

void FileSystem::dropIdleLater() {
    const auto next = m_readAhead.nextIdle();
    if (!next || std::exchange(m_dropArmed, true))
        return;
    m_loop.at(*next, [this] {
        m_dropArmed = false;
        m_readAhead.dropIdle(EventLoop::Clock::now());
        malloc_trim(0);
        dropIdleLater();
    });
}

void FileSystem::changed(Inode &inode) {
    inode.changed = ++m_sequence;
    if (!inode.file)
        return;
    for (OpenFile *file : inode.file->opened)
        file->ahead.drop();
}

int FileSystem::takeError(OpenFile &file) {
    if (file.state->errors == file.errorsSeen)
        return 0;
    file.errorsSeen = file.state->errors;
    return file.state->lastError;
}

void FileSystem::write(Request request, std::uint64_t id, std::uint64_t offset, std::string_view bytes, Buffer block,
                       bool fromPageCache) {
    const auto found = m_files.find(id);
    const int error = found == m_files.end() ? EBADF : takeError(*found->second);
    if (error != 0) {
        request.fail(error);
        return;
    }
    const InodePtr inode = found->second->inode;
    FileState &state = *inode->file;
    found->second->uncommitted = true;
    if (state.pending.isEmpty())
        ++m_pendingFiles;
    m_pendingBytes -= state.pending.bytes();
    const std::uint64_t sequence = block.size() > 0 ? state.pending.accept(offset, std::move(block))
                                                    : state.pending.accept(offset, bytes.data(), bytes.size());
    m_pendingBytes += state.pending.bytes();
    clock_gettime(CLOCK_REALTIME, &state.written);
    changed(*inode);
    pump(inode);
    spawn(finishWrite(std::move(request), found->second, sequence, bytes.size(), fromPageCache));
}

Task<void> FileSystem::finishWrite(Request request, std::shared_ptr<OpenFile> file, std::uint64_t sequence,
                                   std::size_t size, bool fromPageCache) {
    const std::shared_ptr<FileState> state = file->state;
    const std::uint64_t errorsBefore = state->errors;
    if (fromPageCache) {
        // The kernel does this behind the program's back anyway; it learns of errors only from the answer.
        state->pending.seal();
        pump(file->inode);
        while (!state->pending.isDone(sequence))
            co_await state->settled.wait();
        if (state->errors != errorsBefore) {
            request.fail(state->lastError);
            co_return;
        }
    }
    while (state->pending.bytes() > mostPendingOfFile || state->pending.count() > mostChunksOfFile ||
           (m_pendingBytes > mostPending && !state->pending.isEmpty()))
        co_await state->settled.wait();
    request.answer([&](fuse_req_t target) { return fuse_reply_write(target, size); });
}

void FileSystem::pump(const InodePtr &inode) {
    FileState &state = *inode->file;
    while (state.turns.mayWrite()) {
        WriteBehind::Chunk *chunk = state.pending.nextToSend();
        if (!chunk)
            return;
        const bool afterGap = chunk->offset > state.reach;
        state.reach = std::max(state.reach, chunk->end());
        state.turns.changing = afterGap;
        spawn(send(inode, chunk, afterGap));
    }
}

// Grows the file to `end`. A write beyond the end leaves a gap, which the server forgets to be zeros when it is asked
// for the size at the same moment; a size that was set it remembers.
Task<int> FileSystem::fillGap(InodePtr inode, std::uint64_t end) {
    while (inode->file->pending.inFlight() > 1)
        co_await inode->file->settled.wait();
    // Somebody else may have made it longer meanwhile.
    const Result<Attributes> now = co_await onHandle<Attributes>(
        Procedure::getAttributes, inode, [&](const Handle &handle) { return m_client.getAttributes(handle); });
    if (now.error != 0 || now.value.size >= end)
        co_return now.error;
    AttributeChange change;
    change.size = end;
    const Result<Change> grown = co_await onHandle<Change>(
        Procedure::setAttributes, inode, [&](const Handle &handle) { return m_client.setAttributes(handle, change); });
    if (grown.error == 0)
        noteChange(*inode->file, grown.value);
    co_return grown.error;
}

Task<void> FileSystem::send(InodePtr inode, WriteBehind::Chunk *chunk, bool afterGap) {
    const std::shared_ptr<FileState> state = inode->file;
    std::size_t done = 0;
    int error = 0;
    if (afterGap) {
        // As far as the last of them needs it: a program that writes here and there pays once, not for each place.
        const std::uint64_t end = std::max(chunk->offset, state->pending.lastOffset());
        error = co_await fillGap(inode, end);
        if (error == 0)
            state->reach = std::max(state->reach, end);
        state->turns.changing = false;
        pump(inode);
    }
    while (done < chunk->bytes.size() && error == 0) {
        const Result<WriteResult> part =
            co_await onHandle<WriteResult>(Procedure::write, inode, [&](const Handle &handle) {
                return m_client.write(handle, chunk->offset + done, chunk->bytes.data() + done,
                                      chunk->bytes.size() - done, inode->id());
            });
        error = part.error;
        if (error == 0 && part.value.count == 0)
            error = EIO;
        if (error == 0)
            noteChange(*state, part.value.change);
        done += part.value.count;
    }
    if (error != 0)
        noteError(*state, error);
    if (state->asking > 0 && error == 0)
        state->endWhileAsking = std::max(state->endWhileAsking, chunk->end());
    m_pendingBytes -= chunk->bytes.size();
    state->pending.finish(chunk);
    changed(*inode);
    if (state->pending.isEmpty())
        --m_pendingFiles;
    pump(inode);
    state->settled.open();
    m_progress.open();
}

void FileSystem::noteError(FileState &state, int error) {
    // The kernel's pages hold what the server does not: they must not outlive this error. Nor is it known how far the
    // file reaches on the server, so the next write asks.
    state.pages.known = false;
    state.reach = 0;
    state.lastError = error;
    ++state.errors;
}

Task<void> FileSystem::settle(InodePtr inode) {
    const std::shared_ptr<FileState> state = inode->file;
    if (!state)
        co_return;
    const std::uint64_t sequence = state->pending.seal();
    pump(inode);
    while (!state->pending.isDone(sequence))
        co_await state->settled.wait();
}

Task<void> FileSystem::commit(std::shared_ptr<OpenFile> file, NfsClient::Commit how) {
    const std::shared_ptr<FileState> state = file->state;
    if (!file->uncommitted && how == NfsClient::Commit::close) {
        co_await settle(file->inode);
        co_return;
    }
    file->uncommitted = false;
    const std::uint64_t sequence = state->pending.seal();
    pump(file->inode);
    while (state->pending.hasUnsent())
        co_await state->settled.wait();
    // The server works through a connection in turn, so it may be asked behind the last WRITE without waiting for that
    // one's answer. If it answers this first all the same, it was asked too early.
    while (true) {
        const std::uint64_t stream = file->inode->id();
        const Result<Nothing> done = co_await onHandle<Nothing>(
            Procedure::commit, file->inode, [&](const Handle &handle) { return m_client.commit(handle, how, stream); });
        if (done.error != 0)
            noteError(*state, done.error);
        if (state->pending.isDone(sequence))
            break;
        co_await settle(file->inode);
    }
}

Task<void> FileSystem::flush(Request request, std::uint64_t id, NfsClient::Commit how) {
    const auto found = m_files.find(id);
    if (found == m_files.end()) {
        request.fail(EBADF);
        co_return;
    }
    const std::shared_ptr<OpenFile> file = found->second;
    co_await commit(file, how);
    request.fail(takeError(*file));
}

Task<void> FileSystem::release(Request request, std::uint64_t id) {
    request.fail(0);
    const auto found = m_files.find(id);
    if (found == m_files.end())
        co_return;
    // What programs changed through memory maps may have come after the last close. Nobody is left to be told.
    const std::shared_ptr<OpenFile> file = found->second;
    co_await commit(file, NfsClient::Commit::close);
    dropOpen(id);
}

} // namespace quillmount::mount
