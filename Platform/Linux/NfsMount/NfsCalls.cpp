// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/NfsMount/NfsClient.h"

#include <nfsc/libnfs-raw-mount.h>
#include <nfsc/libnfs-raw-nfs.h>

#include <algorithm>
#include <cstring>

namespace quillmount::nfsmount {
namespace {

using namespace std::chrono_literals;

/// How long a call that is lost again and again waits between two attempts, at most.
constexpr std::chrono::milliseconds longestPause = 500ms;
/// A listing's answer must fit into what the library accepts as one record; the server counts 512 bytes an entry.
constexpr count3 largestListing = 1 << 20;

nfs_fh3 wire(Handle &handle) {
    nfs_fh3 result;
    result.data.data_len = static_cast<u_int>(handle.size());
    result.data.data_val = handle.data();
    return result;
}

diropargs3 wire(Handle &folder, std::string &name) {
    return {wire(folder), name.data()};
}

Handle decoded(const nfs_fh3 &handle) {
    return {handle.data.data_val, handle.data.data_len};
}

timespec decoded(const nfstime3 &time) {
    return {static_cast<time_t>(time.seconds), static_cast<long>(time.nseconds)};
}

Attributes decoded(const fattr3 &wired) {
    Attributes result;
    switch (wired.type) {
    case NF3REG:
        result.type = FileType::Regular;
        break;
    case NF3DIR:
        result.type = FileType::Directory;
        break;
    case NF3LNK:
        result.type = FileType::Symlink;
        break;
    default:
        result.type = FileType::Other;
    }
    result.mode = wired.mode & 0777U;
    result.size = wired.size;
    result.used = wired.used;
    result.accessed = decoded(wired.atime);
    result.modified = decoded(wired.mtime);
    result.changed = decoded(wired.ctime);
    return result;
}

bool decoded(const post_op_attr &wired, Attributes &into) {
    if (wired.attributes_follow == 0)
        return false;
    into = decoded(wired.post_op_attr_u.attributes);
    return true;
}

Change decoded(const wcc_data &wired) {
    Change result;
    if (wired.before.attributes_follow != 0) {
        const wcc_attr &before = wired.before.pre_op_attr_u.attributes;
        result.before = {true, before.size, static_cast<std::int64_t>(before.mtime.seconds), before.mtime.nseconds};
    }
    result.hasAfter = decoded(wired.after, result.after);
    return result;
}

/// The results of CREATE and MKDIR are alike in all but their names.
template <class Ok>
void readNewFile(const Ok &ok, FoundFile &file) {
    if (ok.obj.handle_follows != 0)
        file.handle = decoded(ok.obj.post_op_fh3_u.handle);
    file.hasAttributes = decoded(ok.obj_attributes, file.attributes);
}

std::uint64_t verifierOf(const char *bytes) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

} // namespace

template <class Result, class T, class Args, class Decode>
Task<void> NfsClient::perform(Reply<T> &reply, Lane lane, std::uint64_t stream, Args *args,
                              int (*start)(rpc_context *, rpc_cb, Args *, void *), Decode) {
    constexpr auto decode = [](void *into, void *data) {
        Decode{}(*static_cast<Reply<T> *>(into), *static_cast<const Result *>(data));
    };
    callStarted();
    // A call whose connection is lost each time for as long as a silent server is given must be at fault itself.
    const auto limit = EventLoop::Clock::now() + m_endpoint.deadTimeout;
    std::chrono::milliseconds pause = 1ms;
    while (!m_dead && !m_gone) {
        Connection &connection = choose(lane, stream);
        connection.addLoad(1);
        auto end = Connection::CallEnd::Lost;
        const int error = co_await connect(connection);
        if (error == 0)
            end = co_await connection.call<Args>(start, args, decode, &reply);
        connection.addLoad(-1);
        if (end == Connection::CallEnd::Answered) {
            reply.ending = Ending::Answered;
            break;
        }
        if (end == Connection::CallEnd::Rejected || EventLoop::Clock::now() >= limit) {
            reply.ending = Ending::Rejected;
            break;
        }
        reply.repeated = true;
        co_await m_loop.sleep(pause);
        pause = std::min(2 * pause, longestPause);
    }
    m_liveness.callEnded();
}

Task<Reply<Handle>> NfsClient::mountRoot() {
    char path[] = "/";
    constexpr auto start = [](rpc_context *rpc, rpc_cb callback, char *argument, void *data) {
        return rpc_mount3_mnt_async(rpc, callback, argument, data);
    };
    Reply<Handle> answer;
    co_await perform<mountres3>(answer, Lane::Mount, 0, path, +start,
                                [](Reply<Handle> &reply, const mountres3 &result) {
                                    reply.status = result.fhs_status;
                                    if (result.fhs_status == MNT3_OK) {
                                        const auto &handle = result.mountres3_u.mountinfo.fhandle;
                                        reply.value.assign(handle.fhandle3_val, handle.fhandle3_len);
                                    }
                                });
    co_return answer;
}

Task<Reply<Attributes>> NfsClient::getAttributes(Handle file) {
    GETATTR3args args{wire(file)};
    Reply<Attributes> answer;
    co_await perform<GETATTR3res>(answer, Lane::Metadata, 0, &args, &rpc_nfs3_getattr_async,
                                  [](Reply<Attributes> &reply, const GETATTR3res &result) {
                                      reply.status = result.status;
                                      if (result.status == NFS3_OK)
                                          reply.value = decoded(result.GETATTR3res_u.resok.obj_attributes);
                                  });
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
        args.new_attributes.mtime.set_mtime_u.mtime = {static_cast<u_int>(change.modified->tv_sec),
                                                       static_cast<u_int>(change.modified->tv_nsec)};
    }
    Reply<Change> answer;
    co_await perform<SETATTR3res>(answer, Lane::Metadata, 0, &args, &rpc_nfs3_setattr_async,
                                  [](Reply<Change> &reply, const SETATTR3res &result) {
                                      reply.status = result.status;
                                      if (result.status == NFS3_OK)
                                          reply.value = decoded(result.SETATTR3res_u.resok.obj_wcc);
                                  });
    co_return answer;
}

