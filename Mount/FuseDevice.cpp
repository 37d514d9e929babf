// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FuseDevice.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace quillmount::mount {

std::string fuseDeviceError(const std::string &device) {
    const int descriptor = open(device.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor >= 0) {
        close(descriptor);
        return {};
    }
    const int error = errno;
    const std::string what = "cannot open " + device + ": " + std::strerror(error);
    switch (error) {
    case ENOENT:
    case ENODEV:
    case ENXIO:
        return what + "; load the kernel's module, as root: modprobe fuse";
    case EACCES:
        return what + "; let everybody open it, as root: chmod 666 " + device;
    case EPERM:
        return what + "; a container has to be allowed to use this device";
    default:
        return what;
    }
}

} // namespace quillmount::mount
