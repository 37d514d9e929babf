// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace quillmount {

// Stands between the mount and its server, on a thread of its own, and breaks their connections on demand.
class TcpRelay {
public:
    // One call on its way to the server.
    struct Call {
        quint32 id = 0;
        quint32 procedure = 0; // its number in NFS version 3
        QByteArray bytes;      // the whole record, with its mark
    };
    // What becomes of a call: passed on, kept back with all that follows it on its connection until it is asked about
    // again, or answered with a status of NFS version 3 and no attributes.
    struct Verdict {
        enum { pass, hold, answer } kind = pass;
        quint32 status = 0;
    };
    // Decides on the relay's thread.
    using Judge = std::function<Verdict(const Call &)>;

    explicit TcpRelay(quint16 target, Judge judge = {});
    ~TcpRelay();
    Q_DISABLE_COPY_MOVE(TcpRelay)

    quint16 port() const { return m_port; }
    // Closes every connection that there is.
    void dropAll() { ++m_drops; }
    // Closes the next `count` connections as soon as they come.
    void refuseNext(int count) { m_refusals = count; }
    // Lets `count` answers of the server pass, then closes the connection instead of passing the next one on: the
    // server has done what the client will ask for again.
    void swallowAnswerAfter(int count) { m_answersLeft = count; }
    void swallowNothing() { m_answersLeft = -1; }
    // True while the answer in question is still to come.
    bool isSwallowing() const { return m_answersLeft >= 0; }
    // How many times anything came from the server.
    int answers() const { return m_answers; }
    // How many connections there have been.
    int connections() const { return m_connections; }

private:
    struct Pair {
        int client = -1;
        int server = -1;
        QByteArray calls; // what the client sent and was not judged yet
        bool held = false;
    };

    void run();
    void accept();
    bool pass(Pair &pair, bool fromClient);
    bool judge(Pair &pair);
    void close(Pair &pair);

    quint16 m_target;
    Judge m_judge;
    quint16 m_port = 0;
    int m_listener = -1;
    std::vector<Pair> m_pairs;
    std::atomic<bool> m_end{false};
    std::atomic<int> m_answersLeft{-1};
    std::atomic<int> m_drops{0};
    std::atomic<int> m_refusals{0};
    std::atomic<int> m_answers{0};
    std::atomic<int> m_connections{0};
    std::thread m_thread;
};

} // namespace quillmount
