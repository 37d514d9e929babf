// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/NfsDecoding.h"

#include <algorithm>
#include <cstring>

namespace quillmount::mount {
namespace {

Handle handleOf(const nfs_fh3 &wired) {
    return {wired.data.data_val, wired.data.data_len};
}

timespec timeOf(const nfstime3 &wired) {
    return {static_cast<time_t>(wired.seconds), static_cast<long>(wired.nseconds)};
}

FileType typeOf(ftype3 wired) {
    switch (wired) {
    case NF3REG:
        return FileType::regular;
    case NF3DIR:
        return FileType::directory;
    case NF3LNK:
        return FileType::symlink;
    default:
        return FileType::other;
    }
}

Attributes attributesOf(const fattr3 &wired) {
    Attributes result;
    result.type = typeOf(wired.type);
    result.mode = wired.mode & 0777U;
    result.size = wired.size;
    result.used = wired.used;
    result.accessed = timeOf(wired.atime);
    result.modified = timeOf(wired.mtime);
    result.changed = timeOf(wired.ctime);
    return result;
}

bool takeAttributes(const post_op_attr &wired, Attributes &into) {
    if (wired.attributes_follow == 0)
        return false;
    into = attributesOf(wired.post_op_attr_u.attributes);
    return true;
}

Change changeOf(const wcc_data &wired) {
    Change result;
    if (wired.before.attributes_follow != 0) {
        const wcc_attr &before = wired.before.pre_op_attr_u.attributes;
        result.before = {true, before.size, static_cast<std::int64_t>(before.mtime.seconds), before.mtime.nseconds};
    }
    result.hasAfter = takeAttributes(wired.after, result.after);
    return result;
}

// The results of CREATE and MKDIR are alike in all but their names.
template <class Ok>
FoundFile newFileOf(const Ok &ok) {
    FoundFile file;
    if (ok.obj.handle_follows != 0)
        file.handle = handleOf(ok.obj.post_op_fh3_u.handle);
    file.hasAttributes = takeAttributes(ok.obj_attributes, file.attributes);
    return file;
}

// The library places the items of a list without regard to their alignment.
template <class T>
T alignedCopy(const T *item) {
    T copy;
    std::memcpy(&copy, static_cast<const void *>(item), sizeof copy);
    return copy;
}

// Notes the status; true when there is more to take.
template <class T>
bool succeeded(Reply<T> &reply, int status) {
    reply.status = status;
    return status == NFS3_OK;
}

} // namespace

nfstime3 wireTime(const timespec &time) {
    constexpr std::int64_t last = 0xFFFFFFFF;
    const std::int64_t seconds = time.tv_sec;
    if (seconds < 0 || seconds > last)
        return {static_cast<u_int>(seconds < 0 ? 0 : last), 0};
    return {static_cast<u_int>(seconds), static_cast<u_int>(time.tv_nsec)};
}

void decode(Reply<Handle> &reply, const mountres3 &result) {
    if (!succeeded(reply, static_cast<int>(result.fhs_status)))
        return;
    const fhandle3 &handle = result.mountres3_u.mountinfo.fhandle;
    reply.value.assign(handle.fhandle3_val, handle.fhandle3_len);
}

void decode(Reply<Attributes> &reply, const GETATTR3res &result) {
    if (succeeded(reply, result.status))
        reply.value = attributesOf(result.GETATTR3res_u.resok.obj_attributes);
}

void decode(Reply<Change> &reply, const SETATTR3res &result) {
    if (succeeded(reply, result.status))
        reply.value = changeOf(result.SETATTR3res_u.resok.obj_wcc);
}

void decode(Reply<FoundFile> &reply, const LOOKUP3res &result) {
    if (!succeeded(reply, result.status))
        return;
    const LOOKUP3resok &ok = result.LOOKUP3res_u.resok;
    reply.value.handle = handleOf(ok.object);
    reply.value.hasAttributes = takeAttributes(ok.obj_attributes, reply.value.attributes);
}

void decode(Reply<ReadResult> &reply, const READ3res &result) {
    if (!succeeded(reply, result.status))
        return;
    const READ3resok &ok = result.READ3res_u.resok;
    reply.value.count = std::min<std::size_t>(ok.data.data_len, reply.value.capacity);
    std::memcpy(reply.value.buffer, ok.data.data_val, reply.value.count);
    reply.value.end = ok.eof != 0;
    reply.value.hasAttributes = takeAttributes(ok.file_attributes, reply.value.attributes);
}

void decode(Reply<WriteResult> &reply, const WRITE3res &result) {
    if (!succeeded(reply, result.status))
        return;
    reply.value.count = result.WRITE3res_u.resok.count;
    reply.value.change = changeOf(result.WRITE3res_u.resok.file_wcc);
}

void decode(Reply<Nothing> &reply, const COMMIT3res &result) {
    reply.status = result.status;
}

void decode(Reply<FoundFile> &reply, const CREATE3res &result) {
    if (succeeded(reply, result.status))
        reply.value = newFileOf(result.CREATE3res_u.resok);
}

void decode(Reply<FoundFile> &reply, const MKDIR3res &result) {
    if (succeeded(reply, result.status))
        reply.value = newFileOf(result.MKDIR3res_u.resok);
}

void decode(Reply<Nothing> &reply, const REMOVE3res &result) {
    reply.status = result.status;
}

void decode(Reply<Nothing> &reply, const RMDIR3res &result) {
    reply.status = result.status;
}

void decode(Reply<Nothing> &reply, const RENAME3res &result) {
    reply.status = result.status;
}

void decode(Reply<DirectoryPage> &reply, const READDIRPLUS3res &result) {
    if (!succeeded(reply, result.status))
        return;
    const READDIRPLUS3resok &ok = result.READDIRPLUS3res_u.resok;
    std::memcpy(&reply.value.verifier, ok.cookieverf, sizeof reply.value.verifier);
    reply.value.end = ok.reply.eof != 0;
    for (const entryplus3 *next = ok.reply.entries; next;) {
        const entryplus3 wired = alignedCopy(next);
        DirectoryEntry entry;
        entry.name = wired.name;
        if (wired.name_handle.handle_follows != 0)
            entry.handle = handleOf(wired.name_handle.post_op_fh3_u.handle);
        entry.hasAttributes = takeAttributes(wired.name_attributes, entry.attributes);
        reply.value.lastCookie = wired.cookie;
        reply.value.entries.push_back(std::move(entry));
        next = wired.nextentry;
    }
}

void decode(Reply<DirectoryPage> &reply, const READDIR3res &result) {
    if (!succeeded(reply, result.status))
        return;
    for (const entry3 *next = result.READDIR3res_u.resok.reply.entries; next;) {
        const entry3 wired = alignedCopy(next);
        DirectoryEntry entry;
        entry.name = wired.name;
        reply.value.entries.push_back(std::move(entry));
        next = wired.nextentry;
    }
}

void decode(Reply<SpaceResult> &reply, const FSSTAT3res &result) {
    if (succeeded(reply, result.status))
        reply.value = {result.FSSTAT3res_u.resok.tbytes, result.FSSTAT3res_u.resok.abytes};
}

} // namespace quillmount::mount
