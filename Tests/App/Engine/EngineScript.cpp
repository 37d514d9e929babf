// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/App/Engine/EngineScript.h"

#include "Tests/Support/TestFiles.h"
#include "Tests/Support/WaitFor.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>

#include <algorithm>
#include <csignal>

namespace quillmount {

using namespace Qt::StringLiterals;

EngineScript::EngineScript(const QString &folder)
    : m_folder(folder + u"/fake-engine"_s) {
    if (!QDir().mkpath(m_folder))
        qFatal("no folder for the scripted engine");
}

QString EngineScript::executable() {
    const QString path = qEnvironmentVariable("FAKE_ENGINE");
    if (path.isEmpty())
        qFatal("FAKE_ENGINE does not name the scripted engine; ctest sets it");
    return path;
}

void EngineScript::set(const QString &name, const QJsonValue &value) {
    if (value.isNull())
        m_script.remove(name);
    else
        m_script.insert(name, value);
    save();
}

void EngineScript::setAnswer(const QString &command, const QJsonValue &body) {
    setReply(command, {{u"body"_s, body}});
}

void EngineScript::setReply(const QString &command, const QJsonObject &reply) {
    QJsonObject answers = m_script.value("answers"_L1).toObject();
    answers.insert(command, reply);
    set(u"answers"_s, answers);
}

void EngineScript::setQueuedUploads(int queued, int inProgress) {
    const QJsonObject diskCache{{u"uploadsQueued"_s, queued}, {u"uploadsInProgress"_s, inProgress}};
    setAnswer(u"vfs/stats"_s, QJsonObject{{u"diskCache"_s, diskCache}});
}

QList<QJsonObject> EngineScript::records(const QString &event) const {
    QList<QJsonObject> found;
    QFile file(m_folder + u"/record.jsonl"_s);
    if (!file.open(QIODevice::ReadOnly))
        return found;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const QJsonObject record = QJsonDocument::fromJson(line).object();
        if (record.value("event"_L1) == event)
            found.append(record);
    }
    return found;
}

int EngineScript::requests(const QString &command) const {
    const QList<QJsonObject> all = records(u"request"_s);
    return static_cast<int>(
        std::ranges::count_if(all, [&](const QJsonObject &request) { return request["command"_L1] == command; }));
}

int EngineScript::starts() const {
    return static_cast<int>(records(u"start"_s).size());
}

bool EngineScript::isReady(qint64 pid) const {
    const QList<QJsonObject> all = records(u"ready"_s);
    return std::ranges::any_of(all, [pid](const QJsonObject &ready) { return ready["pid"_L1].toInteger() == pid; });
}

qint64 EngineScript::pid() const {
    const QList<QJsonObject> all = records(u"start"_s);
    return all.isEmpty() ? 0 : all.last()["pid"_L1].toInteger();
}

void EngineScript::crash(const QString &logFile, const QString &line) const {
    if (!line.isEmpty()) {
        QFile log(logFile);
        if (!log.open(QIODevice::Append) || log.write(line.toUtf8() + '\n') < 0)
            qFatal("the engine's log cannot be written");
    }
    if (const qint64 engine = pid())
        kill(static_cast<pid_t>(engine), SIGKILL);
}

void EngineScript::endAll() const {
    const QList<QJsonObject> all = records(u"start"_s);
    for (const QJsonObject &start : all) {
        const qint64 engine = start["pid"_L1].toInteger();
        // The number may belong to another program by now.
        if (!contentOf(u"/proc/%1/cmdline"_s.arg(engine)).contains(executable().toUtf8()))
            continue;
        kill(static_cast<pid_t>(engine), SIGKILL);
        if (!waitFor([engine] { return !processExists(engine); }))
            qWarning("an engine was left behind");
    }
}

void EngineScript::save() const {
    // At once for its reader: the engine reads it at each request.
    QSaveFile file(m_folder + u"/script.json"_s);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(m_script).toJson()) < 0 || !file.commit())
        qFatal("the engine's script cannot be written");
}

} // namespace quillmount
