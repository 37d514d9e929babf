// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/EventLoop.h"

#include <poll.h>

#include <algorithm>

namespace quillmount::mount {

void EventLoop::remove(Pollable *item) {
    // Only the place is emptied: the loop may be walking along the list right now.
    std::replace(m_items.begin(), m_items.end(), item, static_cast<Pollable *>(nullptr));
}

EventLoop::TimerKey EventLoop::at(Moment moment, std::function<void()> action) {
    const TimerKey key{moment, m_nextTimer++};
    m_timers.emplace(key, std::move(action));
    return key;
}

void EventLoop::runReady() {
    auto &queue = readyQueue();
    while (!queue.empty()) {
        const auto handle = queue.front();
        queue.pop_front();
        handle.resume();
    }
}

void EventLoop::runTimers() {
    const Moment now = Clock::now();
    while (!m_timers.empty() && m_timers.begin()->first.first <= now) {
        const auto node = m_timers.extract(m_timers.begin());
        node.mapped()();
    }
}

int EventLoop::sleepTime() const {
    if (!readyQueue().empty())
        return 0;
    if (m_timers.empty())
        return -1;
    const auto left = m_timers.begin()->first.first - Clock::now();
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    return static_cast<int>(std::clamp<long long>(milliseconds, 0, 60'000));
}

void EventLoop::runUntil(const std::function<bool()> &finished) {
    std::vector<pollfd> descriptors;
    std::vector<Pollable *> polled;
    while (true) {
        runReady();
        if (finished())
            return;
        std::erase(m_items, nullptr);
        for (std::size_t i = 0; i < m_items.size(); ++i) {
            if (m_items[i])
                m_items[i]->beforeSleep();
        }
        descriptors.clear();
        polled.clear();
        for (Pollable *item : m_items) {
            if (item && item->pollDescriptor() >= 0) {
                descriptors.push_back({item->pollDescriptor(), item->pollEvents(), 0});
                polled.push_back(item);
            }
        }
        poll(descriptors.data(), descriptors.size(), sleepTime());
        // Answers are taken before timers run, so that time spent elsewhere is not held against the server.
        for (std::size_t i = 0; i < polled.size(); ++i) {
            const bool present = std::find(m_items.begin(), m_items.end(), polled[i]) != m_items.end();
            if (descriptors[i].revents != 0 && present && polled[i]->pollDescriptor() == descriptors[i].fd)
                polled[i]->pollReady(descriptors[i].revents);
        }
        runTimers();
    }
}

} // namespace quillmount::mount
