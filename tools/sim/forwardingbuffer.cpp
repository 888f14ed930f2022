// SPDX-License-Identifier: MIT
#include "sim/forwardingbuffer.h"

#include <algorithm>
#include <utility>

bool ForwardingBuffer::push(const QByteArray &frame, Time now)
{
    room = std::max(room, capacity * roundsSinceLast(now));
    if (frames.size() >= room)
        return false;
    frames.append(frame);
    return true;
}

QVector<QByteArray> ForwardingBuffer::takeRound(Time now)
{
    room = capacity * roundsSinceLast(now);
    lastRound = now;
    return std::exchange(frames, {});
}

int ForwardingBuffer::roundsSinceLast(Time now) const
{
    const qint64 most = 100; // however long we slept
    return static_cast<int>(std::clamp<qint64>((now - lastRound) / roundPeriod, 1, most));
}
