// SPDX-License-Identifier: MIT
#include "ground/pacedsender.h"

#include "ground/framecarrier.h"

PacedSender::PacedSender(FrameCarrier *carrier, std::chrono::milliseconds pause)
    : link(carrier)
    , pace(pause)
{
    heartbeats.setInterval(std::chrono::seconds(1));
    nextSlot.setSingleShot(true);
    nextSlot.setTimerType(Qt::PreciseTimer);
    connect(&heartbeats, &QTimer::timeout, this, [this] {
        heartbeatDue = true;
        sendNext();
    });
    connect(&nextSlot, &QTimer::timeout, this, &PacedSender::sendNext);
    connect(link, &FrameCarrier::drained, this, &PacedSender::onDrained);
}

void PacedSender::start()
{
    running = true;
    heartbeatDue = true;
    lastLeft = Clock::now() - pace;
    heartbeats.start();
    sendNext();
}

void PacedSender::stop()
{
    running = false;
    heartbeats.stop();
    nextSlot.stop();
    queue.clear();
}

bool PacedSender::send(const QByteArray &frame)
{
    if (queue.size() >= queueLimit)
        return false;
    queue.enqueue(frame);
    sendNext();
    return true;
}

bool PacedSender::isIdle() const
{
    return queue.isEmpty() && !draining;
}

// The pause counts from when the link has taken the frame: until then it may not be on the wire.
void PacedSender::onDrained()
{
    if (!draining || !link->isDrained())
        return;
    draining = false;
    lastLeft = Clock::now();
    sendNext();
    if (running && isIdle())
        Q_EMIT idle();
}

void PacedSender::sendNext()
{
    if (!running || draining || (!heartbeatDue && queue.isEmpty()))
        return;
    const Clock::duration left = lastLeft + pace - Clock::now();
    if (left > Clock::duration::zero())
        nextSlot.start(std::chrono::ceil<std::chrono::milliseconds>(left));
    else
        sendOne();
}

void PacedSender::sendOne()
{
    draining = true;
    lastLeft = Clock::now();
    const bool heartbeat = heartbeatDue && (!heartbeatLast || queue.isEmpty());
    heartbeatLast = heartbeat;
    if (heartbeat) {
        heartbeatDue = false;
        link->sendHeartbeat();
    } else {
        const QByteArray frame = queue.dequeue();
        link->sendFrame(frame);
        Q_EMIT frameLeft(frame);
    }
    onDrained(); // a link may take it at once
}
