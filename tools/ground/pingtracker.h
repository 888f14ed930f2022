// SPDX-License-Identifier: MIT
#pragma once

#include "ground/onboardreceiver.h"
#include "ground/pacedsender.h"
#include "ground/roundtrips.h"

#include <QMap>
#include <QObject>

/// Sends pings and matches the pongs to them, by their timestamps; so no two pings get the same one.
///
/// At most 4096 unanswered pings are remembered; one more makes the oldest count as lost, even if its pong
/// should still come. Pongs of others' pings, and a second pong, are passed over.
class PingTracker : public QObject
{
    Q_OBJECT

public:
    static constexpr int limit = 4096;

    struct Answer
    {
        int sequence; ///< Of the ping; the first is 1.
        std::chrono::nanoseconds roundTrip;
        PingBody pong;
    };

    /// Neither is owned, and both outlive this.
    PingTracker(PacedSender *sender, const OnboardReceiver &receiver);

    /// Queues a ping. A full queue drops it; it then counts as one that was not answered.
    void ping();

    int pingCount() const { return sequence; }
    int answerCount() const { return answers; }
    /// Of the pings, in percent; NaN without a ping.
    double lossPercent() const;
    /// Pings that left, per second, from the first to the last; NaN for fewer than two.
    double leftPerSecond() const;
    const RoundTrips &roundTrips() const { return times; }

Q_SIGNALS:
    void answered(const PingTracker::Answer &answer);

private:
    using Clock = std::chrono::steady_clock;

    struct Ping
    {
        int sequence = 0;
        Clock::time_point left;
    };

    qint64 nextTimestamp();
    void onFrameLeft(const QByteArray &frame);
    void onPong(const PingBody &pong);

    PacedSender *sender;
    QMap<qint64, Ping> unanswered; // by timestamp
    RoundTrips times;
    qint64 lastTimestamp = 0;
    Clock::time_point firstLeft;
    Clock::time_point lastLeft;
    int leftCount = 0;
    int sequence = 0;
    int answers = 0;
};
