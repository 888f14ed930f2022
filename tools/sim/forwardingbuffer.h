// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QVector>

#include <chrono>

/// Where a PX4 keeps the frames for one link until the next round of its loop, which sends them all.
///
/// It has room for two frames of any size; what finds it full is lost. With rounds 7 ms apart that shows what
/// was measured on a real one: of frames sent back to back 2 or 3 arrive, of those 5 ms apart all.
///
/// A round that our own process slept through counts as having been: what came in that time is read only now.
class ForwardingBuffer
{
public:
    using Time = std::chrono::nanoseconds; ///< Monotonic.

    static constexpr std::chrono::milliseconds roundPeriod{7};
    static constexpr int capacity = 2;

    explicit ForwardingBuffer(Time now)
        : lastRound(now)
    {}

    /// False when the frame is lost.
    [[nodiscard]] bool push(const QByteArray &frame, Time now);
    /// One round: everything that is in it, which is then empty.
    QVector<QByteArray> takeRound(Time now);

private:
    int roundsSinceLast(Time now) const;

    QVector<QByteArray> frames;
    int room = capacity;
    Time lastRound;
};
