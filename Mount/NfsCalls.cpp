// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/NfsClient.h"

#include <algorithm>
#include <cstring>

namespace quillmount::mount {
namespace {

using namespace std::chrono_literals;

// How long a call that is lost again and again waits between two attempts, at most.
constexpr std::chrono::milliseconds maxPause = 500ms;
// A listing's answer must fit into what the library accepts as one record; the server counts 512 bytes an entry.
constexpr count3 maxListing = 1 << 20;
// Enough for two names beside "." and ".."; the server refuses less than 1024.
constexpr count3 smallestListing = 2048;

nfs_fh3 wire(Handle &handle) {
    nfs_fh3 result;
    result.data.data_len = static_cast<u_int>(handle.size());
    result.data.data_val = handle.data();
    return result;
}

diropargs3 wire(Handle &folder, std::string &name) {
    return {wire(folder), name.data()};
}

} // namespace

template <class Result, class T, class Args>
Task<void> NfsClient::perform(Reply<T> &reply, Lane lane, std::uint64_t stream, Args *args,
                              int (*start)(rpc_context *, rpc_cb, Args *, void *)) {
    constexpr auto decodeInto = [](void *into, void *data) {
        decode(*static_cast<Reply<T> *>(into), *static_cast<const Result *>(data));
    };
    callStarted();
    // A call whose connection is lost each time, for as long as a silent server is given, must be at fault itself.
    const auto limit = EventLoop::Clock::now() + m_endpoint.deadTimeout;
    std::chrono::milliseconds pause = 1ms;
    while (!m_dead && !m_gone) {
        const std::optional<std::size_t> place = co_await take(lane, stream);
        if (!place)
            break;
        Connection &connection = *m_lanes[static_cast<std::size_t>(lane)].connections[*place];
        auto end = Connection::CallEnd::lost;
        const int error = co_await connect(connection);
        if (error == 0)
            end = co_await connection.call<Args>(start, args, decodeInto, &reply);
        release(lane, *place);
        if (end == Connection::CallEnd::answered) {
            reply.ending = Ending::answered;
            break;
        }
        if (end == Connection::CallEnd::rejected || EventLoop::Clock::now() >= limit) {
            reply.ending = Ending::rejected;
            break;
        }
        reply.repeated = true;
        co_await m_loop.sleep(pause);
        pause = std::min(2 * pause, maxPause);
    }
    m_liveness.callEnded();
}

Task<Reply<Handle>> NfsClient::mountRoot() {
    char path[] = "/";
    constexpr auto start = [](rpc_context *rpc, rpc_cb callback, char *argument, void *data) {
        return rpc_mount3_mnt_async(rpc, callback, argument, data);
    };
    Reply<Handle> answer;
    co_await perform<mountres3>(answer, Lane::mount, 0, path, +start);
    co_return answer;
}

Task<Reply<Attributes>> NfsClient::getAttributes(Handle file) {
    GETATTR3args args{wire(file)};
    Reply<Attributes> answer;
    co_await perform<GETATTR3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_getattr_async);
    co_return answer;
}

Task<Reply<Change>> NfsClient::setAttributes(Handle file, AttributeChange change) {
    SETATTR3args args{};
    args.object = wire(file);
    if (change.size) {
        args.new_attributes.size.set_it = 1;
        args.new_attributes.size.set_size3_u.size = *change.size;
    }
    if (change.modified) {
        args.new_attributes.mtime.set_it = SET_TO_CLIENT_TIME;
        args.new_attributes.mtime.set_mtime_u.mtime = wireTime(*change.modified);
    }
    Reply<Change> answer;
    co_await perform<SETATTR3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_setattr_async);
    co_return answer;
}

Task<Reply<FoundFile>> NfsClient::lookup(Handle folder, std::string name) {
    LOOKUP3args args{wire(folder, name)};
    Reply<FoundFile> answer;
    co_await perform<LOOKUP3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_lookup_async);
    co_return answer;
}

