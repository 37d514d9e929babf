// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/OpenFiles.h"

namespace quillmount::mount {

FileContent &OpenFiles::contentOf(Inode &inode) {
    if (!inode.content)
        inode.content = std::make_shared<FileContent>(inode, m_table, m_handles, m_client, m_work);
    return *inode.content;
}

std::uint64_t OpenFiles::add(const InodePtr &inode) {
    auto file = std::make_shared<OpenFile>();
    contentOf(*inode).addOpen(*file);
    file->inode = inode;
    file->content = inode->content;
    ++inode->opens;
    const std::uint64_t id = m_nextId++;
    m_files.emplace(id, std::move(file));
    return id;
}

OpenFilePtr OpenFiles::find(std::uint64_t id) const {
    const auto found = m_files.find(id);
    return found == m_files.end() ? nullptr : found->second;
}

std::vector<OpenFilePtr> OpenFiles::all() const {
    std::vector<OpenFilePtr> files;
    files.reserve(m_files.size());
    for (const auto &[id, file] : m_files)
        files.push_back(file);
    return files;
}

InodePtr OpenFiles::remove(std::uint64_t id) {
    const auto found = m_files.find(id);
    if (found == m_files.end())
        return nullptr;
    const OpenFilePtr file = found->second;
    m_files.erase(found);
    file->content->removeOpen(*file);
    m_reader.close(*file);
    --file->inode->opens;
    return file->inode;
}

} // namespace quillmount::mount
