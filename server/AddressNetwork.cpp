#include "server/AddressNetwork.h"

#include <QHostAddress>

#include <algorithm>

QString callerNetwork(const QString& address) {
    const QHostAddress host(address);
    bool isV4 = false;
    // An IPv4 caller reached through an IPv6 socket is the IPv4 caller it stands for.
    const quint32 v4 = host.toIPv4Address(&isV4);
    if (isV4)
        return QHostAddress(v4 & 0xffffff00u).toString() + QStringLiteral("/24");
    if (host.protocol() != QAbstractSocket::IPv6Protocol)
        return address;
    Q_IPV6ADDR bytes = host.toIPv6Address();
    std::fill(std::begin(bytes.c) + 8, std::end(bytes.c), quint8(0));
    return QHostAddress(bytes).toString() + QStringLiteral("/64");
}
