// SPDX-License-Identifier: MIT
#include "link/link.h"

#include "common/linkaddress.h"
#include "link/ptylink.h"
#include "link/seriallink.h"
#include "link/tcpserverlink.h"

std::unique_ptr<Link> Link::create(const LinkAddress &address)
{
    switch (address.kind) {
    case LinkAddress::Kind::Tcp:
        return std::make_unique<TcpServerLink>(address);
    case LinkAddress::Kind::Pty:
        return std::make_unique<PtyLink>(address);
    case LinkAddress::Kind::Serial:
        break;
    }
    return std::make_unique<SerialLink>(address);
}

void Link::writeTo(int, const QByteArray &bytes)
{
    write(bytes);
}

qint64 Link::queuedBytesOf(int) const
{
    return queuedBytes();
}
