// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/GoogleEndpoints.h"

#include "Platform/Platform.h"

#include <QHostAddress>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

bool isUsable(const QUrl &url) {
    // The query is ours; the other parts have no place in an endpoint.
    if (!url.isValid() || url.host().isEmpty() || url.hasQuery() || url.hasFragment() || !url.userInfo().isEmpty())
        return false;
    // A name such as localhost is up to the resolver; only an address says where the request goes.
    return url.scheme() == "https"_L1 || (url.scheme() == "http"_L1 && QHostAddress(url.host()).isLoopback());
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
