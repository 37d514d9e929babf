// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <sys/types.h>

#include <memory>
#include <vector>

namespace quillmount {

class LocalGoogle;

// The real engine serving an ordinary folder over NFS, and real mounts of it, for one test. Nothing outlives the
// object; if the test program itself is killed the engine goes with it, and a mount ends when its engine is gone.
class MountedEngine {
public:
    explicit MountedEngine(const QStringList &extraEngineArguments = {});
    // The same with the folder "Quillmount" of `google`'s account, which must outlive this.
    MountedEngine(const LocalGoogle &google, const QStringList &extraEngineArguments);
    ~MountedEngine();
    MountedEngine(const MountedEngine &) = delete;
    MountedEngine &operator=(const MountedEngine &) = delete;

    // Starts the engine; false when it does not serve within a deadline.
    bool startEngine();
    // Mounts, at `mountPoint()` by default. Gives the exit status of the mount command, -1 when it did not end in
    // time.
    int mount(int deadTimeout = 30) { return mountAt(mountPoint(), port(), deadTimeout); }
    int mountAt(const QString &path, quint16 port, int deadTimeout = 30);
    // What the last mount command wrote on standard error.
    QString complaint() const { return m_complaint; }
    // The command line after the program's name, as the application gives it.
    static QStringList mountArguments(const QString &path, quint16 port, int deadTimeout = 30);
    static QString mountProgram();

    // Unmounts as a file manager does, and waits for the mount's process. False when either does not come about.
    bool unmount() { return unmount(mountPoint()); }
    bool unmount(const QString &path);
    // The process that serves the mount at `path`; -1 when there is none.
    static pid_t mountProcess(const QString &path);
    static bool isMounted(const QString &path);
    // Sends a signal to the engine; after SIGKILL it is gone when this returns.
    void signalEngine(int signal);

    quint16 port() const { return m_port; }
    // A folder without a mount that the test may mount at.
    QString makeMountPoint(const QString &name);
    QString mountPoint() const { return m_directory.filePath(QStringLiteral("mnt")); }
    // The folder that the engine serves.
    QString backend() const { return m_directory.filePath(QStringLiteral("backend")); }
    // Where the engine keeps data and what it has not uploaded yet.
    QString cacheFolder() const { return m_directory.filePath(QStringLiteral("cache")); }
    // A folder beside the mount, on the local disk.
    QString local() const { return m_directory.filePath(QStringLiteral("local")); }

    // The engine's log so far, for the message of a test that failed.
    QString engineLog() const;

private:
    QTemporaryDir m_directory;
    QStringList m_extra;
    QString m_remote;
    QProcess m_engine;
    QStringList m_mounts;
    QString m_complaint;
    quint16 m_port = 0;
};

} // namespace quillmount
