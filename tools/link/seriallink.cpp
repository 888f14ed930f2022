// SPDX-License-Identifier: MIT
#include "link/seriallink.h"

#include <sys/ioctl.h>

SerialLink::SerialLink(const LinkAddress &address)
    : where(address)
{
    finishing.setInterval(std::chrono::milliseconds(10));
    connect(&finishing, &QTimer::timeout, this, &SerialLink::checkFinished);
    connect(&port, &QSerialPort::bytesWritten, this, &Link::drained);
}

bool SerialLink::open(QString *error)
{
    port.setPortName(where.path);
    if (!port.open(QIODevice::ReadWrite) || !port.setBaudRate(where.baud)) {
        *error = port.errorString();
        port.close();
        return false;
    }
    connect(&port, &QSerialPort::errorOccurred, this, &SerialLink::onError);
    QTimer::singleShot(0, this, &SerialLink::join);
    return true;
}

void SerialLink::join()
{
    Q_EMIT clientJoined(0);
    connect(&port, &QSerialPort::readyRead, this, &SerialLink::readInput);
    readInput();
}

void SerialLink::readInput()
{
    const QByteArray bytes = port.readAll();
    if (!bytes.isEmpty())
        Q_EMIT received(bytes, 0);
}

QString SerialLink::address() const
{
    return where.toString();
}

void SerialLink::write(const QByteArray &bytes)
{
    if (port.isOpen())
        port.write(bytes);
}

qint64 SerialLink::queuedBytes() const
{
    return port.isOpen() ? port.bytesToWrite() : 0;
}

void SerialLink::finish()
{
    finishing.start();
}

void SerialLink::onError(QSerialPort::SerialPortError error)
{
    const bool fatal = error == QSerialPort::ResourceError || error == QSerialPort::ReadError ||
                       error == QSerialPort::WriteError;
    // The error comes from inside the port's own notifier, which closing would destroy.
    if (fatal)
        QTimer::singleShot(0, this, &SerialLink::closeFailedPort);
}

void SerialLink::closeFailedPort()
{
    if (!port.isOpen())
        return;
    port.close();
    Q_EMIT clientLeft(0);
    Q_EMIT drained();
}

void SerialLink::checkFinished()
{
    int unsent = 0;
    if (port.isOpen() &&
        (port.bytesToWrite() > 0 || (::ioctl(port.handle(), TIOCOUTQ, &unsent) == 0 && unsent > 0)))
        return;
    finishing.stop();
    Q_EMIT finished();
}
