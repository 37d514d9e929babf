// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/InodeTable.h"

#include <algorithm>
#include <cstring>

namespace quillmount::mount {
namespace {

constexpr std::uint64_t rootId = 1; // the kernel's own number for the root

} // namespace

Inode::Inode(InodeTable &table, std::uint64_t id, FileType type)
    : m_table(table)
    , m_id(id)
    , m_type(type) {}

Inode::~Inode() {
    m_table.leavePlace(*this);
    m_table.m_numbers.erase(m_number);
}

bool Inode::isBelowOrSame(const Inode &other) const {
    for (const Inode *step = this; step; step = step->m_parent.get()) {
        if (step == &other)
            return true;
    }
    return false;
}

InodeTable::InodeTable()
    : m_nextId(rootId + 1)
    , m_root(std::make_shared<Inode>(*this, rootId, FileType::directory)) {
    m_root->m_number = rootId;
    m_numbers.insert(rootId);
    m_known.emplace(rootId, m_root);
}

InodeTable::~InodeTable() {
    // Inodes reach back into the table when they go, so they go while it still stands.
    m_known.clear();
    m_root.reset();
}

InodePtr InodeTable::find(std::uint64_t id) const {
    const auto found = m_known.find(id);
    return found == m_known.end() ? nullptr : found->second;
}

InodePtr InodeTable::child(const Inode &folder, std::string_view name) const {
    const auto found = folder.m_children.find(name);
    return found == folder.m_children.end() ? nullptr : found->second->shared_from_this();
}

std::uint64_t InodeTable::numberFor(const Handle &handle) {
    // The handle's bytes make a number that is the same after a restart, which saves programs that remember numbers
    // from reading everything again. It cannot be trusted to be unique: after a rename, old and new file may have the
    // same.
    std::uint64_t number = 0;
    std::memcpy(&number, handle.data(), std::min(handle.size(), sizeof number));
    number &= ~(std::uint64_t{1} << 63);
    while (number <= rootId || m_numbers.contains(number))
        number = (std::uint64_t{1} << 63) | m_nextNumber++;
    m_numbers.insert(number);
    return number;
}

InodePtr InodeTable::obtain(const InodePtr &folder, std::string_view name, FileType type, const Handle &handle) {
    if (InodePtr known = child(*folder, name)) {
        if (known->type() == type) {
            if (!handle.empty())
                known->handle = handle;
            return known;
        }
        detach(*known);
    }
    auto made = std::make_shared<Inode>(*this, m_nextId++, type);
    made->handle = handle;
    made->m_number = numberFor(handle);
    takePlace(made, folder, name);
    return made;
}

void InodeTable::addLookup(const InodePtr &inode) {
    if (inode->m_lookups++ == 0)
        m_known[inode->m_id] = inode;
}

void InodeTable::forget(std::uint64_t id, std::uint64_t count) {
    const auto found = m_known.find(id);
    if (found == m_known.end() || id == rootId)
        return;
    Inode &inode = *found->second;
    inode.m_lookups -= std::min(count, inode.m_lookups);
    if (inode.m_lookups == 0)
        m_known.erase(found);
}

void InodeTable::takePlace(const InodePtr &inode, const InodePtr &folder, std::string_view name) {
    inode->m_parent = folder;
    inode->m_name = name;
    inode->m_gone = false;
    folder->m_children.emplace(inode->m_name, inode.get());
}

void InodeTable::leavePlace(Inode &inode) {
    if (!inode.m_parent)
        return;
    const auto found = inode.m_parent->m_children.find(inode.m_name);
    if (found != inode.m_parent->m_children.end() && found->second == &inode)
        inode.m_parent->m_children.erase(found);
    inode.m_parent.reset();
}

void InodeTable::detach(Inode &inode) {
    dropTree(inode);
    leavePlace(inode);
    inode.m_gone = true;
}

void InodeTable::move(const InodePtr &inode, const InodePtr &folder, std::string_view name) {
    const std::string newName(name);
    if (const InodePtr occupant = child(*folder, newName); occupant && occupant != inode)
        detach(*occupant);
    leavePlace(*inode);
    takePlace(inode, folder, newName);
    dropTree(*inode);
}

void InodeTable::dropHandle(Inode &inode) {
    inode.handle.clear();
    if (inode.names)
        inode.names->forget(); // there are handles in it, too
}

void InodeTable::dropTree(Inode &inode) {
    dropHandle(inode);
    for (const auto &[name, child] : inode.m_children)
        dropTree(*child);
}

void InodeTable::dropHandles(Inode &inode) {
    dropHandle(inode);
    for (Inode *step = inode.m_parent.get(); step && step->m_parent; step = step->m_parent.get())
        dropHandle(*step);
}

} // namespace quillmount::mount
