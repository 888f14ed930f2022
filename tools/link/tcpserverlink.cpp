// SPDX-License-Identifier: MIT
#include "link/tcpserverlink.h"

#include <QHostAddress>
#include <QHostInfo>
#include <QTcpSocket>

#include <algorithm>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

// Many a MAVLink program knows IPv4 only, so names, and above all "localhost", mean that. "localhost" needs
// no look-up either: a bare system has no hosts file.
QHostAddress resolve(const QString &host)
{
    if (host == QLatin1String("localhost"))
        return QHostAddress(QHostAddress::LocalHost);
    const QList<QHostAddress> found = QHostInfo::fromName(host).addresses();
    const auto isIpv4 = [](const QHostAddress &one) {
        return one.protocol() == QAbstractSocket::IPv4Protocol;
    };
    const auto ipv4 = std::find_if(found.begin(), found.end(), isIpv4);
    return ipv4 != found.end() ? *ipv4 : found.value(0);
}

} // namespace

TcpServerLink::TcpServerLink(const LinkAddress &address)
    : where(address)
{
    finishing.setInterval(std::chrono::milliseconds(10));
    connect(&finishing, &QTimer::timeout, this, &TcpServerLink::closeServedClients);
    connect(&server, &QTcpServer::newConnection, this, &TcpServerLink::acceptClients);
}

bool TcpServerLink::open(QString *error)
{
    const QHostAddress host = resolve(where.host);
    if (host.isNull()) {
        *error = QStringLiteral("no such host");
        return false;
    }
    if (!server.listen(host, where.port)) {
        *error = server.errorString();
        return false;
    }
    where.port = server.serverPort();
    return true;
}

QString TcpServerLink::address() const
{
    return where.toString();
}

void TcpServerLink::write(const QByteArray &bytes)
{
    for (const Client &client : qAsConst(clients))
        client.socket->write(bytes);
}

qint64 TcpServerLink::queuedBytes() const
{
    qint64 most = 0;
    for (const Client &client : clients)
        most = std::max(most, client.socket->bytesToWrite());
    return most;
}

void TcpServerLink::writeTo(int client, const QByteArray &bytes)
{
    if (QTcpSocket *socket = findClient(client))
        socket->write(bytes);
}

qint64 TcpServerLink::queuedBytesOf(int client) const
{
    const QTcpSocket *socket = findClient(client);
    return socket ? socket->bytesToWrite() : 0;
}

void TcpServerLink::finish()
{
    server.close();
    finishing.start();
}

void TcpServerLink::acceptClients()
{
    while (QTcpSocket *socket = server.nextPendingConnection())
        addClient(socket);
}

void TcpServerLink::addClient(QTcpSocket *socket)
{
    socket->setParent(this); // closing the server must not take its clients along
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    socket->setReadBufferSize(64LL * 1024); // what clients send must not pile up before it is read
    const int number = nextNumber++;
    connect(socket, &QTcpSocket::readyRead, this,
            [this, socket, number] { Q_EMIT received(socket->readAll(), number); });
    connect(socket, &QTcpSocket::bytesWritten, this, &Link::drained);
    connect(socket, &QTcpSocket::disconnected, this, [this, socket] { removeClient(socket); });
    clients.append({number, socket});
    Q_EMIT clientJoined(number);
}

void TcpServerLink::removeClient(QTcpSocket *socket)
{
    const auto isSame = [socket](const Client &client) { return client.socket == socket; };
    const auto found = std::find_if(clients.begin(), clients.end(), isSame);
    const int number = found->number;
    clients.erase(found);
    socket->deleteLater();
    Q_EMIT clientLeft(number);
    Q_EMIT drained();
}

QTcpSocket *TcpServerLink::findClient(int number) const
{
    const auto isNumbered = [number](const Client &client) { return client.number == number; };
    const auto found = std::find_if(clients.begin(), clients.end(), isNumbered);
    return found != clients.end() ? found->socket : nullptr;
}

void TcpServerLink::closeServedClients()
{
    QVector<QTcpSocket *> served;
    for (Client &client : clients) {
        if (isServed(client))
            served.append(client.socket);
    }
    for (QTcpSocket *socket : qAsConst(served))
        socket->abort(); // leads to removeClient()
    if (!clients.isEmpty())
        return;
    finishing.stop();
    Q_EMIT finished();
}

// Closing a socket that has unread input makes the kernel drop what the client has not acknowledged. So only
// the sending side is closed at first.
bool TcpServerLink::isServed(Client &client)
{
    if (client.socket->bytesToWrite() > 0)
        return false;
    const int descriptor = static_cast<int>(client.socket->socketDescriptor());
    if (!client.endSent)
        client.endSent = ::shutdown(descriptor, SHUT_WR) == 0;
    int unacknowledged = 0;
    return ::ioctl(descriptor, SIOCOUTQ, &unacknowledged) != 0 || unacknowledged == 0;
}
