// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QtGlobal>

#include <atomic>
#include <thread>
#include <vector>

namespace quillmount {

/// Stands between the mount and its server, on a thread of its own, and breaks their connections on demand.
class TcpRelay {
public:
    explicit TcpRelay(quint16 target);
    ~TcpRelay();
    Q_DISABLE_COPY_MOVE(TcpRelay)

    quint16 port() const { return m_port; }
    /// Closes every connection that there is.
    void dropAll() { ++m_drops; }
    /// Lets \a count answers of the server pass, then closes the connection instead of passing the next one on: the
    /// server has done what the client will ask for again.
    void swallowAnswerAfter(int count) { m_answersLeft = count; }
    void swallowNothing() { m_answersLeft = -1; }
    /// True while the answer in question is still to come.
    bool isSwallowing() const { return m_answersLeft >= 0; }
    /// How many connections there have been.
    int connections() const { return m_connections; }

private:
    struct Pair {
        int client = -1;
        int server = -1;
    };

    void run();
    void accept();
    bool pass(Pair &pair, bool fromClient);
    void close(Pair &pair);

    quint16 m_target;
    quint16 m_port = 0;
    int m_listener = -1;
    std::vector<Pair> m_pairs;
    std::atomic<bool> m_end{false};
    std::atomic<int> m_answersLeft{-1};
    std::atomic<int> m_drops{0};
    std::atomic<int> m_connections{0};
    std::thread m_thread;
};

} // namespace quillmount
