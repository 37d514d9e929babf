// SPDX-License-Identifier: LicenseRef-Quillmount
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QObject>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QSocketNotifier>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr auto maxLife = 120s;
constexpr auto checkPeriod = 20ms;

// What an engine that answers without a script says: an idle drive.
QJsonValue defaultAnswer(const QString &command) {
    if (command == "vfs/stats"_L1)
        return QJsonObject{
            {u"diskCache"_s, QJsonObject{{u"uploadsQueued"_s, 0}, {u"uploadsInProgress"_s, 0}, {u"bytesUsed"_s, 0}}}};
    if (command == "operations/about"_L1)
        return QJsonObject{{u"total"_s, 1000}, {u"used"_s, 400}, {u"free"_s, 600}};
    return QJsonObject();
}

QByteArray jsonText(const QJsonValue &value) {
    // A document holds no bare values, so those travel in an array that is taken off again.
    const QByteArray text = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return text.mid(1, text.size() - 2);
}

// The signals that reach a program ignored or blocked because the one that started it had them so.
QJsonArray inheritedIgnoredSignals() {
    QJsonArray numbers;
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGUSR1, SIGCHLD}) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN || sigismember(&blocked, number) == 1)
            numbers.append(number);
    }
    return numbers;
}

// What it was started with beside its standard input and outputs: where each descriptor leads. Its own close at an
// exec.
QJsonArray inheritedDescriptors() {
    QJsonArray targets;
    const QStringList open = QDir(u"/proc/self/fd"_s).entryList(QDir::Files | QDir::System);
    for (const QString &entry : open) {
        const int descriptor = entry.toInt();
        const int flags = fcntl(descriptor, F_GETFD);
        if (descriptor > STDERR_FILENO && flags >= 0 && (flags & FD_CLOEXEC) == 0)
            targets.append(QFile::symLinkTarget(u"/proc/self/fd/"_s + entry));
    }
    return targets;
}

} // namespace

// A program that stands where the engine stands and does what a test's script says. In the folder "fake-engine" beside
// its configuration file it reads the script, again before each answer, and records what happens to it:
//   script.json    {"silent": true (it does not listen until that is gone), "ignoreTerminate": true,
//                   "exit": line (it logs that and ends at once),
//                   "answers": {"vfs/stats": {"body": any | "raw": text, "status": n, "silent": true}, …}}
//   record.jsonl   one object a line: {"event": "start" | "ready" | "request" | "signal", "pid": n, …}
// It ends by itself when that folder disappears, and after two minutes at the latest.
class FakeEngine : public QObject {
public:
    // `arguments` are the engine's, without the program's name.
    explicit FakeEngine(const QStringList &arguments);

    // Records the start, then serves the remote control. False when there is no folder to work from, or it is to end.
    [[nodiscard]] bool start();

private:
    [[nodiscard]] QString argument(const QString &name) const;
    [[nodiscard]] QJsonObject script() const;
    void record(QJsonObject event) const;
    void recordStart() const;
    void receiveSignals();
    // Looks after the folder and the script.
    void check();
    void listen();
    void readRequests(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const QString &command, const QByteArray &body, bool authorized);

    QStringList m_arguments;
    QString m_folder;
    QByteArray m_authorization;
    QTcpServer m_server;
    QHash<QTcpSocket *, QByteArray> m_received;
};

FakeEngine::FakeEngine(const QStringList &arguments)
    : m_arguments(arguments)
    , m_folder(QFileInfo(argument(u"--config"_s)).path() + u"/fake-engine"_s) {
    const auto environment = QProcessEnvironment::systemEnvironment();
    const QString credentials = environment.value(u"RCLONE_RC_USER"_s) + u':' + environment.value(u"RCLONE_RC_PASS"_s);
    m_authorization = "Basic " + credentials.toUtf8().toBase64();
}

bool FakeEngine::start() {
    if (!QFileInfo(m_folder).isDir())
        return false;
    recordStart();
    receiveSignals();
    QTimer::singleShot(maxLife, this, [] { QCoreApplication::exit(1); });
    const QJsonValue lastWords = script().value("exit"_L1);
    if (lastWords.isString()) {
        QFile log(argument(u"--log-file"_s));
        if (log.open(QIODevice::Append))
            log.write(lastWords.toString().toUtf8() + '\n');
        return false;
    }
    check();
    record({{u"event"_s, u"ready"_s}});
    auto *timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &FakeEngine::check);
    timer->start(checkPeriod);
    return true;
}

void FakeEngine::check() {
    if (!QFileInfo(m_folder).isDir())
        QCoreApplication::exit(1);
    else if (!m_server.isListening() && !script().value("silent"_L1).toBool())
        listen();
}

