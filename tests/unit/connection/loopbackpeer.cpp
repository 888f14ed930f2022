// SPDX-License-Identifier: MIT
#include "connection/loopbackpeer.h"

#include "connection/tcpconnection.h"

#include <QTcpSocket>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace {

constexpr int patienceMs = 30000;

void require(bool fine, const char *call)
{
    if (!fine)
        qFatal("loopback peer: %s: %s", call, std::strerror(errno));
}

sockaddr_in loopbackAddress(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(quint16(port));
    return address;
}

short waitFor(int fd, short events)
{
    pollfd entry{fd, events, 0};
    require(::poll(&entry, 1, patienceMs) >= 0, "poll");
    return entry.revents;
}

int descriptorOf(const TcpConnection &connection)
{
    return static_cast<int>(connection.findChild<QTcpSocket *>()->socketDescriptor());
}

} // namespace

LoopbackPeer::LoopbackPeer(Manner manner)
    : server(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    require(server >= 0, "socket");
    sockaddr_in address = loopbackAddress(0);
    socklen_t length = sizeof(address);
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    require(::bind(server, generic, length) == 0, "bind");
    if (manner == Manner::Serves)
        require(::listen(server, 8) == 0, "listen");
    require(::getsockname(server, generic, &length) == 0, "getsockname");
    portNumber = ntohs(address.sin_port);
}

LoopbackPeer::~LoopbackPeer()
{
    close();
    ::close(server);
    if (crowd >= 0)
        ::close(crowd);
}

bool LoopbackPeer::serve(TcpConnection &connection)
{
    connection.setParameter(QStringLiteral("disconnecttimeout"), 0);
    if (!connection.open(QStringLiteral("127.0.0.1"), portNumber))
        return false;
    accept();
    return true;
}

void LoopbackPeer::accept()
{
    close();
    client = ::accept4(server, nullptr, nullptr, SOCK_CLOEXEC);
    require(client >= 0, "accept");
}

// With a queue of no length, one client that waits in it fills it; the kernel answers no further ones.
void LoopbackPeer::ignoreClients()
{
    require(::listen(server, 0) == 0, "listen");
    crowd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopbackAddress(portNumber);
    require(::connect(crowd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0, "connect");
}

void LoopbackPeer::write(const QByteArray &bytes)
{
    for (int done = 0; done < bytes.size();) {
        const ssize_t written =
            ::send(client, bytes.constData() + done, size_t(bytes.size() - done), MSG_NOSIGNAL);
        require(written > 0, "send");
        done += int(written);
    }
}

QByteArray LoopbackPeer::read(int count)
{
    QByteArray bytes(count, '\0');
    int done = 0;
    while (done < count && (waitFor(client, POLLIN) & POLLIN)) {
        const ssize_t got = ::recv(client, bytes.data() + done, size_t(count - done), 0);
        if (got <= 0)
            break;
        done += int(got);
    }
    bytes.truncate(done);
    return bytes;
}

void LoopbackPeer::close()
{
    if (client >= 0)
        ::close(client);
    client = -1;
}

void LoopbackPeer::reset()
{
    const linger atOnce{1, 0};
    require(::setsockopt(client, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce)) == 0, "setsockopt");
    close();
}

void waitForBytes(const TcpConnection &connection, int count)
{
    const int fd = descriptorOf(connection);
    int waiting = 0;
    while (waiting < count) {
        require(waitFor(fd, POLLIN) & POLLIN, "no input");
        require(::ioctl(fd, FIONREAD, &waiting) == 0, "ioctl");
    }
}

void waitForHangup(const TcpConnection &connection)
{
    require(waitFor(descriptorOf(connection), POLLRDHUP) != 0, "no hang-up");
}
