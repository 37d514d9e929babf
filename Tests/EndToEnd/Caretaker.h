// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <sys/types.h>

namespace quillmount {

// Ends every process of a home and takes its mount away. False when something withstands for 20 seconds.
bool endEverything(const QByteArray &home, const QByteArray &mountPoint);

// Does the same in a process of its own when this process dies before it could, by an abort or by its time limit, and
// removes the home.
class Caretaker {
public:
    Caretaker(const QByteArray &home, const QByteArray &mountPoint);
    // Nothing is left to do.
    ~Caretaker();
    Q_DISABLE_COPY_MOVE(Caretaker)

private:
    pid_t m_pid = -1;
    int m_pipe = -1;
};

} // namespace quillmount
