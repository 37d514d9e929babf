// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Support/Machine.h"

#include <QProcess>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

QString Machine::lacksTerminals() {
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    int other = -1;
    if (terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0)
        other = ::open(::ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const QString reason = QString::fromLocal8Bit(std::strerror(errno));
    const bool works = other >= 0;
    for (const int descriptor : {terminal, other})
        if (descriptor >= 0)
            ::close(descriptor);
    return works ? QString() : u"This needs pseudo-terminals (devpts on /dev/pts and /dev/ptmx): "_s + reason;
}

QString Machine::lacksMountNamespaces() {
    QStringList arguments{u"--mount"_s, u"true"_s};
    if (::geteuid() != 0)
        arguments.prepend(u"--map-root-user"_s);
    QProcess command;
    command.start(u"unshare"_s, arguments);
    if (command.waitForFinished() && command.exitStatus() == QProcess::NormalExit && command.exitCode() == 0)
        return {};
    return u"This needs mounts of its own: root, or user namespaces; in a chroot its root has to be a mount point "
           "(mount --bind ROOT ROOT): "_s +
           QString::fromLocal8Bit(command.readAllStandardError()).trimmed();
}

} // namespace quillmount
