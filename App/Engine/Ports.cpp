// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/Ports.h"

#include <QHostAddress>
#include <QTcpSocket>

namespace quillmount {

namespace {
constexpr quint16 portOfLastResort = 53682;
}

quint16 Ports::free() {
    QTcpSocket socket;
    socket.bind(QHostAddress(QHostAddress::LocalHost), 0);
    const quint16 port = socket.localPort();
    return port == 0 ? portOfLastResort : port;
}

} // namespace quillmount
