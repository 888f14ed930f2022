// SPDX-License-Identifier: MIT
#pragma once

#include "connection/iconnection.h"

class InputDelivery;
class QTcpSocket;

/// TCP client connection to a flight controller, a simulator or a MAVLink router.
///
/// Simple and synchronous: open(), close() and sendData() block the main thread for up to their time-outs.
/// connected() and disconnected() are the socket's own; disconnected() can therefore come from inside a send,
/// and whoever opens again on it has to be connected queued, as a socket cannot be opened while it closes.
class NOFLAILSTEN_EXPORT TcpConnection : public IConnection
{
    Q_OBJECT

public:
    explicit TcpConnection(QObject *parent = nullptr);
    ~TcpConnection() override;

    QString id() const override;

    /// Connects to a host (name or address), `port` being anything that converts to a 16-bit number.
    /// Otherwise the current port is kept, with a critical line. Blocks for up to the connect timeout (1000
    /// ms).
    bool open(const QString &host, const QVariant &port) override;
    /// Waits for the peer to close, for up to the disconnect timeout (1000 ms), then closes. Input that was
    /// not delivered yet is dropped.
    void close() override;
    /// Opens the same host and port again; writes the critical line of open(), as it passes no port.
    void reconnect() override;
    /// True while connected, and also while connecting.
    bool isOpened() const override;
    /// "hostname", "port", and in milliseconds "connecttimeout", "disconnecttimeout", "writetimeout". Used by
    /// the next call that needs them.
    void setParameter(const QString &name, const QVariant &value) override;
    /// Writes and waits for bytes to leave, for up to the write timeout (500 ms).
    bool sendData(const char *data, qint64 length) override;
    int type() const override;
    void readData() override;

private:
    QTcpSocket *socket;
    InputDelivery *input;
    QString hostName;
    quint16 port = 23;
    int connectTimeoutMs = 1000;
    int disconnectTimeoutMs = 1000;
    int writeTimeoutMs = 500;
};
