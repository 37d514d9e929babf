// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Settings/AccountText.h"

#include "App/Support/ByteText.h"
#include "App/Support/FileCount.h"

namespace quillmount {

using namespace Qt::StringLiterals;

QString AccountText::email(const AccountSnapshot &account) {
    return account.email.isEmpty() ? u"Not connected"_s : account.email;
}

QString AccountText::storage(const AccountSnapshot &account) {
    if (!account.quota)
        return {};
    return byteText(account.quota->free) + u" free of "_s + byteText(account.quota->total);
}

QString AccountText::footer(const AccountSnapshot &account) {
    if (!account.isSignedIn)
        return {};
    return u"Disconnecting ejects the drive and signs Quillmount out on this Mac. Your files stay in Google Drive."_s;
}

ConfirmationContent AccountText::disconnect(const AccountSnapshot &account) {
    ConfirmationContent content{.title = u"Disconnect your Google account?"_s,
                                .message = u"Your files stay in Google Drive."_s,
                                .action = u"Disconnect"_s};
    if (account.pending() > 0) {
        content.message =
            fileCount(account.pending()) +
            u" haven't finished uploading. Disconnecting now removes them from this Mac before they reach "
            "Google Drive. To keep them, cancel and wait until uploading finishes."_s;
        content.action = u"Disconnect Anyway"_s;
        content.isWarning = true;
    }
    return content;
}

ConfirmationContent AccountText::uninstall(const AccountSnapshot &account) {
    ConfirmationContent content{
        .title = u"Uninstall Quillmount?"_s, .message = account.consequences, .action = u"Uninstall"_s};
    if (account.pending() > 0) {
        content.message =
            fileCount(account.pending()) + u" haven't finished uploading and will be lost. "_s + account.consequences;
        content.action = u"Uninstall Anyway"_s;
        content.isWarning = true;
    }
    return content;
}

} // namespace quillmount
