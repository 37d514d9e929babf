// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/Ports.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quillmount {

namespace {
constexpr quint16 portOfLastResort = 53682;
}

quint16 Ports::free() {
    // The system's own socket: Qt's would first look for a proxy, which can block on a machine that is set to find one.
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    quint16 port = 0;
    if (bind(descriptor, generic, size) == 0 && getsockname(descriptor, generic, &size) == 0)
        port = ntohs(address.sin_port);
    if (descriptor >= 0)
        close(descriptor);
    return port == 0 ? portOfLastResort : port;
}

} // namespace quillmount
