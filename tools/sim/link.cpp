// SPDX-License-Identifier: MIT
#include "sim/link.h"

#include "common/linkaddress.h"
#include "sim/ptylink.h"
#include "sim/seriallink.h"
#include "sim/tcpserverlink.h"

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
