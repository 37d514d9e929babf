// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxMountWatch.h"

#include "Platform/Linux/MountInfo.h"
#include "Platform/Linux/PlatformLog.h"

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

LinuxMountWatch::LinuxMountWatch(const QString &path)
    : m_path(path)
    , m_name(mountPointName(path).value_or(QFile::encodeName(path))) {
    watchList();
    watchServer();
    // What happened before the watch began is reported too, once there is somebody to hear it.
    QMetaObject::invokeMethod(this, &LinuxMountWatch::check, Qt::QueuedConnection);
}

LinuxMountWatch::~LinuxMountWatch() {
    end();
}

void LinuxMountWatch::watchList() {
    // A descriptor of its own: the kernel remembers with it which state of the list was seen.
    m_list = ::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC);
    if (m_list < 0) {
        const QString error = systemError();
        qCWarning(platformLog) << "the list of mounts cannot be watched:" << error;
        return;
    }
    m_listNotifier = std::make_unique<QSocketNotifier>(m_list, QSocketNotifier::Exception);
    connect(m_listNotifier.get(), &QSocketNotifier::activated, this, &LinuxMountWatch::check);
}

void LinuxMountWatch::watchServer() {
    m_server = MountServerProcess::find(m_path);
    if (!m_server || m_server->descriptor() < 0)
        return;
    m_serverNotifier = std::make_unique<QSocketNotifier>(m_server->descriptor(), QSocketNotifier::Read);
    connect(m_serverNotifier.get(), &QSocketNotifier::activated, this, &LinuxMountWatch::check);
}

void LinuxMountWatch::tend() {
    if (m_ended)
        return;
    if (m_server && m_server->isStopped()) {
        const QString result = m_server->resume() ? u"it goes on now"_s : systemError();
        qCWarning(platformLog, "the mount process %d was stopped; %s", int(m_server->pid()), qPrintable(result));
    }
    check();
}

// An unmount ends the server as well, so the list is looked at first: the end of a server that nobody uses is no news.
void LinuxMountWatch::check() {
    if (m_ended)
        return;
    const auto listed = isListed(m_name);
    if (!listed)
        return;
    if (!*listed) {
        end();
        Q_EMIT unmounted();
    } else if (!m_server || m_server->hasEnded()) {
        end();
        Q_EMIT serverGone();
    }
}

void LinuxMountWatch::end() {
    m_ended = true;
    // The notifier that called may still be on the stack.
    for (auto *notifier : {&m_listNotifier, &m_serverNotifier}) {
        if (*notifier) {
            (*notifier)->setEnabled(false);
            notifier->release()->deleteLater();
        }
    }
    m_server.reset();
    if (m_list >= 0)
        ::close(m_list);
    m_list = -1;
}

} // namespace quillmount