Task<Reply<FoundFile>> NfsClient::lookup(Handle folder, std::string name) {
    LOOKUP3args args{wire(folder, name)};
    Reply<FoundFile> answer;
    co_await perform<LOOKUP3res>(answer, Lane::Metadata, 0, &args, &rpc_nfs3_lookup_async,
                                 [](Reply<FoundFile> &reply, const LOOKUP3res &result) {
                                     reply.status = result.status;
                                     if (result.status == NFS3_OK) {
                                         const auto &ok = result.LOOKUP3res_u.resok;
                                         reply.value.handle = decoded(ok.object);
                                         reply.value.hasAttributes = decoded(ok.obj_attributes, reply.value.attributes);
                                     }
                                 });
    co_return answer;
}

Task<Reply<ReadResult>> NfsClient::read(Handle file, std::uint64_t offset, char *buffer, std::size_t size, bool ahead) {
    READ3args args{wire(file), offset, static_cast<count3>(size)};
    Reply<ReadResult> answer;
    answer.value.buffer = buffer;
    answer.value.capacity = size;
    co_await perform<READ3res>(answer, ahead ? Lane::ReadAhead : Lane::Read, 0, &args, &rpc_nfs3_read_async,
                               [](Reply<ReadResult> &reply, const READ3res &result) {
                                   reply.status = result.status;
                                   if (result.status != NFS3_OK)
                                       return;
                                   const auto &ok = result.READ3res_u.resok;
                                   // The bytes are valid only inside this callback.
                                   reply.value.count = std::min<std::size_t>(ok.data.data_len, reply.value.capacity);
                                   std::memcpy(reply.value.buffer, ok.data.data_val, reply.value.count);
                                   reply.value.end = ok.eof != 0;
                                   reply.value.hasAttributes = decoded(ok.file_attributes, reply.value.attributes);
                               });
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
    co_await perform<WRITE3res>(answer, Lane::Write, stream, &args, &rpc_nfs3_write_async,
                                [](Reply<WriteResult> &reply, const WRITE3res &result) {
                                    reply.status = result.status;
                                    if (result.status == NFS3_OK) {
                                        reply.value.count = result.WRITE3res_u.resok.count;
                                        reply.value.change = decoded(result.WRITE3res_u.resok.file_wcc);
                                    }
                                });
    co_return answer;
}

Task<Reply<FoundFile>> NfsClient::create(Handle folder, std::string name) {
    CREATE3args args{};
    args.where = wire(folder, name);
    args.how.mode = GUARDED; // UNCHECKED would empty a file that somebody else has just made
    Reply<FoundFile> answer;
    co_await perform<CREATE3res>(answer, Lane::Metadata, 0, &args, &rpc_nfs3_create_async,
                                 [](Reply<FoundFile> &reply, const CREATE3res &result) {
                                     reply.status = result.status;
                                     if (result.status == NFS3_OK)
                                         readNewFile(result.CREATE3res_u.resok, reply.value);
                                 });
    co_return answer;
}

Task<Reply<FoundFile>> NfsClient::makeDirectory(Handle folder, std::string name) {
    MKDIR3args args{};
    args.where = wire(folder, name);
    args.attributes.mode.set_it = 1;
    args.attributes.mode.set_mode3_u.mode = 0755;
    Reply<FoundFile> answer;
    co_await perform<MKDIR3res>(answer, Lane::Metadata, 0, &args, &rpc_nfs3_mkdir_async,
                                [](Reply<FoundFile> &reply, const MKDIR3res &result) {
                                    reply.status = result.status;
                                    if (result.status == NFS3_OK)
                                        readNewFile(result.MKDIR3res_u.resok, reply.value);
                                });
    co_return answer;
}

