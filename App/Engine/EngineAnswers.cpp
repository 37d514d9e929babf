// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/EngineAnswers.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>
#include <limits>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr int maxTransfers = 5;
constexpr auto driveFolderName = "Quillmount"_L1;
constexpr auto driveWebOrigin = "https://drive.google.com"_L1;

// Any number as a whole one; 0 for what is none.
qint64 wholeNumber(const QJsonValue &value) {
    if (!value.isDouble())
        return 0;
    const double number = value.toDouble();
    constexpr double limit = 9.2e18;
    if (std::abs(number) > limit)
        return number < 0 ? std::numeric_limits<qint64>::min() : std::numeric_limits<qint64>::max();
    return value.toInteger(static_cast<qint64>(number));
}

// Its entries; none when one of them is no object.
QJsonArray objects(const QJsonValue &value) {
    const QJsonArray array = value.toArray();
    const bool all = std::ranges::all_of(array, [](const QJsonValue &entry) { return entry.isObject(); });
    return all ? array : QJsonArray();
}

DriveTransfer transferFrom(const QJsonValue &entry) {
    const QString id = entry["name"_L1].toString();
    return {id, id.section(u'/', -1, -1, QString::SectionSkipEmpty),
            static_cast<int>(entry["percentage"_L1].toInteger(0))};
}

} // namespace

QJsonObject EngineAnswers::aboutQuestion() {
    return {{u"fs"_s, u"drive:"_s}};
}

QJsonObject EngineAnswers::listQuestion() {
    return {{u"fs"_s, u"drive:"_s}, {u"remote"_s, QString()}, {u"opt"_s, QJsonObject{{u"dirsOnly"_s, true}}}};
}

std::optional<DriveStats> EngineAnswers::cacheFigures(const QJsonObject &vfsStats) {
    const QJsonValue diskCache = vfsStats.value("diskCache"_L1);
    if (!diskCache.isObject())
        return std::nullopt;
    DriveStats stats;
    stats.uploadsQueued = diskCache["uploadsQueued"_L1].toInteger(0);
    stats.uploadsInProgress = diskCache["uploadsInProgress"_L1].toInteger(0);
    stats.erroredFiles = diskCache["erroredFiles"_L1].toInteger(0);
    stats.cacheBytes = wholeNumber(diskCache["bytesUsed"_L1]);
    return stats;
}

std::optional<EngineAnswers::RecoveredFiles> EngineAnswers::recoveredFiles(const QJsonObject &vfsStats) {
    const QJsonValue setAside = vfsStats.value("setAside"_L1);
    const QString folder = setAside["directory"_L1].toString();
    if (folder.isEmpty())
        return std::nullopt;
    return RecoveredFiles{folder, wholeNumber(setAside["files"_L1])};
}

double EngineAnswers::bytesPerSecond(const QJsonObject &coreStats) {
    return coreStats.value("speed"_L1).toDouble(0);
}

QList<DriveTransfer> EngineAnswers::transfers(const QJsonObject &coreStats) {
    const QJsonArray entries = objects(coreStats.value("transferring"_L1));
    QList<DriveTransfer> transfers;
    for (qsizetype index = 0; index < entries.size() && index < maxTransfers; ++index)
        transfers.append(transferFrom(entries.at(index)));
    return transfers;
}

ErrorMapper::Kind EngineAnswers::lastError(const QJsonObject &coreStats) {
    return ErrorMapper::classify(coreStats.value("lastError"_L1).toString());
}

std::optional<DriveQuota> EngineAnswers::quota(const QJsonObject &about) {
    const qint64 total = wholeNumber(about.value("total"_L1));
    const qint64 used = wholeNumber(about.value("used"_L1));
    if (total < 1)
        return std::nullopt;
    const QJsonValue reported = about.value("free"_L1);
    const qint64 free = reported.isDouble() ? wholeNumber(reported) : used >= total ? 0 : total - std::max(used, 0LL);
    return DriveQuota{total, used, free};
}

std::optional<QUrl> EngineAnswers::folderURL(const QJsonObject &listing) {
    const QJsonArray entries = objects(listing.value("list"_L1));
    for (const QJsonValue &entry : entries) {
        const QJsonValue id = entry["ID"_L1];
        if (entry["Name"_L1].toString() == driveFolderName && id.isString())
            return QUrl(driveWebOrigin + "/drive/folders/"_L1 + id.toString(), QUrl::StrictMode);
    }
    return std::nullopt;
}

} // namespace quillmount
