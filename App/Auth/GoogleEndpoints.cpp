// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/GoogleEndpoints.h"

#include "App/Network/Http.h"
#include "Platform/Platform.h"

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

bool isUsable(const QUrl &url) {
    // The query is ours; the other parts have no place in an endpoint.
    return Http::isPrivate(url) && !url.hasQuery() && !url.hasFragment() && url.userInfo().isEmpty();
}

} // namespace

std::optional<GoogleEndpoints> GoogleEndpoints::current() {
    const Bundle &bundle = *Platform::current().bundle;
    const auto endpoint = [&bundle](const QString &key, const QString &standard) {
        return QUrl(bundle.infoString(key).value_or(standard), QUrl::StrictMode);
    };
    const GoogleEndpoints endpoints = {
        endpoint(u"QMGoogleAuthorizationEndpoint"_s, u"https://accounts.google.com/o/oauth2/v2/auth"_s),
        endpoint(u"QMGoogleTokenEndpoint"_s, u"https://oauth2.googleapis.com/token"_s),
    };
    return isUsable(endpoints.authorization) && isUsable(endpoints.token) ? std::optional(endpoints) : std::nullopt;
}

} // namespace quillmount
