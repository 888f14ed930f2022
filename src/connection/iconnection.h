// SPDX-License-Identifier: MIT
#pragma once

#include "autopilot/ibase.h"

#include <QByteArray>
#include <QVariant>

/// A byte connection to the flight controller.
///
/// Lives on the main thread. Input is announced by dataReceived(), in order and never from inside sendData()
/// nor from inside a handler of dataReceived(): what comes in meanwhile is emitted from the event loop right
/// after. The order of signals and virtual functions is part of the contract with hosts.
class NOFLAILSTEN_EXPORT IConnection : public IBase
{
    Q_OBJECT

public:
    /// Answers of type().
    enum Type { Tcp = 1, Uart = 2 };

    explicit IConnection(QObject *parent = nullptr)
        : IBase(parent)
    {}

    /// Opens the connection; what address and parameter mean is the implementation's. @return whether it is
    /// open.
    virtual bool open(const QString &address, const QVariant &parameter) = 0;
    virtual void close() = 0;
    virtual void reconnect() = 0;
    virtual bool isOpened() const = 0;
    /// Sets a parameter; names are compared without regard to case, unknown ones are ignored.
    virtual void setParameter(const QString &name, const QVariant &value) = 0;
    /// Sends bytes. @return false if the connection is not open or the bytes could not be written.
    virtual bool sendData(const char *data, qint64 length) = 0;
    virtual int type() const = 0;
    /// Drains what the device has received and emits it.
    virtual void readData() = 0;

Q_SIGNALS:
    void dataReceived(const QByteArray &data);
    void connected();
    void disconnected();
};
