// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Support.h"

#include "App/Support/Brand.h"
#include "App/Support/Paths.h"
#include "Platform/Platform.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QSysInfo>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.support")

QString encoded(const QString &text) {
    return QString::fromLatin1(QUrl::toPercentEncoding(text));
}

// Made by hand: QUrlQuery leaves a "+" as it is, which a mail program takes for a blank.
QUrl message(const QString &address) {
    const QString subject = u"Quillmount "_s + Brand::version() + u" help"_s;
    const QString body = u"What happened:\n\n\nmacOS "_s + QSysInfo::prettyProductName() +
                         u"\nPlease attach the file engine.log that Quillmount just showed in Finder."_s;
    return QUrl(u"mailto:"_s + address + u"?subject="_s + encoded(subject) + u"&body="_s + encoded(body),
                QUrl::StrictMode);
}

} // namespace

QString Support::address() {
    return Platform::current().bundle->infoString(u"QMSupportAddress"_s).value_or(u"support@quillmount.example"_s);
}

void Support::contact() {
    const Platform &platform = Platform::current();
    platform.pasteboard->setText(address());
    if (const QUrl url = message(address()); url.isValid())
        platform.workspace->openURL(url, [] { qCWarning(log, "no mail program opened the message to the support"); });
    // What went wrong before a new start is in the former log.
    QStringList logs;
    for (const QString &path : {Paths::engineLog(), Paths::formerEngineLog()}) {
        if (QFileInfo::exists(path))
            logs.append(path);
    }
    if (!logs.isEmpty())
        platform.workspace->reveal(logs);
}

QUrl Support::driveWebURL() {
    return QUrl(u"https://drive.google.com/drive/my-drive"_s);
}

} // namespace quillmount
