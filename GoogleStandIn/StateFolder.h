// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QString>

#include <stdexcept>

namespace quillmount::standin {

// A start that cannot go on; what() is the sentence for the user.
class StartError : public std::runtime_error {
public:
    explicit StartError(const QString &sentence)
        : std::runtime_error(sentence.toStdString()) {}
};

// Writes a file so that a reader sees the old content or the new one, never a part, with mode 0600. False on failure.
bool writeAtomically(const QString &path, const QByteArray &content);

// The folder in which everything is kept, locked against a second program for as long as the object lives.
class StateFolder {
public:
    // Makes the folders that are missing. Throws StartError when that fails or another instance holds the folder.
    explicit StateFolder(const QString &path);
    ~StateFolder();
    StateFolder(const StateFolder &) = delete;
    StateFolder &operator=(const StateFolder &) = delete;

    const QString &path() const { return m_path; }
    // The user's files, as ordinary files and folders.
    QString files() const { return m_path + QStringLiteral("/My Drive"); }
    QString trash() const { return m_path + QStringLiteral("/Trash"); }
    // Journal, grants and keys; private to the user.
    QString state() const { return m_path + QStringLiteral("/.state"); }
    // Content on its way in or out; on the same file system, so that a rename is all that is left to do.
    QString staging() const { return state() + QStringLiteral("/staging"); }

private:
    QString m_path;
    int m_lock = -1;
};

} // namespace quillmount::standin
