// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Uninstall/Uninstaller.h"

#include "App/Engine/DriveEngine.h"
#include "App/Support/VolumeSetup.h"

#include <QPointer>

namespace quillmount {

using namespace Qt::StringLiterals;

Uninstaller::Uninstaller(DriveEngine &engine, VolumeSetup &volumeSetup, QObject *parent)
    : QObject(parent)
    , m_engine(engine)
    , m_volumeSetup(volumeSetup) {}

QString Uninstaller::consequences() {
    return u"This ejects the drive, signs out, and removes Quillmount's settings and setup from this Mac. Your files stay in Google Drive."_s;
}

QCoro::Task<QString> Uninstaller::run() {
    const QPointer self(this);
    if (m_isRunning)
        co_return {};
    m_isRunning = true;
    const QString reason = co_await remove();
    if (self)
        m_isRunning = false;
    co_return reason;
}

QCoro::Task<QString> Uninstaller::remove() {
    const QPointer self(this);
    co_await m_engine.eject(true);
    if (!self)
        co_return {};
    if (m_engine.isMounted() || m_volumeSetup.isInstalled())
        co_return u"The drive could not be ejected, so nothing was removed. Close what uses it and try again."_s;
    co_return u"Nothing was removed: this version cannot remove itself yet."_s;
}

} // namespace quillmount
