// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/Moves.h"

#include <linux/fs.h>

#include <cerrno>

namespace quillmount::mount {

Task<int> Moves::unlink(InodePtr folder, std::string name) {
    const InodePtr target = m_table.child(*folder, name);
    int error = 0;
    if (!target) {
        error = co_await m_names.removeFile(folder, name);
        co_return error;
    }
    const std::vector<InodePtr> frozen{target};
    co_await m_handles.freeze(frozen);
    if (target->opens > 0) {
        error = co_await m_unlinked.hide(target);
        if (error == 0)
            m_unlinked.add(target);
    } else {
        error = co_await m_names.removeFile(folder, name);
    }
    m_handles.thaw(frozen);
    // The last close may have happened while the file was being renamed.
    m_unlinked.removeIfClosed(target);
    co_return error;
}

// Makes room for a rename at its destination, as far as the server would not do it as programs expect.
Task<int> Moves::clearPlace(InodePtr folder, std::string name, InodePtr source, InodePtr target, unsigned flags) {
    int error = 0;
    if ((flags & RENAME_NOREPLACE) != 0) {
        const Result<FoundFile> found = co_await m_handles.find(folder, name);
        if (found.error != ENOENT)
            error = found.error == 0 ? EEXIST : found.error;
    } else if (target && target->isDirectory() && (!source || source->isDirectory())) {
        error = co_await m_names.removeFolder(folder, name);
    } else if (target && target->opens > 0) {
        error = co_await m_unlinked.hide(target);
    }
    co_return error;
}

Task<int> Moves::rename(InodePtr folder, std::string name, InodePtr newFolder, std::string newName, unsigned flags) {
    int error = (flags & ~static_cast<unsigned>(RENAME_NOREPLACE)) != 0 ? EINVAL : m_names.check(*newFolder, newName);
    if (error != 0)
        co_return error;
    const InodePtr source = m_table.child(*folder, name);
    const InodePtr target = m_table.child(*newFolder, newName);
    std::vector<InodePtr> frozen;
    if (source)
        frozen.push_back(source);
    // A folder that is replaced is empty, and is asked about while it is being removed.
    if (target && !target->isDirectory())
        frozen.push_back(target);
    co_await m_handles.freeze(frozen);
    error = co_await clearPlace(newFolder, newName, source, target, flags);
    const bool setAside = error == 0 && target && m_unlinked.isHidden(*target);
    if (error == 0)
        error = co_await m_names.move(folder, name, newFolder, newName);
    if (error == 0) {
        if (source)
            m_table.move(source, newFolder, newName);
        else if (const InodePtr occupant = m_table.child(*newFolder, newName))
            m_table.detach(*occupant);
    }
    if (setAside && error == 0) {
        m_unlinked.add(target);
    } else if (setAside) {
        // What was to be replaced goes back to its place.
        const std::string hidden = target->name();
        const int putBack = co_await m_names.move(m_table.root(), hidden, newFolder, newName);
        if (putBack == 0)
            m_table.move(target, newFolder, newName);
    }
    m_handles.thaw(frozen);
    m_unlinked.removeIfClosed(target);
    co_return error;
}

} // namespace quillmount::mount
