// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxUserDefaults.h"

#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/PrivateFolder.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

std::optional<qint64> wholeNumber(const QJsonValue &json) {
    // A number that is no integer gives back whichever default it is offered.
    const qint64 number = json.toInteger(0);
    return number == json.toInteger(1) ? std::optional(number) : std::nullopt;
}

std::optional<UserDefaults::Value> fromJson(const QJsonValue &json) {
    if (json.isBool())
        return json.toBool();
    if (json.isString())
        return json.toString();
    if (json.isDouble())
        return wholeNumber(json);
    const QJsonObject wrapped = json.toObject();
    if (wrapped.size() != 1)
        return std::nullopt;
    if (const QJsonValue dictionary = wrapped.value("dictionary"_L1); dictionary.isObject())
        return dictionary.toObject();
    if (const QJsonValue data = wrapped.value("data"_L1); data.isString()) {
        const auto bytes =
            QByteArray::fromBase64Encoding(data.toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        if (bytes)
            return bytes.decoded;
    }
    return std::nullopt;
}

struct ToJson {
    // An integer is written with all its digits, also where a double would round it.
    QJsonValue operator()(qint64 number) const { return number; }
    QJsonValue operator()(bool flag) const { return flag; }
    QJsonValue operator()(const QString &text) const { return text; }
    QJsonValue operator()(const QByteArray &bytes) const {
        return QJsonObject{{u"data"_s, QString::fromLatin1(bytes.toBase64())}};
    }
    QJsonValue operator()(const QJsonObject &dictionary) const { return QJsonObject{{u"dictionary"_s, dictionary}}; }
};

// A rename is safe from a power cut only once its folder is written.
void syncFolder(const QString &path) {
    const int folder = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0)
        return;
    ::fsync(folder);
    ::close(folder);
}

} // namespace

LinuxUserDefaults::LinuxUserDefaults(const QString &file)
    : m_file(file) {}

std::optional<UserDefaults::Value> LinuxUserDefaults::value(const QString &key) const {
    refresh();
    const auto found = m_values.constFind(key);
    return found == m_values.constEnd() ? std::nullopt : fromJson(*found);
}

bool LinuxUserDefaults::set(const QString &key, const Value &value) {
    // What cannot be read must not be replaced either: it may hold more than this one key.
    if (m_isRemoved || !refresh())
        return false;
    QJsonObject changed = m_values;
    changed.insert(key, std::visit(ToJson(), value));
    return save(changed);
}

bool LinuxUserDefaults::remove(const QString &key) {
    if (m_isRemoved || !refresh())
        return false;
    if (!m_values.contains(key))
        return true;
    QJsonObject changed = m_values;
    changed.remove(key);
    return save(changed);
}

void LinuxUserDefaults::removeAll() {
    m_isRemoved = true;
    m_values = {};
    m_stamp = std::nullopt;
    const QDir folder(QFileInfo(m_file).path());
    const QStringList files = folder.entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString &name : files)
        if (QFile file(folder.filePath(name)); !file.remove())
            qCWarning(platformLog).noquote() << "the settings cannot be removed:" << file.errorString();
    // A link to the folder goes, and what the user has put into it stays.
    if (QFileInfo(folder.path()).isSymLink())
        QFile::remove(folder.path());
    else
        QDir().rmdir(folder.path());
}

std::optional<LinuxUserDefaults::Stamp> LinuxUserDefaults::stampOf() const {
    struct stat found = {};
    if (::stat(QFile::encodeName(m_file).constData(), &found) != 0)
        return std::nullopt;
    return Stamp{found.st_dev, found.st_ino, found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec};
}

// Brings `m_values` up to date; false when there is a file that cannot be read.
bool LinuxUserDefaults::refresh() const {
    const auto stamp = stampOf();
    if (stamp && stamp == m_stamp)
        return true;
    if (!stamp) {
        const bool missing = errno == ENOENT;
        if (const QString error = systemError(); !missing) {
            qCWarning(platformLog) << "the settings cannot be reached:" << error;
            return false;
        }
        m_values = {};
        m_stamp = std::nullopt;
        return true;
    }
    QFile file(m_file);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(platformLog) << "the settings cannot be read:" << file.errorString();
        return false;
    }
    const QByteArray text = file.readAll();
    if (file.error() != QFile::NoError) {
        qCWarning(platformLog) << "the settings cannot be read:" << file.errorString();
        return false;
    }
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (!document.isObject())
        return setAside() && (m_values.isEmpty() || save(m_values));
    m_values = document.object();
    m_stamp = stamp;
    return true;
}

bool LinuxUserDefaults::setAside() const {
    const QString aside =
        m_file + u".damaged-"_s + QDateTime::currentDateTimeUtc().toString(u"yyyyMMdd'T'HHmmss.zzz'Z'"_s);
    m_stamp = std::nullopt;
    if (!QFile::rename(m_file, aside)) {
        qCCritical(platformLog) << "the settings are damaged and cannot be set aside:" << m_file;
        return false;
    }
    qCCritical(platformLog) << "the settings were damaged; the file is kept as" << aside;
    return true;
}

bool LinuxUserDefaults::save(const QJsonObject &values) const {
    const QString folder = QFileInfo(m_file).path();
    if (!makePrivateFolder(folder)) {
        const QString error = systemError();
        qCWarning(platformLog) << "the settings cannot be kept:" << error;
        return false;
    }
    QSaveFile file(m_file);
    const QByteArray text = QJsonDocument(values).toJson();
    // The mode comes first, so that there is no moment in which another user could open what is in it. On a full disk a
    // write may end early without an error.
    const bool kept = file.open(QIODevice::WriteOnly) &&
                      file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) &&
                      file.write(text) == text.size() && file.commit();
    if (!kept) {
        qCWarning(platformLog) << "the settings cannot be kept:" << file.errorString();
        return false;
    }
    syncFolder(folder);
    m_values = values;
    m_stamp = stampOf();
    return true;
}

} // namespace quillmount