Task<Reply<Nothing>> NfsClient::remove(Handle folder, std::string name) {
    REMOVE3args args{wire(folder, name)};
    Reply<Nothing> answer;
    co_await perform<REMOVE3res>(answer, Lane::Metadata, 0, &args, &rpc_nfs3_remove_async,
                                 [](Reply<Nothing> &reply, const REMOVE3res &result) { reply.status = result.status; });
    co_return answer;
}

Task<Reply<Nothing>> NfsClient::removeDirectory(Handle folder, std::string name) {
    RMDIR3args args{wire(folder, name)};
    Reply<Nothing> answer;
    co_await perform<RMDIR3res>(answer, Lane::Metadata, 0, &args, &rpc_nfs3_rmdir_async,
                                [](Reply<Nothing> &reply, const RMDIR3res &result) { reply.status = result.status; });
    co_return answer;
}

Task<Reply<Nothing>> NfsClient::rename(Handle fromFolder, std::string from, Handle toFolder, std::string to) {
    RENAME3args args{wire(fromFolder, from), wire(toFolder, to)};
    Reply<Nothing> answer;
    co_await perform<RENAME3res>(answer, Lane::Metadata, 0, &args, &rpc_nfs3_rename_async,
                                 [](Reply<Nothing> &reply, const RENAME3res &result) { reply.status = result.status; });
    co_return answer;
}

Task<Reply<DirectoryPage>> NfsClient::list(Handle folder, std::uint64_t cookie, std::uint64_t verifier) {
    READDIRPLUS3args args{};
    args.dir = wire(folder);
    args.cookie = cookie;
    std::memcpy(args.cookieverf, &verifier, sizeof verifier);
    args.dircount = largestListing;
    args.maxcount = largestListing;
    Reply<DirectoryPage> answer;
    co_await perform<READDIRPLUS3res>(answer, Lane::Metadata, 0, &args, &rpc_nfs3_readdirplus_async,
                                      [](Reply<DirectoryPage> &reply, const READDIRPLUS3res &result) {
                                          reply.status = result.status;
                                          if (result.status != NFS3_OK)
                                              return;
                                          const auto &ok = result.READDIRPLUS3res_u.resok;
                                          reply.value.verifier = verifierOf(ok.cookieverf);
                                          reply.value.end = ok.reply.eof != 0;
                                          for (const entryplus3 *wired = ok.reply.entries; wired;
                                               wired = wired->nextentry) {
                                              DirectoryEntry entry;
                                              entry.name = wired->name;
                                              if (wired->name_handle.handle_follows != 0)
                                                  entry.handle = decoded(wired->name_handle.post_op_fh3_u.handle);
                                              entry.hasAttributes = decoded(wired->name_attributes, entry.attributes);
                                              reply.value.lastCookie = wired->cookie;
                                              reply.value.entries.push_back(std::move(entry));
                                          }
                                      });
    co_return answer;
}

Task<Reply<DirectoryPage>> NfsClient::peek(Handle folder) {
    READDIR3args args{};
    args.dir = wire(folder);
    args.count = 2048; // the server counts 512 bytes a name and refuses less than 1024
    Reply<DirectoryPage> answer;
    co_await perform<READDIR3res>(answer, Lane::Metadata, 0, &args, &rpc_nfs3_readdir_async,
                                  [](Reply<DirectoryPage> &reply, const READDIR3res &result) {
                                      reply.status = result.status;
                                      if (result.status != NFS3_OK)
                                          return;
                                      for (const entry3 *wired = result.READDIR3res_u.resok.reply.entries; wired;
                                           wired = wired->nextentry) {
                                          DirectoryEntry entry;
                                          entry.name = wired->name;
                                          reply.value.entries.push_back(std::move(entry));
                                      }
                                  });
    co_return answer;
}

Task<Reply<SpaceResult>> NfsClient::space(Handle root) {
    FSSTAT3args args{wire(root)};
    Reply<SpaceResult> answer;
    co_await perform<FSSTAT3res>(
        answer, Lane::Metadata, 0, &args, &rpc_nfs3_fsstat_async,
        [](Reply<SpaceResult> &reply, const FSSTAT3res &result) {
            reply.status = result.status;
            if (result.status == NFS3_OK)
                reply.value = {result.FSSTAT3res_u.resok.tbytes, result.FSSTAT3res_u.resok.abytes};
        });
    co_return answer;
}

} // namespace quillmount::nfsmount
