// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FuseSession.h"

#include <fcntl.h>
#include <poll.h>

#include <cerrno>
#include <cstdlib>

namespace quillmount::mount {

// The library's table of functions. Each finds the files that are meant and starts the coroutine that does the work.
struct FuseOperations {
    static FuseSession &session(fuse_req_t request) { return *static_cast<FuseSession *>(fuse_req_userdata(request)); }

    // Calls `start` with the request and the file, or answers that there is no such file.
    template <class Start>
    static void with(fuse_req_t from, fuse_ino_t id, Start start) {
        FuseSession &self = session(from);
        Request request = self.request(from);
        if (InodePtr inode = self.m_fileSystem.find(id))
            start(self.m_fileSystem, std::move(request), std::move(inode));
        else
            request.fail(ESTALE);
    }

    static void init(void *data, fuse_conn_info *connection) {
        // Without these two the kernel drops pages when another writer changed the size, and otherwise at the next
        // open, which looks at the time as well. With either, our own writes would throw the pages away each time, or
        // a file that grows elsewhere would show zeros.
        connection->want &= ~static_cast<unsigned>(FUSE_CAP_AUTO_INVAL_DATA | FUSE_CAP_EXPLICIT_INVAL_DATA);
        // Data is kept in blocks of our own, so pipes would only add system calls.
        connection->want &= ~static_cast<unsigned>(FUSE_CAP_SPLICE_READ | FUSE_CAP_SPLICE_WRITE | FUSE_CAP_SPLICE_MOVE);
        // The kernel's write-back would hide what other writers do to a file's size.
        connection->want &= ~static_cast<unsigned>(FUSE_CAP_WRITEBACK_CACHE | FUSE_CAP_ATOMIC_O_TRUNC);
        // A listing brings all attributes anyway, and the kernel would only ask for them one by one later.
        connection->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS_AUTO);
        connection->max_read = ReadAhead::blockSize; // must repeat what the mount option says
        connection->max_background = 64;
        connection->congestion_threshold = 48;
        static_cast<FuseSession *>(data)->m_established = true;
    }

    static void lookup(fuse_req_t request, fuse_ino_t parent, const char *name) {
        with(request, parent, [name](FileSystem &files, Request r, InodePtr folder) {
            spawn(files.lookup(std::move(r), std::move(folder), name));
        });
    }

    static void forget(fuse_req_t request, fuse_ino_t id, std::uint64_t count) {
        session(request).m_fileSystem.forget(id, count);
        fuse_reply_none(request);
    }

    static void forgetMany(fuse_req_t request, std::size_t count, fuse_forget_data *items) {
        for (std::size_t i = 0; i < count; ++i)
            session(request).m_fileSystem.forget(items[i].ino, items[i].nlookup);
        fuse_reply_none(request);
    }

    static void getAttributes(fuse_req_t request, fuse_ino_t id, fuse_file_info *) {
        with(request, id, [](FileSystem &files, Request r, InodePtr inode) {
            spawn(files.getAttributes(std::move(r), std::move(inode)));
        });
    }

    static void setAttributes(fuse_req_t request, fuse_ino_t id, struct stat *wanted, int which, fuse_file_info *) {
        with(request, id, [wanted, which](FileSystem &files, Request r, InodePtr inode) {
            spawn(files.setAttributes(std::move(r), std::move(inode), *wanted, which));
        });
    }

    static void makeDirectory(fuse_req_t request, fuse_ino_t parent, const char *name, mode_t) {
        with(request, parent, [name](FileSystem &files, Request r, InodePtr folder) {
            spawn(files.makeDirectory(std::move(r), std::move(folder), name));
        });
    }

    static void makeNode(fuse_req_t request, fuse_ino_t parent, const char *name, mode_t mode, dev_t) {
        if (!S_ISREG(mode)) {
            fuse_reply_err(request, EPERM); // devices, pipes and sockets have no place on Google Drive
            return;
        }
        with(request, parent, [name](FileSystem &files, Request r, InodePtr folder) {
            spawn(files.makeFile(std::move(r), std::move(folder), name));
        });
    }

    static void symlink(fuse_req_t request, const char *, fuse_ino_t, const char *) { fuse_reply_err(request, EPERM); }
    static void link(fuse_req_t request, fuse_ino_t, fuse_ino_t, const char *) { fuse_reply_err(request, EPERM); }
    static void readLink(fuse_req_t request, fuse_ino_t) { fuse_reply_err(request, EINVAL); }

