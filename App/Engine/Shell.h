// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SystemCommands.h"

#include <QCoroTask>

namespace quillmount {

// Runs commands of the system without a shell. They have a session of their own, so that a Ctrl+C on the terminal does
// not reach them, and the default signal dispositions. Their output is discarded.
namespace Shell {

// Runs an executable (an absolute path) and blocks until it has ended, at most for `timeout` seconds. The exit status;
// for a command that a signal ended, the signal's number; -1 when it could not be started or still runs at the
// deadline. Such a command is left alone, and collected when it ends.
int run(const QString &executable, const QStringList &arguments, double timeout);
int run(const Command &command, double timeout);

// The same on a thread of its own, for commands that take long. Resumes on the main thread. The last line that a failed
// one writes to standard error goes to the log, unless it is the same as the last time.
[[nodiscard]] QCoro::Task<int> runInBackground(Command command, double timeout);

} // namespace Shell
} // namespace quillmount
