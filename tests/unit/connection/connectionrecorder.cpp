// SPDX-License-Identifier: MIT
#include "connection/connectionrecorder.h"

#include "connection/iconnection.h"

#include <QScopedValueRollback>

#include <utility>

ConnectionRecorder::ConnectionRecorder(IConnection *watched)
    : connection(watched)
{
    connect(connection, &IConnection::connected, this, [this] { note(QStringLiteral("connected")); });
    connect(connection, &IConnection::disconnected, this, [this] { note(QStringLiteral("disconnected")); });
    connect(connection, &IConnection::dataReceived, this, &ConnectionRecorder::noteInput);
}

bool ConnectionRecorder::send(const QByteArray &bytes)
{
    const QScopedValueRollback<bool> inside(sending, true);
    const bool sent = connection->sendData(bytes.constData(), bytes.size());
    note(sent ? QStringLiteral("sent") : QStringLiteral("not sent"));
    return sent;
}

QStringList ConnectionRecorder::takeEvents()
{
    return std::exchange(events, {});
}

void ConnectionRecorder::noteInput(const QByteArray &bytes)
{
    deliveriesInsideSends += sending ? 1 : 0;
    deliveriesInsideDeliveries += handling ? 1 : 0;
    received += bytes;
    note(QStringLiteral("in ") + QString::fromLatin1(bytes));
    if (!onInput)
        return;
    const QScopedValueRollback<bool> inside(handling, true);
    const std::function<void()> handler = onInput; // which may replace itself
    handler();
}
