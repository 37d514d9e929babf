// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/NfsTypes.h"

namespace quillmount::mount {

// The error number that a program is given for an answer to `procedure`; 0 when it succeeded. It depends on the
// procedure, since the server uses one status for several causes.
int errorNumber(Procedure procedure, Ending ending, int status);

template <class T>
int errorNumber(Procedure procedure, const Reply<T> &reply) {
    return errorNumber(procedure, reply.ending, reply.status);
}

// True when the answer says that the handle no longer names the file: it is looked up again by its path.
bool meansLostHandle(Procedure procedure, Ending ending, int status);

// True when a call that was sent twice, because the connection was lost after the first time, failed the second time
// only because the first one had been carried out.
bool meansDoneBefore(Procedure procedure, bool repeated, int status);

} // namespace quillmount::mount
