// SPDX-License-Identifier: MIT
#include "autopilot/support/fakeflightcontroller.h"

#include "autopilot/support/frames.h"

#include <QTcpSocket>

#include <utility>

namespace {

constexpr int PatienceMs = 10000;

} // namespace

FakeFlightController::FakeFlightController()
{
    server.listen(QHostAddress::LocalHost);
}

bool FakeFlightController::accept()
{
    if (!server.hasPendingConnections() && !server.waitForNewConnection(PatienceMs))
        return false;
    socket = server.nextPendingConnection();
    return socket;
}

void FakeFlightController::send(const QByteArray &bytes)
{
    socket->write(bytes);
    socket->flush();
}

QList<QByteArray> FakeFlightController::receive(int count)
{
    received += socket->readAll();
    while (splitFrames(received).size() < count && socket->waitForReadyRead(PatienceMs))
        received += socket->readAll();
    return splitFrames(std::exchange(received, QByteArray()));
}

bool FakeFlightController::waitForClosed()
{
    return socket->state() == QAbstractSocket::UnconnectedState || socket->waitForDisconnected(PatienceMs);
}

void FakeFlightController::hangUp()
{
    server.close();
    if (socket)
        socket->close();
}
