// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxWorkspace.h"

#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/SessionBus.h"

#include <QProcess>
#include <QStandardPaths>

namespace quillmount {

using namespace Qt::StringLiterals;

// Not QDesktopServices: where it finds no browser it writes the address to the log.
bool LinuxWorkspace::openURL(const QUrl &url) {
    const QString program = QStandardPaths::findExecutable(u"xdg-open"_s);
    if (program.isEmpty()) {
        qCWarning(platformLog, "xdg-open is not installed: no address can be opened");
        return false;
    }
    QProcess opener;
    opener.setProgram(program);
    opener.setArguments({QString::fromLatin1(url.toEncoded())});
    // What a browser has to say, addresses among it, is not the application's to write.
    opener.setStandardInputFile(QProcess::nullDevice());
    opener.setStandardOutputFile(QProcess::nullDevice());
    opener.setStandardErrorFile(QProcess::nullDevice());
    opener.setProcessEnvironment(SessionBus::usersEnvironment());
    if (opener.startDetached())
        return true;
    qCWarning(platformLog, "xdg-open could not be started");
    return false;
}

} // namespace quillmount
