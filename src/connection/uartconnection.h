// SPDX-License-Identifier: MIT
#pragma once

#include "connection/iconnection.h"
#include "connection/serialportfinder.h"

class InputDelivery;
class QSerialPort;

/// Serial connection to a flight controller: eight data bits, no parity, one stop bit, no flow control.
///
/// A device that is lost (unplugged, hung up) is closed quietly: isOpened() turns false without a signal, and
/// the next close(), reconnect() or open() emits the one disconnected() that is still owed. Left open, a
/// hung-up device reports read errors as fast as the event loop turns.
class NOFLAILSTEN_EXPORT UartConnection : public IConnection
{
    Q_OBJECT

public:
    explicit UartConnection(QObject *parent = nullptr, SerialPortFinder finder = findSerialPort);
    ~UartConnection() override;

    QString id() const override;

    /// Opens a port by name or path, the second argument being the baud rate. A port that the system does not
    /// list is tried all the same, with a warning; one that another owner has locked is refused, with a
    /// critical line. On a port that is open already the settings are applied and connected() is emitted
    /// again.
    bool open(const QString &name, const QVariant &baud) override;
    void close() override;
    /// Closes, and opens the port and baud rate of the last open().
    void reconnect() override;
    bool isOpened() const override;
    /// "port" and "baudrate": set on the device at once; the port and baud rate of reconnect() stay.
    void setParameter(const QString &name, const QVariant &value) override;
    /// Writes and flushes, without waiting. False also while the device is full; the bytes then go out later.
    bool sendData(const char *data, qint64 length) override;
    int type() const override;
    /// Emits what has been received, open or not.
    void readData() override;

protected:
    void customEvent(QEvent *event) override;

private:
    bool checkListing() const;
    void applySettings();
    void onDeviceError();

    QSerialPort *serialPort;
    InputDelivery *input;
    SerialPortFinder findPort;
    QString portName;
    int baudRate = 0;
    QString heldPort;          // the port that we have open, as the system lists it
    bool lost = false;         // closed quietly; its disconnected() is still owed
    bool lossReported = false; // the device reported an error; the event that closes it is on its way
};
