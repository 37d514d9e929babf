// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/LiveContent.h"

#include "App/Support/ByteText.h"
#include "App/Support/FileCount.h"

#include <algorithm>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

using Line = RouteDiagram::LineStyle;

Line lineOf(const DriveSnapshot &drive) {
    if (!drive.isOnline)
        return Line::offline;
    return drive.hasErrors() ? Line::fault : Line::live;
}

QString headlineOf(const DriveSnapshot &drive) {
    if (!drive.isOnline)
        return u"You're offline"_s;
    if (drive.hasErrors())
        return fileCount(drive.stats.erroredFiles) + u" couldn't upload yet"_s;
    if (!drive.isBusy())
        return u"Everything is on Google Drive"_s;
    return u"Uploading "_s + fileCount(drive.stats.pendingUploads());
}

QString sublineOf(const DriveSnapshot &drive) {
    if (!drive.isOnline && !drive.isBusy())
        return u"Recent files still open. New changes upload when you're back online."_s;
    if (!drive.isOnline)
        return fileCount(drive.stats.pendingUploads()) +
               u" are saved on this Mac and will upload when you're back online."_s;
    if (drive.hasErrors())
        return u"They're saved on this Mac and Quillmount keeps retrying. If this doesn't clear, get help."_s;
    if (!drive.isBusy())
        return u"Files you save upload a few seconds later."_s;
    const QString keepWorking = u"Keep working; your changes are already saved on this Mac."_s;
    const double speed = drive.stats.bytesPerSecond;
    // A comparison that is false for what is no number; the bound is far above any network and within an integer.
    if (!(speed > 0))
        return keepWorking;
    return byteText(static_cast<qint64>(std::min(speed, 1e18))) + u"/s. "_s + keepWorking;
}

double cacheFractionOf(qint64 bytes, qint64 limit) {
    if (limit <= 0)
        return bytes > 0 ? 1 : 0;
    return std::clamp(double(bytes) / double(limit), 0.0, 1.0);
}

} // namespace

LiveContent LiveContent::of(const DriveSnapshot &drive) {
    LiveContent content;
    content.line = lineOf(drive);
    content.moving = drive.isOnline ? drive.moving() : 0;
    content.headline = headlineOf(drive);
    content.subline = sublineOf(drive);
    if (drive.quota && drive.quota->total >= 1) {
        content.quotaText = byteText(drive.quota->free) + u" free of "_s + byteText(drive.quota->total);
        content.quotaFraction = double(drive.quota->used) / double(drive.quota->total);
    }
    content.cacheText = byteText(drive.stats.cacheBytes) + u" of "_s + byteText(drive.cacheLimit) + u" max"_s;
    content.cacheFraction = cacheFractionOf(drive.stats.cacheBytes, drive.cacheLimit);
    content.offersHelp = drive.hasErrors();
    return content;
}

} // namespace quillmount
