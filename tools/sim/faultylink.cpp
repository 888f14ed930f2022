// SPDX-License-Identifier: MIT
#include "sim/faultylink.h"

#include <algorithm>
#include <limits>
#include <utility>

FaultyLink::FaultyLink(Link *link, const LinkFaults::Settings &faults, int firstNumber, TimeSource sinceStart)
    : good(link)
    , settings(faults)
    , now(std::move(sinceStart))
    , nextNumber(firstNumber)
{
    connect(good, &Link::clientJoined, this, &FaultyLink::join);
    connect(good, &Link::clientLeft, this, &FaultyLink::leave);
    connect(good, &Link::received, this, &Link::received);
    connect(good, &Link::drained, this, &Link::drained);
    connect(good, &Link::finished, this, &Link::finished);
    timer.setInterval(std::chrono::milliseconds(2));
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, &FaultyLink::deliver);
    timer.start();
}

void FaultyLink::join(int client)
{
    lines.push_back({client, LinkFaults(settings, nextNumber++)});
    Q_EMIT clientJoined(client);
}

void FaultyLink::leave(int client)
{
    const auto isIt = [client](const Line &line) { return line.client == client; };
    lines.erase(std::remove_if(lines.begin(), lines.end(), isIt), lines.end());
    Q_EMIT clientLeft(client);
    Q_EMIT drained();
}

void FaultyLink::write(const QByteArray &bytes)
{
    for (Line &line : lines)
        Q_UNUSED(line.faults.send(bytes, now()))
    deliver();
}

qint64 FaultyLink::queuedBytes() const
{
    return isFull() ? std::numeric_limits<qint64>::max() : good->queuedBytes();
}

void FaultyLink::finish()
{
    finishing = true;
    deliver();
}

void FaultyLink::deliver()
{
    const bool wasFull = isFull();
    for (Line &line : lines) {
        const QVector<QByteArray> arrived = line.faults.takeArrived(now());
        for (const QByteArray &bytes : arrived)
            good->writeTo(line.client, bytes);
    }
    if (wasFull && !isFull())
        Q_EMIT drained();
    if (finishing && !isAnythingOnTheWay()) {
        timer.stop();
        finishing = false;
        good->finish();
    }
}

bool FaultyLink::isAnythingOnTheWay() const
{
    return std::any_of(lines.begin(), lines.end(),
                       [](const Line &line) { return line.faults.countOnTheWay() > 0; });
}

bool FaultyLink::isFull() const
{
    return std::any_of(lines.begin(), lines.end(), [](const Line &line) {
        return line.faults.countOnTheWay() >= LinkFaults::queueLimit;
    });
}
