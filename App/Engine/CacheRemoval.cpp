// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/CacheRemoval.h"

#include "App/Concurrency/Background.h"
#include "App/Concurrency/Task.h"
#include "App/Support/Paths.h"

#include <QByteArrayList>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QUuid>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <system_error>
#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {

constexpr auto removalMark = ".removed-"_L1;

int removeNow(const QByteArrayList &paths) {
    int failures = 0;
    for (const QByteArray &path : paths) {
        std::error_code error;
        std::filesystem::remove_all(path.toStdString(), error);
        failures += error ? 1 : 0;
    }
    return failures;
}

QCoro::Task<> removeAll(QByteArrayList paths) {
    std::function<int()> work = [paths] { return removeNow(paths); };
    const int failures = co_await inBackground(std::move(work));
    if (failures > 0)
        qCWarning(engineLog, "%d parts of a cache could not be deleted", failures);
}

QByteArrayList entriesOf(const QString &folder, const QStringList &names = {}) {
    QByteArrayList paths;
    const auto all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    const QStringList entries = QDir(folder).entryList(names, all);
    for (const QString &entry : entries)
        paths.append(QFile::encodeName(folder + u'/' + entry));
    return paths;
}

} // namespace

QCoro::Task<> CacheRemoval::begin() {
    const QByteArray path = QFile::encodeName(Paths::cacheDirectory());
    const QByteArray aside = path + QFile::encodeName(removalMark + QUuid::createUuid().toString(QUuid::WithoutBraces));
    // What a link leads to does not go away with the link.
    const QFileInfo cache(Paths::cacheDirectory());
    const bool isOwnFolder = cache.isDir() && !cache.isSymLink();
    if (isOwnFolder && std::rename(path.constData(), aside.constData()) == 0) {
        QByteArrayList paths;
        paths.append(aside);
        spawn(removeAll(std::move(paths)));
        co_return;
    }
    QByteArrayList entries = entriesOf(cache.filePath());
    co_await removeAll(std::move(entries));
}

void CacheRemoval::finish() {
    const QFileInfo cache(Paths::cacheDirectory());
    const QByteArrayList left = entriesOf(cache.path(), {cache.fileName() + removalMark + u'*'});
    if (!left.isEmpty())
        spawn(removeAll(left));
}

} // namespace quillmount
