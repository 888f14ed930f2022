// SPDX-License-Identifier: MIT
#include "ground/pingtracker.h"

#include <QDateTime>

#include <algorithm>
#include <limits>

PingTracker::PingTracker(PacedSender *pacedSender, const OnboardReceiver &receiver)
    : sender(pacedSender)
{
    connect(sender, &PacedSender::frameLeft, this, &PingTracker::onFrameLeft);
    connect(&receiver, &OnboardReceiver::pong, this, &PingTracker::onPong);
}

void PingTracker::ping()
{
    ++sequence;
    const qint64 timestamp = nextTimestamp();
    if (unanswered.size() >= limit)
        unanswered.erase(unanswered.begin());
    unanswered.insert(timestamp, {sequence, Clock::now()});
    if (!sender->send(PingBody::makePing(timestamp)))
        unanswered.remove(timestamp);
}

double PingTracker::lossPercent() const
{
    if (sequence == 0)
        return std::numeric_limits<double>::quiet_NaN();
    return 100.0 * (sequence - answers) / sequence;
}

double PingTracker::leftPerSecond() const
{
    const std::chrono::duration<double> time = lastLeft - firstLeft;
    return leftCount < 2 ? std::numeric_limits<double>::quiet_NaN() : (leftCount - 1) / time.count();
}

qint64 PingTracker::nextTimestamp()
{
    lastTimestamp = std::max(QDateTime::currentMSecsSinceEpoch(), lastTimestamp + 1);
    return lastTimestamp;
}

// The round trip begins here and not in the queue.
void PingTracker::onFrameLeft(const QByteArray &frame)
{
    const OnboardMessage message(frame);
    if (message.type != OnboardPing)
        return;
    const auto found = unanswered.find(PingBody::read(message)->timestampMs);
    if (found == unanswered.end())
        return;
    lastLeft = Clock::now();
    if (leftCount++ == 0)
        firstLeft = lastLeft;
    found->left = lastLeft;
}

void PingTracker::onPong(const PingBody &pong)
{
    const auto found = unanswered.constFind(pong.timestampMs);
    if (found == unanswered.constEnd())
        return;
    const Answer answer{found->sequence, Clock::now() - found->left, pong};
    unanswered.erase(unanswered.find(pong.timestampMs));
    ++answers;
    times.add(answer.roundTrip);
    Q_EMIT answered(answer);
}
