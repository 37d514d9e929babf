// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Clock.h"

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace quillmount {

// A notice of the maker's.
struct ServerBanner {
    qint64 id = 0;
    QString title;
    std::optional<QString> body;
    std::optional<QString> url; // of a page to open
    std::optional<QString> urlLabel;
    std::optional<QString> level; // the word for its severity

    bool operator==(const ServerBanner &) const = default;
};

// A sponsored message.
struct ServerAd {
    qint64 id = 0;
    QString title;
    qint64 width = 0; // of its card, in points
    qint64 height = 0;
    std::optional<QString> url; // of the page that a click opens
    QString mode;               // "launch" or "random"
    qint64 intervalMin = 0;     // minutes between two showings
    qint64 intervalMax = 0;
    qint64 durationSec = 0; // on the screen
    qint64 maxPerDay = 0;
    QString imageUrl;

    bool operator==(const ServerAd &) const = default;
};

// What the maker's service answers. Nothing in it is to be trusted: it comes from outside, or from a file that anybody
// may edit.
struct ServerStatus {
    std::optional<ServerBanner> banner;
    QList<ServerAd> ads;
    std::optional<Clock::Instant> receivedAt; // by us; the service does not send it

    bool operator==(const ServerStatus &) const = default;

    // Absent unless every member is of its type and none that is required is missing. Integers are numbers that are
    // whole and fit 64 bits; null counts as missing. Members that are not known are ignored.
    [[nodiscard]] static std::optional<ServerStatus> fromJson(const QJsonObject &object);
    // What `fromJson` reads. Times are seconds since 1 January 2001.
    [[nodiscard]] QJsonObject toJson() const;
};

} // namespace quillmount
