// SPDX-License-Identifier: MIT
#include "common/linkaddress.h"

namespace {

const QLatin1String tcpPrefix("tcp:");
const QLatin1String ptyPrefix("pty:");

// "HOST:PORT" cut at its last colon. The host of an IPv6 address is told from its port by brackets only.
std::optional<LinkAddress> parseTcp(const QString &text)
{
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    if (colon < 0)
        return std::nullopt;
    QString host = text.left(colon);
    const bool bracketed = host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']'));
    if (bracketed)
        host = host.mid(1, host.size() - 2);
    bool isNumber = false;
    const quint16 port = text.midRef(colon + 1).toUShort(&isNumber);
    if (!isNumber || host.isEmpty() || (!bracketed && host.contains(QLatin1Char(':'))))
        return std::nullopt;
    return LinkAddress{LinkAddress::Kind::Tcp, host, port, {}, 0};
}

std::optional<LinkAddress> parsePty(const QString &path)
{
    if (path.isEmpty())
        return std::nullopt;
    return LinkAddress{LinkAddress::Kind::Pty, {}, 0, path, 0};
}

std::optional<LinkAddress> parseSerial(const QString &text)
{
    const int comma = text.lastIndexOf(QLatin1Char(','));
    bool isNumber = false;
    const qint32 baud = text.midRef(comma + 1).toInt(&isNumber);
    if (comma < 1 || !isNumber || baud <= 0)
        return std::nullopt;
    return LinkAddress{LinkAddress::Kind::Serial, {}, 0, text.left(comma), baud};
}

std::optional<LinkAddress> parseAny(const QString &text)
{
    if (text.startsWith(tcpPrefix))
        return parseTcp(text.mid(tcpPrefix.size()));
    if (text.startsWith(ptyPrefix))
        return parsePty(text.mid(ptyPrefix.size()));
    return parseSerial(text);
}

} // namespace

std::optional<LinkAddress> LinkAddress::parse(const QString &text, QString *error)
{
    std::optional<LinkAddress> address = parseAny(text);
    if (!address)
        *error = QStringLiteral("\"%1\" is no address (tcp:HOST:PORT, PATH,BAUD or pty:LINK)").arg(text);
    return address;
}

QString LinkAddress::toString() const
{
    switch (kind) {
    case Kind::Tcp: {
        const bool isIpv6 = host.contains(QLatin1Char(':'));
        return tcpPrefix + (isIpv6 ? QLatin1Char('[') + host + QLatin1Char(']') : host) + QLatin1Char(':') +
               QString::number(port);
    }
    case Kind::Pty:
        return ptyPrefix + path;
    case Kind::Serial:
        break;
    }
    return path + QLatin1Char(',') + QString::number(baud);
}
