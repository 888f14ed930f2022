// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>
#include <QQueue>
#include <QTimer>

#include <chrono>

class FrameCarrier;

/// Sends frames with a pause between them, and a heartbeat every second.
///
/// A flight controller relays only to links that it has heard, so a heartbeat leaves before everything else;
/// and some lose frames that come close together, so between any two, heartbeats included, lies the pace at
/// least. A frame leaves only when the link has taken the one before it.
///
/// The queue holds 1024 frames, enough for the largest payload; a frame more is refused.
class PacedSender : public QObject
{
    Q_OBJECT

public:
    static constexpr int queueLimit = 1024; ///< Frames.

    /// The link is not owned and outlives this.
    PacedSender(FrameCarrier *link, std::chrono::milliseconds pace);

    /// To be called once, when the link is open: the first heartbeat leaves at once.
    void start();
    /// Nothing leaves any more.
    void stop();
    /// False, and nothing happens, when the queue is full.
    [[nodiscard]] bool send(const QByteArray &frame);
    /// Whether all frames have left and the link has taken them.
    bool isIdle() const;

Q_SIGNALS:
    /// The frame has been handed to the link.
    void frameLeft(const QByteArray &frame);
    /// isIdle() has become true.
    void idle();

private:
    using Clock = std::chrono::steady_clock;

    void onDrained();
    void sendNext();
    void sendOne();

    FrameCarrier *link;
    const std::chrono::milliseconds pace;
    QQueue<QByteArray> queue;
    QTimer heartbeats;
    QTimer nextSlot;
    Clock::time_point lastLeft;
    bool running = false;
    bool heartbeatDue = false;
    bool heartbeatLast = false; // what left last was one: at a slow pace the queue has its turn too
    bool draining = false;      // the link has not taken the last frame yet
};
