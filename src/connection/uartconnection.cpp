// SPDX-License-Identifier: MIT
#include "connection/uartconnection.h"

#include "connection/inputdelivery.h"

#include <QCoreApplication>
#include <QEvent>
#include <QSerialPort>
#include <QSignalBlocker>

#include <utility>

UartConnection::UartConnection(QObject *parent, SerialPortFinder finder)
    : IConnection(parent)
    , serialPort(new QSerialPort(this))
    , input(new InputDelivery(this, serialPort))
    , findPort(std::move(finder))
{
    connect(serialPort, &QSerialPort::readyRead, this, [this] { readData(); });
#if QT_VERSION >= QT_VERSION_CHECK(5, 8, 0)
    connect(serialPort, &QSerialPort::errorOccurred, this, &UartConnection::onDeviceError);
#else
    connect(serialPort, QOverload<QSerialPort::SerialPortError>::of(&QSerialPort::error), this,
            &UartConnection::onDeviceError);
#endif
}

UartConnection::~UartConnection()
{
    UartConnection::close();
}

QString UartConnection::id() const
{
    return QStringLiteral("UART");
}

bool UartConnection::open(const QString &name, const QVariant &baud)
{
    if (lost || lossReported)
        close();
    portName = name;
    serialPort->setPortName(portName);
    if (!checkListing())
        return false;
    baudRate = baud.toInt();
    applySettings();
    if (!serialPort->isOpen()) {
        if (!serialPort->open(QIODevice::ReadWrite)) {
            criticalLine(*this) << "Failed open port, error:" << serialPort->errorString();
            return false;
        }
        heldPort = serialPort->portName();
    }
    Q_EMIT connected();
    return true;
}

void UartConnection::close()
{
    const bool owed = std::exchange(lost, false) || serialPort->isOpen();
    if (serialPort->isOpen())
        serialPort->close();
    heldPort.clear();
    lossReported = false;
    input->drop();
    if (owed)
        Q_EMIT disconnected();
}

void UartConnection::reconnect()
{
    close();
    open(portName, QVariant(baudRate));
}

bool UartConnection::isOpened() const
{
    return serialPort->isOpen();
}

void UartConnection::setParameter(const QString &name, const QVariant &value)
{
    const QString key = name.toLower();
    if (key == QLatin1String("port"))
        serialPort->setPortName(value.toString());
    else if (key == QLatin1String("baudrate"))
        serialPort->setBaudRate(value.toInt());
}

bool UartConnection::sendData(const char *data, qint64 length)
{
    if (!serialPort->isOpen())
        return false;
    const InputDelivery::Hold hold(input);
    if (serialPort->write(data, length) < 1)
        return false;
    // A full output buffer is an error to the device, but no loss. A loss is reported again when it is read.
    const QSignalBlocker quiet(serialPort);
    return serialPort->flush();
}

int UartConnection::type() const
{
    return Uart;
}

void UartConnection::readData()
{
    input->deliver();
}

// An unlisted port is tried all the same. Our own lock counts as busy in the system's list, but is no reason
// to refuse.
bool UartConnection::checkListing() const
{
    const SerialPortListing listing = findPort(serialPort->portName());
    if (!listing.listed)
        warningLine(*this) << "Port" << portName << "not found in serial ports list";
    const bool ours = serialPort->isOpen() && serialPort->portName() == heldPort;
    if (!listing.locked || ours)
        return true;
    criticalLine(*this) << "Port" << portName << "is busy";
    return false;
}

void UartConnection::applySettings()
{
    serialPort->setBaudRate(baudRate);
    serialPort->setStopBits(QSerialPort::OneStop);
    serialPort->setParity(QSerialPort::NoParity);
    serialPort->setFlowControl(QSerialPort::NoFlowControl);
}

void UartConnection::onDeviceError()
{
    const QSerialPort::SerialPortError error = serialPort->error();
    const bool fatal = error == QSerialPort::ResourceError || error == QSerialPort::ReadError ||
                       error == QSerialPort::WriteError;
    if (!fatal || !serialPort->isOpen() || std::exchange(lossReported, true))
        return;
    // The error comes from inside the device's own notifier, which closing would destroy.
    QCoreApplication::postEvent(this, new QEvent(QEvent::User));
}

void UartConnection::customEvent(QEvent *)
{
    if (!std::exchange(lossReported, false))
        return; // closed, and perhaps opened anew, since
    {
        const InputDelivery::Hold rescue(input); // what came before the loss is still delivered
    }
    serialPort->close();
    heldPort.clear();
    lost = true;
}
