// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/AuthError.h"

namespace quillmount {

using namespace Qt::StringLiterals;

QString AuthError::description() const {
    switch (m_case) {
    case notConfigured:
        return u"Quillmount can't sign in right now. Please contact support."_s;
    case cancelled:
        return u"Sign-in was cancelled."_s;
    case denied:
        return u"Google access wasn't granted. Try again and leave the Google Drive box ticked."_s;
    case driveNotGranted:
        return u"Google Drive access wasn't allowed. Click Try Again and tick the box that lets Quillmount use Google Drive."_s;
    case timedOut:
        return u"Sign-in took too long. Please try again."_s;
    case exchangeFailed:
        return u"Google didn't confirm the sign-in. Please try again."_s;
    }
    Q_UNREACHABLE();
}

const char *AuthError::what() const noexcept {
    switch (m_case) {
    case notConfigured:
        return "no usable Google client is configured";
    case cancelled:
        return "the sign-in was cancelled";
    case denied:
        return "Google refused access";
    case driveNotGranted:
        return "access to the Drive was not granted";
    case timedOut:
        return "the browser did not come back in time";
    case exchangeFailed:
        return "Google gave no tokens for the code";
    }
    Q_UNREACHABLE();
}

} // namespace quillmount