    static void unlink(fuse_req_t request, fuse_ino_t parent, const char *name) {
        with(request, parent, [name](FileSystem &files, Request r, InodePtr folder) {
            spawn(files.unlink(std::move(r), std::move(folder), name));
        });
    }

    static void removeDirectory(fuse_req_t request, fuse_ino_t parent, const char *name) {
        with(request, parent, [name](FileSystem &files, Request r, InodePtr folder) {
            spawn(files.removeDirectory(std::move(r), std::move(folder), name));
        });
    }

    static void rename(fuse_req_t request, fuse_ino_t parent, const char *name, fuse_ino_t newParent,
                       const char *newName, unsigned flags) {
        with(request, parent, [=](FileSystem &files, Request r, InodePtr folder) {
            InodePtr newFolder = files.find(newParent);
            if (newFolder)
                spawn(files.rename(std::move(r), std::move(folder), name, std::move(newFolder), newName, flags));
            else
                r.fail(ESTALE);
        });
    }

    static void create(fuse_req_t request, fuse_ino_t parent, const char *name, mode_t, fuse_file_info *info) {
        with(request, parent, [name, info](FileSystem &files, Request r, InodePtr folder) {
            spawn(files.create(std::move(r), std::move(folder), name, *info));
        });
    }

    static void open(fuse_req_t request, fuse_ino_t id, fuse_file_info *info) {
        with(request, id, [info](FileSystem &files, Request r, InodePtr inode) {
            spawn(files.open(std::move(r), std::move(inode), *info));
        });
    }

    static void read(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info *info) {
        FuseSession &self = session(request);
        spawn(self.m_fileSystem.read(self.request(request), info->fh, static_cast<std::uint64_t>(offset), size));
    }

    static void write(fuse_req_t request, fuse_ino_t, const char *data, std::size_t size, off_t offset,
                      fuse_file_info *info) {
        FuseSession &self = session(request);
        self.m_fileSystem.write(self.request(request), info->fh, static_cast<std::uint64_t>(offset), {data, size},
                                self.takeBlock(data, size), info->writepage != 0);
    }

    static void flush(fuse_req_t request, fuse_ino_t, fuse_file_info *info) {
        FuseSession &self = session(request);
        spawn(self.m_fileSystem.flush(self.request(request), info->fh, NfsClient::Commit::close));
    }

    static void sync(fuse_req_t request, fuse_ino_t, int, fuse_file_info *info) {
        FuseSession &self = session(request);
        spawn(self.m_fileSystem.flush(self.request(request), info->fh, NfsClient::Commit::toDisk));
    }

    static void preallocate(fuse_req_t request, fuse_ino_t id, int mode, off_t offset, off_t length, fuse_file_info *) {
        if (mode != 0) {
            fuse_reply_err(request, EOPNOTSUPP); // there is no room without size, and there are no holes
            return;
        }
        with(request, id, [end = offset + length](FileSystem &files, Request r, InodePtr inode) {
            spawn(files.preallocate(std::move(r), std::move(inode), static_cast<std::uint64_t>(end)));
        });
    }

    static void release(fuse_req_t request, fuse_ino_t, fuse_file_info *info) {
        FuseSession &self = session(request);
        spawn(self.m_fileSystem.release(self.request(request), info->fh));
    }

    static void openFolder(fuse_req_t request, fuse_ino_t id, fuse_file_info *info) {
        with(request, id, [info](FileSystem &files, Request r, const InodePtr &inode) {
            files.openFolder(std::move(r), inode, *info);
        });
    }

    static void readFolder(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info *info) {
        FuseSession &self = session(request);
        spawn(self.m_fileSystem.readFolder(self.request(request), info->fh, static_cast<std::uint64_t>(offset), size,
                                           false));
    }

    static void readFolderPlus(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info *info) {
        FuseSession &self = session(request);
        spawn(self.m_fileSystem.readFolder(self.request(request), info->fh, static_cast<std::uint64_t>(offset), size,
                                           true));
    }

    static void releaseFolder(fuse_req_t request, fuse_ino_t, fuse_file_info *info) {
        FuseSession &self = session(request);
        self.m_fileSystem.releaseFolder(self.request(request), info->fh);
    }

