// SPDX-License-Identifier: MIT
#include "sim/linkfaults.h"

LinkFaults::LinkFaults(const Settings &wanted, int client)
    : settings(wanted)
    , generator(wanted.seed + static_cast<quint32>(client))
{}

bool LinkFaults::send(const QByteArray &frame, SimTime now)
{
    if (happens(settings.loss))
        return true;
    if (onTheWay.size() >= queueLimit)
        return false;
    QByteArray bytes = frame;
    if (happens(settings.corruption)) {
        const auto bit = static_cast<int>(generator() % static_cast<quint32>(bytes.size() * 8));
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
    }
    onTheWay.enqueue({bytes, arrival(now)});
    return true;
}

QVector<QByteArray> LinkFaults::takeArrived(SimTime now)
{
    QVector<QByteArray> arrived;
    while (!onTheWay.isEmpty() && onTheWay.head().due <= now)
        arrived.append(onTheWay.dequeue().bytes);
    return arrived;
}

bool LinkFaults::happens(double chance)
{
    return chance > 0 && generator() < chance * 4294967296.0;
}

// What would arrive while the line stands still arrives when it goes on.
SimTime LinkFaults::arrival(SimTime now) const
{
    const SimTime due = now + settings.latency;
    const SimTime stallEnd = settings.stallBegin + settings.stallLength;
    return due >= settings.stallBegin && due < stallEnd ? stallEnd : due;
}
