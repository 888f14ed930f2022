// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QTcpServer>

class QTcpSocket;

/// The far end of the driver's TCP connection.
class FakeFlightController
{
public:
    FakeFlightController();

    quint16 port() const { return server.serverPort(); }
    /// Takes the connection that the driver has opened. False if there is none.
    bool accept();
    void send(const QByteArray &bytes);
    /// Waits until so many whole frames have come, and returns all that came since the last call.
    QList<QByteArray> receive(int count);
    /// Waits until the driver has closed the connection.
    bool waitForClosed();
    /// Closes the connection and listens no more.
    void hangUp();

private:
    QTcpServer server;
    QTcpSocket *socket = nullptr; // owned by the server
    QByteArray received;
};
