// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Service/ServerStatus.h"

#include <QJsonArray>

#include <cmath>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr auto secondsFrom1970To2001 = std::chrono::seconds(978'307'200);

std::optional<qint64> wholeNumber(const QJsonValue &value) {
    // What is no whole number leaves whatever stands in for it.
    const qint64 number = value.toInteger(0);
    return number == value.toInteger(1) ? std::optional(number) : std::nullopt;
}

// The members of one object. The first that is not as it has to be makes all of them invalid.
class Members {
public:
    explicit Members(const QJsonObject &object)
        : m_object(object) {}

    [[nodiscard]] bool areValid() const { return m_areValid; }

    [[nodiscard]] bool has(QLatin1StringView name) const {
        const QJsonValue value = m_object.value(name);
        return !value.isUndefined() && !value.isNull();
    }
    QString text(QLatin1StringView name) { return checked(name, m_object.value(name).isString()).toString(); }
    std::optional<QString> optionalText(QLatin1StringView name) {
        return has(name) ? std::optional(text(name)) : std::nullopt;
    }
    qint64 integer(QLatin1StringView name) {
        const auto number = wholeNumber(m_object.value(name));
        return checked(name, number.has_value()).toInteger();
    }
    double number(QLatin1StringView name) { return checked(name, m_object.value(name).isDouble()).toDouble(); }
    QJsonObject object(QLatin1StringView name) { return checked(name, m_object.value(name).isObject()).toObject(); }
    QJsonArray array(QLatin1StringView name) { return checked(name, m_object.value(name).isArray()).toArray(); }
    void invalidate() { m_areValid = false; }

private:
    QJsonValue checked(QLatin1StringView name, bool isOfItsType) {
        m_areValid = m_areValid && isOfItsType;
        return m_object.value(name);
    }

    const QJsonObject m_object;
    bool m_areValid = true;
};

std::optional<ServerBanner> bannerFrom(const QJsonObject &object) {
    Members members(object);
    ServerBanner banner;
    banner.id = members.integer("id"_L1);
    banner.title = members.text("title"_L1);
    banner.body = members.optionalText("body"_L1);
    banner.url = members.optionalText("url"_L1);
    banner.urlLabel = members.optionalText("url_label"_L1);
    banner.level = members.optionalText("level"_L1);
    return members.areValid() ? std::optional(banner) : std::nullopt;
}

std::optional<ServerAd> adFrom(const QJsonObject &object) {
    Members members(object);
    ServerAd ad;
    ad.id = members.integer("id"_L1);
    ad.title = members.text("title"_L1);
    ad.width = members.integer("width"_L1);
    ad.height = members.integer("height"_L1);
    ad.url = members.optionalText("url"_L1);
    ad.mode = members.text("mode"_L1);
    ad.intervalMin = members.integer("interval_min"_L1);
    ad.intervalMax = members.integer("interval_max"_L1);
    ad.durationSec = members.integer("duration_sec"_L1);
    ad.maxPerDay = members.integer("max_per_day"_L1);
    ad.imageUrl = members.text("image_url"_L1);
    return members.areValid() ? std::optional(ad) : std::nullopt;
}

void insert(QJsonObject &object, QLatin1StringView name, const std::optional<QString> &value) {
    if (value)
        object.insert(name, *value);
}

QJsonObject toObject(const ServerBanner &banner) {
    QJsonObject object{{u"id"_s, banner.id}, {u"title"_s, banner.title}};
    insert(object, "body"_L1, banner.body);
    insert(object, "url"_L1, banner.url);
    insert(object, "url_label"_L1, banner.urlLabel);
    insert(object, "level"_L1, banner.level);
    return object;
}

QJsonObject toObject(const ServerAd &ad) {
    QJsonObject object{
        {u"id"_s, ad.id},
        {u"title"_s, ad.title},
        {u"width"_s, ad.width},
        {u"height"_s, ad.height},
        {u"mode"_s, ad.mode},
        {u"interval_min"_s, ad.intervalMin},
        {u"interval_max"_s, ad.intervalMax},
        {u"duration_sec"_s, ad.durationSec},
        {u"max_per_day"_s, ad.maxPerDay},
        {u"image_url"_s, ad.imageUrl},
    };
    insert(object, "url"_L1, ad.url);
    return object;
}

// Absent when it lies further away than a clock can tell.
std::optional<Clock::Instant> instantFrom(double secondsSince2001) {
    constexpr double tenThousandYears = 3.2e11;
    if (!(std::abs(secondsSince2001) < tenThousandYears))
        return std::nullopt;
    const auto since2001 = Clock::Duration(std::llround(secondsSince2001 * 1000));
    return Clock::Instant(secondsFrom1970To2001 + since2001);
}

double secondsSince2001(Clock::Instant instant) {
    return double((instant.time_since_epoch() - secondsFrom1970To2001).count()) / 1000;
}

} // namespace

std::optional<ServerStatus> ServerStatus::fromJson(const QJsonObject &object) {
    Members members(object);
    ServerStatus status;
    if (members.has("banner"_L1)) {
        status.banner = bannerFrom(members.object("banner"_L1));
        if (!status.banner)
            members.invalidate();
    }
    if (members.has("ads"_L1)) {
        for (const QJsonValue &value : members.array("ads"_L1)) {
            const auto ad = value.isObject() ? adFrom(value.toObject()) : std::nullopt;
            if (ad)
                status.ads.append(*ad);
            else
                members.invalidate();
        }
    }
    if (members.has("receivedAt"_L1)) {
        status.receivedAt = instantFrom(members.number("receivedAt"_L1));
        if (!status.receivedAt)
            members.invalidate();
    }
    return members.areValid() ? std::optional(status) : std::nullopt;
}

QJsonObject ServerStatus::toJson() const {
    QJsonObject object;
    if (banner)
        object.insert("banner"_L1, toObject(*banner));
    if (!ads.isEmpty()) {
        QJsonArray array;
        for (const ServerAd &ad : ads)
            array.append(toObject(ad));
        object.insert("ads"_L1, array);
    }
    if (receivedAt)
        object.insert("receivedAt"_L1, secondsSince2001(*receivedAt));
    return object;
}

} // namespace quillmount
