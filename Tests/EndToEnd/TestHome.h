// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Tests/EndToEnd/Caretaker.h"
#include "Tests/EndToEnd/ProcessTable.h"
#include "Tests/Support/LocalGoogle.h"

#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <functional>
#include <memory>

namespace quillmount {

// One person's home with nothing in it yet, and the local Google that the person's account is at. At its end no process
// of this home and no mount in it may be left; what is left is removed, and the test has failed.
class TestHome {
public:
    TestHome();
    ~TestHome();
    Q_DISABLE_COPY_MOVE(TestHome)

    LocalGoogle google;

    [[nodiscard]] QString path() const { return m_folder.path(); }
    [[nodiscard]] QString mountPoint() const { return path() + QStringLiteral("/Quillmount"); }
    [[nodiscard]] QString engineConfiguration() const;
    [[nodiscard]] QString engineLog() const;

    // What a program in this home is started with: its home, and the way to the local Google.
    [[nodiscard]] QProcessEnvironment environment() const;
    // Gives this process the same, for an engine that lives in it.
    void exportEnvironment() const;

    // The client that the application presents itself as, which has a grant at the local Google.
    [[nodiscard]] QString clientId() const { return google.clientId(); }
    [[nodiscard]] QString clientSecret() const { return google.clientSecret(); }
    // A new grant's token, as the engine's configuration keeps it. `lifetime`: of the access token, in seconds.
    [[nodiscard]] QJsonObject newToken(int lifetime = 3599);
    // Leaves the home as a sign-in does that came to this token, by default to one of a new grant.
    void addAccount() { addAccount(newToken()); }
    void addAccount(const QJsonObject &token) const;

    // The processes of this home.
    [[nodiscard]] QList<ProcessInfo> processes() const { return processesOf(path().toUtf8()); }
    // The one of that name; 0 when there is none.
    [[nodiscard]] pid_t processNamed(const QByteArray &program) const;
    // The one that has such an argument, or runs such a script; 0 when there is none.
    [[nodiscard]] pid_t processWith(const QByteArray &argument) const;
    [[nodiscard]] pid_t application() const { return processNamed("quillmount"); }
    [[nodiscard]] pid_t engine() const { return processNamed("QuillmountEngine"); }
    [[nodiscard]] pid_t mountServer() const { return processNamed("quillmount-mount"); }

    // The kernel lists the mount. The mount itself is not touched.
    [[nodiscard]] bool isMounted() const;
    // Whether the drive has ended: now there is neither engine nor mount, and a moment later no process at all. The one
    // that served the mount ends by itself.
    [[nodiscard]] bool isQuiet() const;

    // From now on Google lets every upload wait. The number of the fault.
    int stallUploads();
    // How many requests the fault has met.
    [[nodiscard]] int hits(int fault);

    // What Google has at `path` in the drive; absent when there is no such file.
    [[nodiscard]] std::optional<QByteArray> onGoogle(const QString &path) const;

    // Writes a file of the drive and closes it, as a program does; false when the system refuses any of it, or 20
    // seconds pass. A call into a mount can hang, so it is made in a thread.
    [[nodiscard]] bool save(const QString &path, const QByteArray &contents) const;
    // The contents of a file of the drive; absent on an error or after 20 seconds.
    [[nodiscard]] std::optional<QByteArray> load(const QString &path) const;
    // Any other call into the mount, within the same limit.
    [[nodiscard]] static bool within(std::function<bool()> call);

private:
    void tellWhatHappened() const;

    QTemporaryDir m_folder;
    std::unique_ptr<Caretaker> m_caretaker;
};

// Bytes that differ everywhere, the same for the same seed.
[[nodiscard]] QByteArray someBytes(qsizetype count, quint32 seed);

} // namespace quillmount