QString FakeEngine::argument(const QString &name) const {
    return m_arguments.value(m_arguments.indexOf(name) + 1);
}

QJsonObject FakeEngine::script() const {
    QFile file(m_folder + u"/script.json"_s);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

void FakeEngine::record(QJsonObject event) const {
    event.insert(u"pid"_s, qint64(getpid()));
    QFile file(m_folder + u"/record.jsonl"_s);
    if (file.open(QIODevice::Append))
        file.write(QJsonDocument(event).toJson(QJsonDocument::Compact) + '\n');
}

void FakeEngine::recordStart() const {
    QJsonObject environment;
    const auto variables = QProcessEnvironment::systemEnvironment();
    const QStringList names = variables.keys();
    for (const QString &name : names)
        environment.insert(name, variables.value(name));
    record({{u"event"_s, u"start"_s},
            {u"arguments"_s, QJsonArray::fromStringList(m_arguments)},
            {u"environment"_s, environment},
            {u"ignoredSignals"_s, inheritedIgnoredSignals()},
            {u"descriptors"_s, inheritedDescriptors()},
            {u"directory"_s, QDir::currentPath()},
            {u"leadsSession"_s, getsid(0) == getpid()}});
}

void FakeEngine::receiveSignals() {
    sigset_t caught;
    sigemptyset(&caught);
    for (const int number : {SIGHUP, SIGINT, SIGTERM})
        sigaddset(&caught, number);
    sigprocmask(SIG_BLOCK, &caught, nullptr);
    const int descriptor = signalfd(-1, &caught, SFD_CLOEXEC | SFD_NONBLOCK);
    auto *notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, descriptor] {
        signalfd_siginfo info = {};
        if (read(descriptor, &info, sizeof info) != sizeof info)
            return;
        record({{u"event"_s, u"signal"_s}, {u"signal"_s, int(info.ssi_signo)}});
        if (!script().value("ignoreTerminate"_L1).toBool())
            QCoreApplication::exit(0);
    });
}

void FakeEngine::listen() {
    const quint16 port = argument(u"--rc-addr"_s).section(u':', -1).toUShort();
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readRequests(socket); });
            connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
                m_received.remove(socket);
                socket->deleteLater();
            });
        }
    });
    if (!m_server.listen(QHostAddress::LocalHost, port))
        QCoreApplication::exit(1);
}

void FakeEngine::readRequests(QTcpSocket *socket) {
    QByteArray &received = m_received[socket];
    received += socket->readAll();
    for (;;) {
        const qsizetype end = received.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        // "POST /vfs/stats HTTP/1.1", then one header a line.
        static const QRegularExpression lengthLine(u"(?i)\\ncontent-length: *(\\d+)"_s);
        static const QRegularExpression authorizationLine(u"(?i)\\nauthorization: *([^\\r]*)"_s);
        const QString head = QString::fromLatin1(received.left(end));
        const qsizetype length = lengthLine.match(head).captured(1).toLongLong();
        const bool authorized = authorizationLine.match(head).captured(1).toLatin1() == m_authorization;
        const qsizetype bodyStart = end + 4;
        if (received.size() < bodyStart + length)
            return;
        const QByteArray body = received.mid(bodyStart, length);
        received.remove(0, bodyStart + length);
        answer(socket, head.section(u' ', 1, 1).mid(1), body, authorized);
    }
}

void FakeEngine::answer(QTcpSocket *socket, const QString &command, const QByteArray &body, bool authorized) {
    record({{u"event"_s, u"request"_s},
            {u"command"_s, command},
            {u"body"_s, QString::fromUtf8(body)},
            {u"authorized"_s, authorized}});
    const QJsonObject scripted = script().value("answers"_L1)[command].toObject();
    if (scripted.value("silent"_L1).toBool())
        return;
    const int status = authorized ? scripted.value("status"_L1).toInt(200) : 401;
    QByteArray text = jsonText(scripted.contains("body"_L1) ? scripted.value("body"_L1) : defaultAnswer(command));
    if (scripted.contains("raw"_L1))
        text = scripted.value("raw"_L1).toString().toUtf8();
    QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\nContent-Type: application/json\r\n";
    if (status == 401)
        head += "WWW-Authenticate: Basic realm=\"engine\"\r\n";
    socket->write(head + "Content-Length: " + QByteArray::number(text.size()) + "\r\n\r\n" + text);
}

} // namespace quillmount

int main(int argc, char *argv[]) {
    const QCoreApplication application(argc, argv);
    quillmount::FakeEngine engine(QCoreApplication::arguments().mid(1));
    return engine.start() ? QCoreApplication::exec() : 1;
}