Task<Reply<ReadResult>> NfsClient::read(Handle file, std::uint64_t offset, char *buffer, std::size_t size,
                                        std::uint64_t stream) {
    READ3args args{wire(file), offset, static_cast<count3>(size)};
    Reply<ReadResult> answer;
    answer.value.buffer = buffer;
    answer.value.capacity = size;
    const Lane lane = stream != 0 ? Lane::readAhead : Lane::read;
    co_await perform<READ3res>(answer, lane, stream, &args, &rpc_nfs3_read_async);
    co_return answer;
}

Task<Reply<WriteResult>> NfsClient::write(Handle file, std::uint64_t offset, const char *data, std::size_t size,
                                          std::uint64_t stream) {
    WRITE3args args{};
    args.file = wire(file);
    args.offset = offset;
    args.count = static_cast<count3>(size);
    args.stable = FILE_SYNC;
    args.data.data_len = static_cast<u_int>(size);
    args.data.data_val = const_cast<char *>(data); // the library only reads it
    Reply<WriteResult> answer;
    co_await perform<WRITE3res>(answer, Lane::write, stream, &args, &rpc_nfs3_write_async);
    co_return answer;
}

Task<Reply<Nothing>> NfsClient::commit(Handle file, Commit how, std::uint64_t stream) {
    // The whole file in either case: offset and count are free to tell the server which of the two is meant.
    COMMIT3args args{};
    args.file = wire(file);
    args.offset = how == Commit::close ? ~std::uint64_t{0} : 0;
    Reply<Nothing> answer;
    co_await perform<COMMIT3res>(answer, Lane::write, stream, &args, &rpc_nfs3_commit_async);
    co_return answer;
}

Task<Reply<FoundFile>> NfsClient::create(Handle folder, std::string name) {
    CREATE3args args{};
    args.where = wire(folder, name);
    args.how.mode = GUARDED; // UNCHECKED would empty a file that somebody else has just made
    Reply<FoundFile> answer;
    co_await perform<CREATE3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_create_async);
    co_return answer;
}

Task<Reply<FoundFile>> NfsClient::makeDirectory(Handle folder, std::string name) {
    MKDIR3args args{};
    args.where = wire(folder, name);
    args.attributes.mode.set_it = 1;
    args.attributes.mode.set_mode3_u.mode = 0755;
    Reply<FoundFile> answer;
    co_await perform<MKDIR3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_mkdir_async);
    co_return answer;
}

Task<Reply<Nothing>> NfsClient::remove(Handle folder, std::string name) {
    REMOVE3args args{wire(folder, name)};
    Reply<Nothing> answer;
    co_await perform<REMOVE3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_remove_async);
    co_return answer;
}

Task<Reply<Nothing>> NfsClient::removeDirectory(Handle folder, std::string name) {
    RMDIR3args args{wire(folder, name)};
    Reply<Nothing> answer;
    co_await perform<RMDIR3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_rmdir_async);
    co_return answer;
}

Task<Reply<Nothing>> NfsClient::rename(Handle fromFolder, std::string from, Handle toFolder, std::string to) {
    RENAME3args args{wire(fromFolder, from), wire(toFolder, to)};
    Reply<Nothing> answer;
    co_await perform<RENAME3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_rename_async);
    co_return answer;
}

Task<Reply<DirectoryPage>> NfsClient::list(Handle folder, std::uint64_t cookie, std::uint64_t verifier) {
    READDIRPLUS3args args{};
    args.dir = wire(folder);
    args.cookie = cookie;
    std::memcpy(args.cookieverf, &verifier, sizeof verifier);
    args.dircount = maxListing;
    args.maxcount = maxListing;
    Reply<DirectoryPage> answer;
    co_await perform<READDIRPLUS3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_readdirplus_async);
    co_return answer;
}

Task<Reply<DirectoryPage>> NfsClient::peek(Handle folder) {
    READDIR3args args{};
    args.dir = wire(folder);
    args.count = smallestListing;
    Reply<DirectoryPage> answer;
    co_await perform<READDIR3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_readdir_async);
    co_return answer;
}

Task<Reply<SpaceResult>> NfsClient::space(Handle root) {
    FSSTAT3args args{wire(root)};
    Reply<SpaceResult> answer;
    co_await perform<FSSTAT3res>(answer, Lane::metadata, 0, &args, &rpc_nfs3_fsstat_async);
    co_return answer;
}

} // namespace quillmount::mount
