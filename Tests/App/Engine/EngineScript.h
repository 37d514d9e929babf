// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

namespace quillmount {

// A test's side of the engine that follows a script: what it is to do, and what has happened to it.
class EngineScript {
public:
    // `folder` is where the engine's configuration file lies.
    explicit EngineScript(const QString &folder);

    // The executable.
    [[nodiscard]] static QString executable();

    // Sets one entry of the script ("silent", "ignoreTerminate", "exit"); null removes it.
    void set(const QString &name, const QJsonValue &value);
    // What it answers to a command from now on: a JSON value, or more closely {"raw", "status", "silent"}.
    void setAnswer(const QString &command, const QJsonValue &body);
    void setReply(const QString &command, const QJsonObject &reply);
    // The answer to "vfs/stats" of a drive with so many files waiting.
    void setQueuedUploads(int queued, int inProgress = 0);

    // The records of one event ("start", "ready", "request", "signal") in their order.
    [[nodiscard]] QList<QJsonObject> records(const QString &event) const;
    // How often a command was asked.
    [[nodiscard]] int requests(const QString &command) const;
    // How many engines have started.
    [[nodiscard]] int starts() const;
    // Whether the engine of this process has come so far that it answers, or never will by its script.
    [[nodiscard]] bool isReady(qint64 pid) const;
    // The process of the engine started last; 0 before the first.
    [[nodiscard]] qint64 pid() const;

    // Ends the engine started last as a crash does, after it has logged a line.
    void crash(const QString &logFile, const QString &line = {}) const;
    // Ends every engine that a test left, and waits for it.
    void endAll() const;

private:
    void save() const;

    QString m_folder;
    QJsonObject m_script;
};

} // namespace quillmount
