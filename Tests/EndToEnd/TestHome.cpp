// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/EndToEnd/TestHome.h"

#include "Platform/Linux/MountInfo.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QTest>

#include <chrono>
#include <future>
#include <thread>
#include <unistd.h>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr auto callLimit = 20s;

std::optional<QByteArray> contentsOf(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    const QByteArray contents = file.readAll();
    return file.error() == QFile::NoError ? std::optional(contents) : std::nullopt;
}

bool writeTo(const QString &path, const QByteArray &contents) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || file.write(contents) != contents.size())
        return false;
    // QFile does not tell whether closing succeeded, and that is where a file system may say that it has lost data.
    const int last = ::dup(file.handle());
    file.close();
    return last >= 0 && ::close(last) == 0 && file.error() == QFile::NoError;
}

template <typename Result>
std::optional<Result> inThread(std::function<Result()> call) {
    std::promise<Result> promise;
    std::future<Result> result = promise.get_future();
    std::thread([call = std::move(call), promise = std::move(promise)]() mutable {
        promise.set_value(call());
    }).detach();
    if (result.wait_for(callLimit) != std::future_status::ready)
        return std::nullopt;
    return result.get();
}

} // namespace

TestHome::TestHome()
    : m_folder(QDir::tempPath() + u"/quillmount home+XXXXXX"_s) {
    // Blank and plus sign are at home in paths, and mean something else in mount tables and patterns.
    m_folder.setAutoRemove(false);
    m_caretaker = std::make_unique<Caretaker>(path().toUtf8(), mountPoint().toUtf8());
}

TestHome::~TestHome() {
    const bool clean = isQuiet();
    if (!clean && !QTest::currentTestFailed())
        QTest::qFail("processes or a mount are left", __FILE__, __LINE__);
    if (QTest::currentTestFailed())
        tellWhatHappened();
    // A folder with the drive still in it must not be emptied.
    if (endEverything(path().toUtf8(), mountPoint().toUtf8()))
        m_folder.remove();
}

QString TestHome::engineConfiguration() const {
    return path() + u"/.local/share/Quillmount/engine.conf"_s;
}

QString TestHome::engineLog() const {
    return path() + u"/.local/state/Logs/Quillmount/engine.log"_s;
}

QProcessEnvironment TestHome::environment() const {
    QProcessEnvironment environment = google.environment();
    for (const QString &name :
         {u"XDG_DATA_HOME"_s, u"XDG_CACHE_HOME"_s, u"XDG_CONFIG_HOME"_s, u"XDG_STATE_HOME"_s, u"XDG_RUNTIME_DIR"_s,
          u"DBUS_SESSION_BUS_ADDRESS"_s, u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s})
        environment.remove(name);
    environment.insert(u"HOME"_s, path());
    environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    return environment;
}

void TestHome::exportEnvironment() const {
    const QProcessEnvironment wanted = environment();
    const QStringList present = QProcessEnvironment::systemEnvironment().keys();
    for (const QString &name : present)
        if (!wanted.contains(name))
            qunsetenv(name.toLocal8Bit().constData());
    const QStringList names = wanted.keys();
    for (const QString &name : names)
        qputenv(name.toLocal8Bit().constData(), wanted.value(name).toLocal8Bit());
}

QJsonObject TestHome::newToken(int lifetime) {
    return google.control(
        "POST", u"/grants"_s,
        {{"clientId"_L1, clientId()}, {"clientSecret"_L1, clientSecret()}, {"lifetime"_L1, lifetime}});
}

void TestHome::addAccount(const QJsonObject &token) const {
    const QString file = engineConfiguration();
    const QByteArray configuration =
        "[drive]\ntype = drive\nclient_id = " + clientId().toUtf8() + "\nclient_secret = " + clientSecret().toUtf8() +
        "\nscope = drive.file\ntoken = " + QJsonDocument(token).toJson(QJsonDocument::Compact) + "\n";
    if (!QDir().mkpath(QFileInfo(file).path()) || !writeTo(file, configuration) ||
        !QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner))
        throw LocalGoogle::Failure(u"The engine's configuration cannot be written"_s);
}

pid_t TestHome::processNamed(const QByteArray &program) const {
    const QList<ProcessInfo> all = processes();
    for (const ProcessInfo &process : all)
        if (process.program() == program)
            return process.pid;
    return 0;
}

pid_t TestHome::processWith(const QByteArray &argument) const {
    const QList<ProcessInfo> all = processes();
    for (const ProcessInfo &process : all)
        if (process.arguments.contains(argument))
            return process.pid;
    return 0;
}

bool TestHome::isMounted() const {
    return isListed(mountPoint().toUtf8()).value_or(true);
}

bool TestHome::isQuiet() const {
    return engine() == 0 && !isMounted() && QTest::qWaitFor([this] { return processes().isEmpty(); });
}

int TestHome::stallUploads() {
    return google.fault({{"kind"_L1, "stall"_L1}, {"path"_L1, "/upload/"_L1}, {"of"_L1, "request"_L1}});
}

int TestHome::hits(int fault) {
    const QJsonArray faults = google.control("GET", u"/faults"_s)["items"_L1].toArray();
    for (const QJsonValue &entry : faults)
        if (entry["id"_L1].toInt() == fault)
            return entry["hits"_L1].toInt();
    return 0;
}

std::optional<QByteArray> TestHome::onGoogle(const QString &path) const {
    return contentsOf(google.pathOf(u"Quillmount/"_s + path));
}

bool TestHome::save(const QString &path, const QByteArray &contents) const {
    return within([file = mountPoint() + u'/' + path, contents] { return writeTo(file, contents); });
}

std::optional<QByteArray> TestHome::load(const QString &path) const {
    return inThread<std::optional<QByteArray>>([file = mountPoint() + u'/' + path] { return contentsOf(file); })
        .value_or(std::nullopt);
}

bool TestHome::within(std::function<bool()> call) {
    return inThread<bool>(std::move(call)).value_or(false);
}

void TestHome::tellWhatHappened() const {
    const QList<ProcessInfo> all = processes();
    for (const ProcessInfo &process : all)
        qInfo("left: %s", process.description().constData());
    qInfo("mounted: %s", isMounted() ? "yes" : "no");
    for (const QString &log : {engineLog() + u".1"_s, engineLog()})
        if (const auto lines = contentsOf(log))
            qInfo("%ls:\n%s", qUtf16Printable(log), lines->right(4000).constData());
}

QByteArray someBytes(qsizetype count, quint32 seed) {
    QRandomGenerator random(seed);
    QByteArray bytes((count + 3) / 4 * 4, Qt::Uninitialized);
    random.fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    bytes.truncate(count);
    return bytes;
}

} // namespace quillmount
