// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace quillmount::mount {

// Bytes that are not set to zero first, which a std::vector would do. The content may start inside the block, so that
// a request's block can be kept whole instead of being copied.
class Buffer {
public:
    Buffer() = default;
    explicit Buffer(std::size_t capacity)
        : m_block(static_cast<char *>(std::malloc(capacity)))
        , m_data(m_block.get())
        , m_capacity(capacity) {
        if (!m_block)
            throw std::bad_alloc();
    }
    // Takes a malloc'ed block whose content is `size` bytes at `data`.
    Buffer(char *block, char *data, std::size_t size)
        : m_block(block)
        , m_data(data)
        , m_size(size)
        , m_capacity(size) {}

    char *data() { return m_data; }
    const char *data() const { return m_data; }
    std::size_t size() const { return m_size; }
    void setSize(std::size_t size) { m_size = size; }
    std::size_t room() const { return m_capacity - m_size; }

    // Makes room for `capacity` bytes in all.
    void reserve(std::size_t capacity) {
        if (capacity <= m_capacity)
            return;
        Buffer larger(capacity);
        std::memcpy(larger.m_data, m_data, m_size);
        larger.m_size = m_size;
        *this = std::move(larger);
    }

    void append(const char *bytes, std::size_t count) {
        if (room() < count)
            reserve(std::max(m_size + count, 2 * m_capacity));
        std::memcpy(m_data + m_size, bytes, count);
        m_size += count;
    }

private:
    struct Free {
        void operator()(char *block) const { std::free(block); }
    };

    std::unique_ptr<char, Free> m_block;
    char *m_data = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

} // namespace quillmount::mount
