// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxNetworkPath.h"

#include <QList>

#include <gio/gio.h>
#include <mutex>
#include <optional>
#include <thread>

namespace quillmount {

namespace {

// GLib has one monitor for the whole program, which tells of changes on the thread that asked for it first. So there is
// one thread as well, from the first start of a path until the program ends.
class NetworkThread {
public:
    static NetworkThread &instance() {
        // Never destroyed: its thread uses it until the end.
        static auto *const thread = new NetworkThread;
        return *thread;
    }

    void add(LinuxNetworkPath *path) {
        const std::lock_guard guard(m_mutex);
        if (!m_paths.contains(path))
            m_paths.append(path);
        if (m_isAvailable)
            tell(path);
    }

    void remove(LinuxNetworkPath *path) {
        const std::lock_guard guard(m_mutex);
        m_paths.removeAll(path);
    }

private:
    NetworkThread() {
        std::thread([this] { run(); }).detach();
    }

    void run() {
        GMainContext *context = g_main_context_new();
        g_main_context_push_thread_default(context);
        GNetworkMonitor *network = g_network_monitor_get_default();
        const auto changed = +[](GNetworkMonitor *, gboolean isAvailable, gpointer self) {
            static_cast<NetworkThread *>(self)->report(isAvailable != FALSE);
        };
        g_signal_connect(network, "network-changed", G_CALLBACK(changed), this);
        report(g_network_monitor_get_network_available(network) != FALSE);
        g_main_loop_run(g_main_loop_new(context, FALSE));
    }

    void report(bool isAvailable) {
        const std::lock_guard guard(m_mutex);
        m_isAvailable = isAvailable;
        for (LinuxNetworkPath *path : std::as_const(m_paths))
            tell(path);
    }

    void tell(LinuxNetworkPath *path) const {
        QMetaObject::invokeMethod(
            path, [path, isAvailable = *m_isAvailable] { Q_EMIT path->updated(isAvailable); }, Qt::QueuedConnection);
    }

    std::mutex m_mutex;
    QList<LinuxNetworkPath *> m_paths; // those that are there and have been started
    std::optional<bool> m_isAvailable; // absent until the first answer
};

} // namespace

LinuxNetworkPath::~LinuxNetworkPath() {
    if (m_isStarted)
        NetworkThread::instance().remove(this);
}

void LinuxNetworkPath::start() {
    m_isStarted = true;
    NetworkThread::instance().add(this);
}

} // namespace quillmount
