// SPDX-License-Identifier: MIT
#include "ground/tcpclientlink.h"

#include <QHostAddress>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

TcpClientLink::TcpClientLink(const LinkAddress &address)
    : where(address)
{
    connecting.setSingleShot(true);
    connecting.setInterval(std::chrono::seconds(5));
    finishing.setInterval(std::chrono::milliseconds(10));
    connect(&connecting, &QTimer::timeout, this, [this] { fail(QStringLiteral("no answer")); });
    connect(&finishing, &QTimer::timeout, this, &TcpClientLink::checkFinished);
    connect(&socket, &QTcpSocket::connected, this, &TcpClientLink::onConnected);
    connect(&socket, &QTcpSocket::disconnected, this, &TcpClientLink::onDisconnected);
    connect(&socket, &QTcpSocket::bytesWritten, this, &Link::drained);
    connect(&socket, &QTcpSocket::readyRead, this, [this] { Q_EMIT received(socket.readAll(), 0); });
    connect(&socket, &QTcpSocket::errorOccurred, this, &TcpClientLink::onError);
}

bool TcpClientLink::open(QString *)
{
    connecting.start();
    // A bare system has no hosts file to look "localhost" up in.
    if (where.host == QLatin1String("localhost"))
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), where.port);
    else
        socket.connectToHost(where.host, where.port);
    return true;
}

void TcpClientLink::onConnected()
{
    connecting.stop();
    joined = true;
    socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    socket.setReadBufferSize(64LL * 1024); // what the server sends must not pile up before it is read
    Q_EMIT clientJoined(0);
}

void TcpClientLink::onDisconnected()
{
    if (!joined)
        return;
    joined = false;
    Q_EMIT clientLeft(0);
}

void TcpClientLink::onError()
{
    if (!joined)
        fail(socket.errorString());
}

void TcpClientLink::fail(const QString &reason)
{
    if (!connecting.isActive() && joined)
        return;
    connecting.stop();
    socket.blockSignals(true);
    socket.abort();
    // The error comes from inside the socket's own work.
    QTimer::singleShot(0, this, [this, reason] { Q_EMIT failed(reason); });
}

void TcpClientLink::write(const QByteArray &bytes)
{
    if (joined)
        socket.write(bytes);
}

void TcpClientLink::finish()
{
    connecting.stop();
    finishing.start();
}

// Closing a socket that has unread input makes the kernel drop what the server has not acknowledged. So only
// the sending side is closed at first.
void TcpClientLink::checkFinished()
{
    if (joined && socket.bytesToWrite() > 0)
        return;
    const int descriptor = static_cast<int>(socket.socketDescriptor());
    if (joined && !endSent)
        endSent = ::shutdown(descriptor, SHUT_WR) == 0;
    int unacknowledged = 0;
    if (joined && ::ioctl(descriptor, SIOCOUTQ, &unacknowledged) == 0 && unacknowledged > 0)
        return;
    finishing.stop();
    joined = false;
    socket.abort();
    Q_EMIT finished();
}
