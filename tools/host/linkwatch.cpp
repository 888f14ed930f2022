// SPDX-License-Identifier: MIT
#include "host/linkwatch.h"

#include "autopilot/iautopilotplugin.h"
#include "connection/iconnection.h"

#include <QIODevice>

#include <algorithm>
#include <utility>

using std::chrono::milliseconds;

LinkWatch::LinkWatch(IAutopilotPlugin *watched, std::function<bool()> lookForDevice, QObject *parent)
    : QObject(parent)
    , plugin(watched)
    , deviceExists(std::move(lookForDevice))
{
    connect(&lookTimer, &QTimer::timeout, this, &LinkWatch::look);
    connect(&pauseTimer, &QTimer::timeout, this, &LinkWatch::start);
    connect(&silenceTimer, &QTimer::timeout, this, [this] { lose(QStringLiteral("no autopilot heard")); });
    pauseTimer.setSingleShot(true);
    silenceTimer.setSingleShot(true);
}

void LinkWatch::begin()
{
    pause = periods.firstPause;
    connection = plugin->findChild<IConnection *>(QString(), Qt::FindDirectChildrenOnly);
    if (reconnecting) {
        // Queued, as it can come from inside a send.
        if (connection)
            connect(connection.data(), &IConnection::disconnected, this, &LinkWatch::onDisconnected,
                    Qt::QueuedConnection);
        lookTimer.start(periods.look);
    }
    start();
}

bool LinkWatch::isOpen() const
{
    return connection ? connection->isOpened() : plugin->isStarted();
}

QString LinkWatch::errorText() const
{
    const auto *device = connection ? connection->findChild<QIODevice *>() : nullptr;
    const QString untold = QIODevice::tr("Unknown error");
    return device && device->errorString() != untold ? device->errorString() : QString();
}

void LinkWatch::end()
{
    state = State::Idle;
    lookTimer.stop();
    pauseTimer.stop();
    silenceTimer.stop();
    plugin->stop();
}

void LinkWatch::start()
{
    sinceStart.start();
    lastStatus = 0;
    if (!plugin->start()) {
        startFailed();
        return;
    }
    state = State::Open;
    pause = periods.firstPause;
    if (reconnecting)
        silenceTimer.start(periods.silence);
    Q_EMIT opened();
}

void LinkWatch::startFailed()
{
    if (!reconnecting) {
        state = State::Idle;
        Q_EMIT failed(milliseconds(0));
        return;
    }
    if (deviceMissing()) {
        state = State::AwaitingDevice;
        Q_EMIT failed(milliseconds(0));
        return;
    }
    state = State::Pausing;
    pauseTimer.start(pause);
    const milliseconds thisPause = std::exchange(pause, std::min(2 * pause, periods.longestPause));
    Q_EMIT failed(thisPause);
}

void LinkWatch::lose(const QString &reason)
{
    silenceTimer.stop();
    Q_EMIT lost(reason);
    plugin->stop();
    // At once, but a peer that hangs up on everybody is not to be called in a busy loop.
    const milliseconds passed(sinceStart.elapsed());
    if (passed >= periods.firstPause) {
        start();
        return;
    }
    state = State::Pausing;
    pauseTimer.start(periods.firstPause - passed);
}

void LinkWatch::look()
{
    if (state == State::Open && connection && !connection->isOpened())
        lose(QStringLiteral("connection closed"));
    else if (state == State::AwaitingDevice && deviceExists())
        start();
}

// Our own stop() causes it too; by now the connection is open again then, or a new start is on its way.
void LinkWatch::onDisconnected()
{
    if (state == State::Open && !connection->isOpened())
        lose(QStringLiteral("disconnected"));
}

void LinkWatch::onAutopilotStatus(quint8 status)
{
    const quint8 before = std::exchange(lastStatus, status);
    if (state != State::Open || !reconnecting)
        return;
    if (status == 2)
        silenceTimer.stop();
    else if (before == 2)
        lose(QStringLiteral("autopilot silent"));
}

bool LinkWatch::deviceMissing() const
{
    return connection && connection->type() == IConnection::Uart && !deviceExists();
}
