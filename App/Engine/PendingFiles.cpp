// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/PendingFiles.h"

#include "App/Concurrency/Background.h"
#include "App/Support/Paths.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <filesystem>
#include <functional>
#include <string>
#include <system_error>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

bool isPending(const fs::path &path) {
    QFile file(QFile::decodeName(path.c_str()));
    if (!file.open(QIODevice::ReadOnly))
        return QFile::exists(file.fileName()); // the engine may just have replaced it
    const QJsonDocument entry = QJsonDocument::fromJson(file.readAll());
    return !entry.isObject() || entry.object().value("Dirty"_L1).toBool();
}

int countIn(const fs::path &drive) {
    int count = 0;
    std::error_code error;
    const fs::recursive_directory_iterator end;
    for (fs::recursive_directory_iterator entry(drive, error); !error && entry != end; entry.increment(error))
        count += entry->is_regular_file(error) && isPending(entry->path()) ? 1 : 0;
    return count;
}

// One folder for each remote that the engine has served.
int countAll(const std::string &cache) {
    int count = 0;
    std::error_code error;
    const fs::directory_iterator end;
    for (fs::directory_iterator remote(cache + "/vfsMeta", error); !error && remote != end; remote.increment(error))
        count += countIn(remote->path() / "Quillmount");
    return count;
}

} // namespace

QCoro::Task<qint64> PendingFiles::count() {
    const std::string cache = QFile::encodeName(Paths::cacheDirectory()).toStdString();
    std::function<int()> work = [cache] { return countAll(cache); };
    const int found = co_await inBackground(std::move(work));
    co_return found;
}

} // namespace quillmount
