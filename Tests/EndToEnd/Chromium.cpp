// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/EndToEnd/Chromium.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr int limit = 30'000; // milliseconds

// Both ends, away from the numbers that the browser expects its pipe at.
std::pair<int, int> newPipe() {
    int low[2] = {-1, -1};
    if (::pipe2(low, O_CLOEXEC) != 0)
        throw Chromium::Failure("no pipe");
    const std::pair high(::fcntl(low[0], F_DUPFD_CLOEXEC, 10), ::fcntl(low[1], F_DUPFD_CLOEXEC, 10));
    ::close(low[0]);
    ::close(low[1]);
    return high;
}

} // namespace

Chromium::Chromium(Scheme scheme) {
    const auto [commandsOut, commandsIn] = newPipe();
    const auto [answersOut, answersIn] = newPipe();
    m_toBrowser = commandsIn;
    m_fromBrowser = answersOut;
    m_process.setChildProcessModifier([in = commandsOut, out = answersIn] {
        ::dup2(in, 3);
        ::dup2(out, 4);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, m_profile.path());
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.start(u"chromium"_s,
                    {u"--headless"_s, u"--no-sandbox"_s, u"--disable-gpu"_s, u"--disable-quic"_s, u"--no-first-run"_s,
                     u"--disable-background-networking"_s, u"--disable-component-update"_s, u"--disable-sync"_s,
                     u"--disable-dev-shm-usage"_s, u"--window-size=800,700"_s,
                     u"--user-data-dir="_s + m_profile.filePath(u"profile"_s), u"--remote-debugging-pipe"_s,
                     u"about:blank"_s});
    const bool started = m_process.waitForStarted();
    ::close(commandsOut);
    ::close(answersIn);
    if (!started)
        throw Failure("chromium does not start");
    attach();
    const QJsonObject feature{{"name"_L1, "prefers-color-scheme"_L1},
                              {"value"_L1, scheme == Scheme::dark ? "dark"_L1 : "light"_L1}};
    call(u"Emulation.setEmulatedMedia"_s, {{"features"_L1, QJsonArray{feature}}});
}

Chromium::~Chromium() {
    // It ends with its pipe.
    ::close(m_toBrowser);
    ::close(m_fromBrowser);
    if (!m_process.waitForFinished(limit / 3)) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

void Chromium::attach() {
    const QJsonValue page = call(u"Target.createTarget"_s, {{"url"_L1, "about:blank"_L1}})["targetId"_L1];
    m_session =
        call(u"Target.attachToTarget"_s, {{"targetId"_L1, page}, {"flatten"_L1, true}})["sessionId"_L1].toString();
}

QJsonObject Chromium::nextMessage() {
    for (;;) {
        if (const qsizetype end = m_received.indexOf('\0'); end >= 0) {
            const QByteArray message = m_received.left(end);
            m_received.remove(0, end + 1);
            return QJsonDocument::fromJson(message).object();
        }
        pollfd wait{m_fromBrowser, POLLIN, 0};
        QByteArray piece(1 << 16, Qt::Uninitialized);
        if (::poll(&wait, 1, limit) <= 0)
            throw Failure("the browser does not answer");
        const ssize_t got = ::read(m_fromBrowser, piece.data(), size_t(piece.size()));
        if (got <= 0)
            throw Failure("the browser has ended");
        m_received += piece.left(got);
    }
}

QJsonObject Chromium::call(const QString &method, const QJsonObject &parameters) {
    QJsonObject message{{"id"_L1, ++m_lastCall}, {"method"_L1, method}, {"params"_L1, parameters}};
    if (!m_session.isEmpty())
        message.insert("sessionId"_L1, m_session);
    const QByteArray bytes = QJsonDocument(message).toJson(QJsonDocument::Compact) + '\0';
    if (::write(m_toBrowser, bytes.constData(), size_t(bytes.size())) != bytes.size())
        throw Failure("the browser does not listen");
    for (;;) {
        const QJsonObject answer = nextMessage();
        if (answer["id"_L1].toInt() != m_lastCall)
            continue;
        if (answer.contains("error"_L1))
            throw Failure(qPrintable(method + u": "_s + answer["error"_L1]["message"_L1].toString()));
        return answer["result"_L1].toObject();
    }
}

void Chromium::open(const QUrl &address) {
    call(u"Page.navigate"_s, {{"url"_L1, QString::fromLatin1(address.toEncoded())}});
}

void Chromium::press(const QStringList &keys) {
    static const QMap<QString, QPair<int, QString>> known{
        {u"Tab"_s, {9, QString()}}, {u"Enter"_s, {13, u"\r"_s}}, {u"Space"_s, {32, u" "_s}}};
    for (const QString &name : keys) {
        const auto &[code, text] = known[name];
        QJsonObject key{{"type"_L1, text.isEmpty() ? "rawKeyDown"_L1 : "keyDown"_L1},
                        {"key"_L1, name == "Space"_L1 ? u" "_s : name},
                        {"code"_L1, name},
                        {"windowsVirtualKeyCode"_L1, code},
                        {"text"_L1, text}};
        call(u"Input.dispatchKeyEvent"_s, key);
        key["type"_L1] = "keyUp"_L1;
        key.remove("text"_L1);
        call(u"Input.dispatchKeyEvent"_s, key);
    }
}

QJsonValue Chromium::evaluate(const QString &expression) {
    const QJsonObject parameters{{"expression"_L1, expression}, {"returnByValue"_L1, true}};
    return call(u"Runtime.evaluate"_s, parameters)["result"_L1]["value"_L1];
}

} // namespace quillmount
