// SPDX-License-Identifier: MIT
#include "connection/tcpconnection.h"

#include "connection/inputdelivery.h"

#include <QTcpSocket>

TcpConnection::TcpConnection(QObject *parent)
    : IConnection(parent)
    , socket(new QTcpSocket(this))
    , input(new InputDelivery(this, socket))
    , hostName(QStringLiteral("localhost"))
{
    connect(socket, &QTcpSocket::connected, this, &IConnection::connected);
    connect(socket, &QTcpSocket::disconnected, this, &IConnection::disconnected);
    connect(socket, &QTcpSocket::readyRead, this, [this] { readData(); });
    // readyRead() is not repeated while handled, this is; a failing write makes the socket forget its input.
    connect(socket, &QTcpSocket::channelReadyRead, input, &InputDelivery::collect);
}

TcpConnection::~TcpConnection()
{
    TcpConnection::close();
}

QString TcpConnection::id() const
{
    return QStringLiteral("TCP");
}

bool TcpConnection::open(const QString &host, const QVariant &portArgument)
{
    if (isOpened())
        close();
    hostName = host;
    if (portArgument.canConvert(QMetaType::UShort))
        port = static_cast<quint16>(portArgument.toInt());
    else
        criticalLine(*this) << "Invalid argument" << portArgument << "for port number."
                            << "Default value" << port << "is used";
    socket->connectToHost(hostName, port);
    return socket->waitForConnected(connectTimeoutMs);
}

void TcpConnection::close()
{
    if (isOpened()) {
        socket->waitForDisconnected(disconnectTimeoutMs);
        socket->close();
        // A socket with bytes that the peer does not take stays in its closing.
        if (isOpened())
            socket->abort();
    }
    input->drop();
}

void TcpConnection::reconnect()
{
    open(hostName, QVariant());
}

bool TcpConnection::isOpened() const
{
    return socket->state() != QAbstractSocket::UnconnectedState;
}

void TcpConnection::setParameter(const QString &name, const QVariant &value)
{
    const QString key = name.toLower();
    if (key == QLatin1String("hostname"))
        hostName = value.toString();
    else if (key == QLatin1String("port"))
        port = static_cast<quint16>(value.toInt());
    else if (key == QLatin1String("connecttimeout"))
        connectTimeoutMs = value.toInt();
    else if (key == QLatin1String("disconnecttimeout"))
        disconnectTimeoutMs = value.toInt();
    else if (key == QLatin1String("writetimeout"))
        writeTimeoutMs = value.toInt();
}

bool TcpConnection::sendData(const char *data, qint64 length)
{
    if (!isOpened())
        return false;
    const InputDelivery::Hold hold(input);
    if (socket->write(data, length) < 1)
        return false;
    return socket->waitForBytesWritten(writeTimeoutMs);
}

int TcpConnection::type() const
{
    return Tcp;
}

void TcpConnection::readData()
{
    if (isOpened())
        input->deliver();
}
