// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/KernelEntry.h"

#include "Mount/FileAttributes.h"

#include <unistd.h>

namespace quillmount::mount {
namespace {

constexpr blksize_t preferredTransfer = 256 * 1024;

timespec later(const timespec &a, const timespec &b) {
    const bool first = a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
    return first ? a : b;
}

mode_t typeBits(FileType type) {
    switch (type) {
    case FileType::directory:
        return S_IFDIR;
    case FileType::symlink:
        return S_IFLNK;
    default:
        return S_IFREG;
    }
}

} // namespace

struct stat statOf(const Inode &inode) {
    const Attributes attributes = FileAttributes::current(inode);
    struct stat result {};
    result.st_ino = inode.number();
    result.st_mode = attributes.mode | typeBits(inode.type());
    result.st_nlink = inode.unlinked ? 0 : 1;
    // The drive belongs to whoever mounted it; nobody else can reach it.
    result.st_uid = getuid();
    result.st_gid = getgid();
    result.st_size = static_cast<off_t>(attributes.size);
    result.st_blocks = static_cast<blkcnt_t>((attributes.used + 511) / 512);
    result.st_blksize = preferredTransfer;
    result.st_atim = attributes.accessed;
    result.st_mtim = later(inode.entriesChanged, attributes.modified);
    result.st_ctim = later(later(inode.entriesChanged, inode.statusChanged), attributes.changed);
    return result;
}

fuse_entry_param entryOf(const Inode &inode) {
    fuse_entry_param entry{};
    entry.ino = inode.id();
    entry.generation = 1;
    entry.attr = statOf(inode);
    entry.attr_timeout = entry.entry_timeout = FileAttributes::trustLeft(inode.heard.asked);
    return entry;
}

} // namespace quillmount::mount
