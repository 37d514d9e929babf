// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace quillmount::standin {

// A TCP port on the loopback interface, one thread for each connection.
class Listener {
public:
    enum class Mode {
        open,
        refuse, // The port refuses connections, as when nobody listened.
        silent, // Connections are taken and never answered, as when packets are lost.
    };
    // Handles one connection; the descriptor is closed afterwards by the listener.
    using Handler = std::function<void(int descriptor)>;

    // Listens on a free port that the system chooses. Throws StartError.
    explicit Listener(Handler handler);
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    quint16 port() const { return m_port; }
    // Anything but Open also cuts the connections that exist.
    void setMode(Mode mode);
    // Cuts every connection, without a word to the peers.
    void cutConnections();

private:
    struct Connection {
        int descriptor = -1;
        bool finished = false;
        std::thread thread;
    };

    bool openPort(quint16 port);
    void accept();
    void take(int descriptor, bool silent);
    void reap(bool all);

    Handler m_handler;
    quint16 m_port = 0;
    int m_socket = -1;
    int m_wake = -1;
    std::atomic<bool> m_stopping = false;
    std::atomic<Mode> m_mode = Mode::open;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    std::list<Connection> m_connections;
    std::thread m_acceptor;
};

} // namespace quillmount::standin
