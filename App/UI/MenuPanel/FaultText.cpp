// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/FaultText.h"

namespace quillmount {

using namespace Qt::StringLiterals;

FaultText FaultText::of(ErrorMapper::Kind kind, const QString &supportAddress) {
    switch (kind) {
    case ErrorMapper::Kind::needsReconnect:
        return {
            u"Reconnect your Google account"_s,
            u"Google signed Quillmount out. Reconnect to bring the drive back; your files are safe on Google Drive."_s};
    case ErrorMapper::Kind::offline:
        return {u"Can't reach Google Drive"_s,
                u"Check your internet connection. Quillmount keeps trying on its own."_s};
    case ErrorMapper::Kind::mountRefused:
        return {
            u"The drive didn't connect"_s,
            u"Quit Quillmount, open it again, and click Try Again. If that doesn't work, restart your Mac or email "_s +
                supportAddress + u'.'};
    case ErrorMapper::Kind::diskFull:
        return {u"Your Mac is out of space"_s,
                u"Free up some space on your Mac, or lower how much Quillmount keeps on it in Settings."_s};
    case ErrorMapper::Kind::unknown:
        break;
    }
    return {u"The drive stopped"_s,
            u"Try again. If it keeps happening, email "_s + supportAddress + u" and we'll take a look."_s};
}

} // namespace quillmount
