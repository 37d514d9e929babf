// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/SystemVolumeSetup.h"

#include "App/Concurrency/Background.h"
#include "App/Concurrency/Task.h"
#include "Location/LocationSetup.h"
#include "Platform/OneShot.h"
#include "Platform/Platform.h"
#include "Platform/PlatformError.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QThread>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.location")

constexpr auto lookUpTimeout = 1s;
constexpr std::chrono::milliseconds readyPause = 100ms;
enum Answer { no, yes, none };

std::optional<QString> wayOfOffering() {
    return Platform::current().bundle->infoString(u"QMLocationSetup"_s);
}

QString daemonFile() {
    return QString::fromUtf8(LocationSetup::daemonFile.data(), qsizetype(LocationSetup::daemonFile.size()));
}

// What stands at the path itself, not what a link there leads to.
bool isFolderOfOurs(const QString &path) {
    struct stat found = {};
    return ::lstat(QFile::encodeName(path).constData(), &found) == 0 && S_ISDIR(found.st_mode) &&
           found.st_uid == ::getuid();
}

QCoro::Task<> lookUp(SystemVolumeSetup::Resolver resolver, OneShot<Answer> answer) {
    std::function<int()> ask = [resolver] { return int(resolver()); };
    const int result = co_await inBackground(std::move(ask));
    answer.set(result != 0 ? yes : no);
}

QCoro::Task<> giveUp(OneShot<Answer> answer, std::stop_token stop) {
    const bool slept = co_await Platform::current().clock->sleep(lookUpTimeout, std::move(stop));
    if (slept)
        answer.set(none);
}

} // namespace

SystemVolumeSetup::SystemVolumeSetup(Resolver resolver)
    : SystemVolumeSetup(std::move(resolver), daemonFile()) {}

SystemVolumeSetup::SystemVolumeSetup(Resolver resolver, const QString &daemonFile)
    : m_resolver(std::move(resolver))
    , m_daemonFile(daemonFile) {}

bool SystemVolumeSetup::resolvesHere() {
    addrinfo hints = {};
    hints.ai_flags = AI_NUMERICSERV;
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (::getaddrinfo(LocationSetup::hostName.data(), "2049", &hints, &found) != 0 || !found)
        return false;
    const auto *address = reinterpret_cast<const sockaddr_in *>(found->ai_addr);
    const bool isHere = address && address->sin_addr.s_addr == htonl(INADDR_LOOPBACK);
    ::freeaddrinfo(found);
    return isHere;
}

bool SystemVolumeSetup::isAvailable() const {
    const auto way = wayOfOffering();
    return way == u"on request"_s || way == u"at start"_s;
}

bool SystemVolumeSetup::offersAtStart() const {
    return wayOfOffering() == u"at start"_s;
}

bool SystemVolumeSetup::hasOurDaemonFile() const {
    QFile file(m_daemonFile);
    return file.open(QIODevice::ReadOnly) && LocationSetup::isSetUpFor(file.readAll().toStdString(), ::getuid());
}

bool SystemVolumeSetup::isInstalled() const {
    return isAvailable() && hasOurDaemonFile();
}

QCoro::Task<bool> SystemVolumeSetup::resolvesLocally() {
    const auto kept = m_answer;
    // Without the set-up nobody is asked: the name would go out into the network.
    if (!isInstalled()) {
        kept->reset();
        co_return false;
    }
    if (*kept)
        co_return **kept;
    OneShot<Answer> answer;
    std::stop_source answered;
    spawn(lookUp(m_resolver, answer));
    spawn(giveUp(answer, answered.get_token()));
    const Answer result = co_await answer;
    answered.request_stop();
    if (result == none)
        qCWarning(log, "the name of the drive was not looked up in time");
    else
        *kept = result == yes;
    co_return result == yes;
}

bool SystemVolumeSetup::isReady() const {
    if (!isAvailable())
        return false;
    const MountTable &mounts = *Platform::current().mountTable;
    if (mounts.isMounted(mountPoint()))
        return !mounts.isForeign(mountPoint());
    return isFolderOfOurs(mountPoint());
}

bool SystemVolumeSetup::waitUntilReady(double seconds) {
    const QDeadlineTimer deadline(qint64(seconds * 1000));
    while (!isReady()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(readyPause.count());
    }
    return true;
}

QCoro::Task<VolumeSetup::Outcome> SystemVolumeSetup::run() {
    if (!isAvailable())
        co_return Outcome::notAsked;
    const auto alive = m_answer;
    const Outcome outcome = co_await Platform::current().authorization->run(Authorization::Verb::install);
    alive->reset();
    // Shared by nobody else: this object is gone, and the application ends.
    if (outcome != Outcome::completed || alive.use_count() == 1)
        co_return outcome;
    if (!hasOurDaemonFile()) {
        qCWarning(log, "the set-up ended well, but is not there");
        co_return Outcome::failed;
    }
    try {
        Platform::current().sidebar->add(mountPoint(), hostName());
    } catch (const PlatformError &error) {
        // It is set up all the same; only the file manager may hide it.
        qCWarning(log, "the drive could not be added to the sidebar: %s", error.what());
    }
    co_return outcome;
}

bool SystemVolumeSetup::isRemovable() const {
    if (!isAvailable())
        return false;
    if (QFile::exists(m_daemonFile))
        return hasOurDaemonFile();
    return isFolderOfOurs(mountPoint());
}

QCoro::Task<VolumeSetup::Outcome> SystemVolumeSetup::remove() {
    if (!isAvailable())
        co_return Outcome::notAsked;
    const auto kept = m_answer;
    const Outcome outcome = co_await Platform::current().authorization->run(Authorization::Verb::uninstall);
    kept->reset();
    co_return outcome;
}

void SystemVolumeSetup::removeSidebarEntry() {
    // Nothing of this can be there otherwise; a checkout does not touch the user's list.
    if (!isAvailable())
        return;
    try {
        Platform::current().sidebar->remove(mountPoint());
    } catch (const PlatformError &error) {
        qCWarning(log, "the drive could not be taken out of the sidebar: %s", error.what());
    }
}

void SystemVolumeSetup::cancel() {
    Platform::current().authorization->cancel();
}

} // namespace quillmount
