// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/ErrorMapping.h"

#include <nfsc/libnfs.h>

#include <nfsc/libnfs-raw-nfs.h>

#include <cerrno>

namespace quillmount::mount {

int errorNumber(Procedure procedure, Ending ending, int status) {
    if (ending == Ending::unreachable)
        return ETIMEDOUT;
    if (ending == Ending::rejected)
        return EIO;
    switch (status) {
    case NFS3_OK:
        return 0;
    case NFS3ERR_PERM:
        return EPERM;
    case NFS3ERR_NOENT:
        return ENOENT;
    case NFS3ERR_ACCES:
        // Only these two pass a real refusal on. For all others the server answers "access" to whatever kept it from
        // opening the file, which is the network or a full disk, never a permission.
        return procedure == Procedure::rename || procedure == Procedure::remove ? EACCES : EIO;
    case NFS3ERR_EXIST:
        return EEXIST;
    case NFS3ERR_XDEV:
        return EXDEV;
    case NFS3ERR_NOTDIR:
        // The server's word for a folder that it cannot list; the kernel has checked the type before.
        return procedure == Procedure::list || procedure == Procedure::lookup ? EIO : ENOTDIR;
    case NFS3ERR_ISDIR:
        return EISDIR;
    case NFS3ERR_INVAL:
        return EINVAL;
    case NFS3ERR_FBIG:
        return EFBIG;
    case NFS3ERR_NOSPC:
        return ENOSPC;
    case NFS3ERR_ROFS:
        return EROFS;
    case NFS3ERR_MLINK:
        return EMLINK;
    case NFS3ERR_NAMETOOLONG:
        return ENAMETOOLONG;
    case NFS3ERR_NOTEMPTY:
        return ENOTEMPTY;
    case NFS3ERR_DQUOT:
        return EDQUOT;
    case NFS3ERR_STALE:
    case NFS3ERR_BADHANDLE:
        return ESTALE;
    case NFS3ERR_NOTSUPP:
        return EOPNOTSUPP;
    default:
        return EIO;
    }
}

bool meansLostHandle(Procedure procedure, Ending ending, int status) {
    if (ending != Ending::answered)
        return false;
    if (status == NFS3ERR_STALE || status == NFS3ERR_BADHANDLE)
        return true;
    switch (procedure) {
    case Procedure::getAttributes:
    case Procedure::setAttributes:
    case Procedure::read:
    case Procedure::write:
    case Procedure::commit:
        return status == NFS3ERR_NOENT;
    case Procedure::list:
    case Procedure::lookup:
        // A handle is the hash of a path: below a renamed folder it leads to nothing, which the server calls "not a
        // folder".
        return status == NFS3ERR_NOTDIR;
    default:
        return false;
    }
}

bool meansDoneBefore(Procedure procedure, bool repeated, int status) {
    if (!repeated)
        return false;
    switch (procedure) {
    case Procedure::create:
    case Procedure::makeDirectory:
        return status == NFS3ERR_EXIST;
    case Procedure::remove:
    case Procedure::removeDirectory:
    case Procedure::rename:
        return status == NFS3ERR_NOENT;
    default:
        return false;
    }
}

} // namespace quillmount::mount
