// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Updater.h"

#include <QByteArray>

namespace quillmount {

// The feed of versions: RSS 2.0, with three elements in each item beside its link, whatever their name space:
//
//     <item>
//         <link>https://…</link>                               the page that tells of the version
//         <shortVersionString>1.2</shortVersionString>         or, without one, <version>
//         <os>linux</os>
//     </item>
//
// The last two may be attributes of the item's <enclosure> instead. An item of another system, or of none, is not for
// us.
namespace UpdateFeed {

// What a feed says to whoever has this version of the application. `failed` when it is no feed, or when what is newest
// has no page that may be opened: one at the feed's own host that `isPrivate`.
[[nodiscard]] Updater::State verdict(const QByteArray &feed, const QUrl &feedUrl, const QString &ownVersion);

// Whether a request there reaches none but its host: over TLS, or without leaving this machine. What is written as an
// address counts as this machine, a name such as localhost does not: that is up to the resolver.
[[nodiscard]] bool isPrivate(const QUrl &url);

} // namespace UpdateFeed
} // namespace quillmount
