// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/UpdateFeed.h"

#include <QHostAddress>
#include <QRegularExpression>
#include <QVersionNumber>
#include <QXmlStreamReader>

#include <optional>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

using Status = Updater::Status;

constexpr auto thisSystem = "linux"_L1;

struct Item {
    QString version;
    QString system;
    QString page;
};

void readEnclosure(const QXmlStreamAttributes &attributes, Item &item) {
    QString version;
    for (const QXmlStreamAttribute &attribute : attributes) {
        if (attribute.name() == "os"_L1)
            item.system = attribute.value().toString();
        else if (attribute.name() == "shortVersionString"_L1 || (attribute.name() == "version"_L1 && version.isEmpty()))
            version = attribute.value().toString();
    }
    if (item.version.isEmpty())
        item.version = version;
}

Item readItem(QXmlStreamReader &xml) {
    Item item;
    const auto text = [&xml] { return xml.readElementText(QXmlStreamReader::SkipChildElements).trimmed(); };
    bool isShort = false;
    while (xml.readNextStartElement()) {
        if (xml.name() == "link"_L1) {
            item.page = text();
        } else if (xml.name() == "os"_L1) {
            item.system = text();
        } else if (xml.name() == "shortVersionString"_L1) {
            item.version = text();
            isShort = true;
        } else if (xml.name() == "version"_L1 && !isShort) {
            item.version = text();
        } else {
            if (xml.name() == "enclosure"_L1)
                readEnclosure(xml.attributes(), item);
            xml.skipCurrentElement();
        }
    }
    return item;
}

// Absent when it is no feed, or not all of one.
std::optional<QList<Item>> readItems(const QByteArray &feed) {
    QXmlStreamReader xml(feed);
    if (!xml.readNextStartElement() || xml.name() != "rss"_L1 || !xml.readNextStartElement() ||
        xml.name() != "channel"_L1)
        return std::nullopt;
    QList<Item> items;
    while (xml.readNextStartElement()) {
        if (xml.name() == "item"_L1)
            items.append(readItem(xml));
        else
            xml.skipCurrentElement();
    }
    while (!xml.atEnd())
        xml.readNext();
    return xml.hasError() ? std::nullopt : std::optional(items);
}

// Null for what is no version. 1.0 is 1.
QVersionNumber numberOf(const QString &version) {
    static const QRegularExpression pattern(uR"(\A[0-9][0-9A-Za-z.+-]{0,31}\z)"_s);
    if (!pattern.match(version).hasMatch())
        return {};
    const QVersionNumber number = QVersionNumber::fromString(version).normalized();
    // Normalised, 0 is null as well.
    return number.isNull() ? QVersionNumber(0) : number;
}

bool mayBeOpened(const QUrl &page, const QUrl &feed) {
    return UpdateFeed::isPrivate(page) && page.userInfo().isEmpty() && page.host() == feed.host();
}

} // namespace

Updater::State UpdateFeed::verdict(const QByteArray &feed, const QUrl &feedUrl, const QString &ownVersion) {
    const auto items = readItems(feed);
    if (!items)
        return {Status::failed, {}, {}};
    QVersionNumber newest = numberOf(ownVersion);
    const Item *found = nullptr;
    for (const Item &item : *items) {
        const QVersionNumber number = numberOf(item.version);
        if (item.system != thisSystem || number.isNull() || number <= newest)
            continue;
        newest = number;
        found = &item;
    }
    if (!found)
        return {Status::upToDate, {}, {}};
    const QUrl page(found->page, QUrl::StrictMode);
    if (!mayBeOpened(page, feedUrl))
        return {Status::failed, {}, {}};
    return {Status::available, found->version, page};
}

bool UpdateFeed::isPrivate(const QUrl &url) {
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == "https"_L1 || (url.scheme() == "http"_L1 && QHostAddress(url.host()).isLoopback()));
}

} // namespace quillmount
