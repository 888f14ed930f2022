// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>
#include <QStringList>

#include <functional>

class IConnection;

/// Listens to a connection and notes what it does, and whether it delivers input when it must not.
class ConnectionRecorder : public QObject
{
    Q_OBJECT

public:
    explicit ConnectionRecorder(IConnection *connection);

    /// Sends through the connection, so that a delivery from inside the send is noticed; notes "sent" or "not
    /// sent".
    bool send(const QByteArray &bytes);
    void note(const QString &event) { events.append(event); }
    /// "connected", "disconnected", "in BYTES", and what was noted; forgets them.
    QStringList takeEvents();

    /// Called for every dataReceived(), after it was noted.
    std::function<void()> onInput;
    QByteArray received;
    int deliveriesInsideSends = 0;
    int deliveriesInsideDeliveries = 0;

private:
    void noteInput(const QByteArray &bytes);

    IConnection *connection;
    QStringList events;
    bool sending = false;
    bool handling = false;
};