    // Names are on the server as soon as the call that made them is answered.
    static void syncFolder(fuse_req_t request, fuse_ino_t, int, fuse_file_info *) { fuse_reply_err(request, 0); }

    static void space(fuse_req_t request, fuse_ino_t) {
        FuseSession &self = session(request);
        spawn(self.m_fileSystem.space(self.request(request)));
    }

    // What is not set here the library answers with ENOSYS, which the kernel turns into its own way of doing it
    // (locks, copying inside the file system) or into "not supported" (extended attributes).
    static fuse_lowlevel_ops table() {
        fuse_lowlevel_ops result{};
        result.init = init;
        result.lookup = lookup;
        result.forget = forget;
        result.forget_multi = forgetMany;
        result.getattr = getAttributes;
        result.setattr = setAttributes;
        result.mkdir = makeDirectory;
        result.mknod = makeNode;
        result.symlink = symlink;
        result.link = link;
        result.readlink = readLink;
        result.unlink = unlink;
        result.rmdir = removeDirectory;
        result.rename = rename;
        result.create = create;
        result.open = open;
        result.read = read;
        result.write = write;
        result.flush = flush;
        result.fsync = sync;
        result.fallocate = preallocate;
        result.release = release;
        result.opendir = openFolder;
        result.readdir = readFolder;
        result.readdirplus = readFolderPlus;
        result.releasedir = releaseFolder;
        result.fsyncdir = syncFolder;
        result.statfs = space;
        return result;
    }
};

FuseSession::FuseSession(EventLoop &loop, FileSystem &fileSystem, EventLoop::Clock::duration deadTime)
    : m_loop(loop)
    , m_fileSystem(fileSystem)
    , m_deadTime(deadTime) {
    m_fileSystem.onStaleAttributes([this](std::uint64_t id) {
        // A negative offset leaves the pages alone: dropping those would wait for readers that wait for this thread.
        if (m_session && !m_ended)
            fuse_lowlevel_notify_inval_inode(m_session, id, -1, 0);
    });
    m_loop.add(this);
}

FuseSession::~FuseSession() {
    m_loop.remove(this);
    std::free(m_buffer.mem);
}

bool FuseSession::mount(const std::string &source, const std::string &path) {
    const std::string options = "fsname=" + source + ",subtype=quillmount,default_permissions,nodev,nosuid,max_read=" +
                                std::to_string(ReadAhead::blockSize);
    std::string program = "quillmount-mount";
    std::string flag = "-o";
    std::string list = options;
    char *arguments[] = {program.data(), flag.data(), list.data(), nullptr};
    fuse_args parsed = FUSE_ARGS_INIT(3, arguments);
    const fuse_lowlevel_ops operations = FuseOperations::table();
    m_session = fuse_session_new(&parsed, &operations, sizeof operations, this);
    fuse_opt_free_args(&parsed);
    if (!m_session || fuse_session_mount(m_session, path.c_str()) != 0)
        return false;
    m_descriptor = fuse_session_fd(m_session);
    fcntl(m_descriptor, F_SETFL, fcntl(m_descriptor, F_GETFL) | O_NONBLOCK);
    return true;
}

short FuseSession::pollEvents() const {
    return POLLIN;
}

Request FuseSession::request(fuse_req_t from) {
    return {from, m_loop, m_deadTime};
}

Buffer FuseSession::takeBlock(const char *data, std::size_t size) {
    constexpr std::size_t smallestKept = 512 << 10; // less is quicker to copy than to replace
    if (size < smallestKept)
        return {};
    auto *block = static_cast<char *>(std::exchange(m_buffer.mem, nullptr));
    return {block, block + (data - block), size};
}

void FuseSession::pollReady(short) {
    // A few requests a round, so that answers of the server are not kept waiting behind a flood of questions.
    for (int i = 0; i < 8 && !m_ended && !m_stopped; ++i) {
        const int received = fuse_session_receive_buf(m_session, &m_buffer);
        if (received == -EAGAIN || received == -EINTR)
            return;
        if (received <= 0) {
            m_ended = true;
            return;
        }
        fuse_session_process_buf(m_session, &m_buffer);
    }
}

} // namespace quillmount::mount
