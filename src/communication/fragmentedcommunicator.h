// SPDX-License-Identifier: MIT
#pragma once

#include "communication/icommunicator.h"
#include "communication/onboardmessage.h"

#include <QList>
#include <QMutex>

#include <atomic>

class OnboardMessageDispatcher;

/// The ground link over a carrier that moves small frames: sends payloads at once or paced through a queue,
/// cut into fragments of one frame each, and puts together what comes in. The carrier is sendFragment().
///
/// Which payloads wait is decided by their PayloadId:
///
///     4, 251, 253, 254           sent at once, on the caller's thread
///     1                          sent at once when the MessageId is 0, else queued
///     all others                 queued
///
/// The queue has no limit of its own. One payload of it leaves per tick of the telemetry timer; every 5 s all
/// of it is thrown away without notice: late telemetry is worth less than fresh one.
///
/// Threads: lives on the main thread. sendData() may be called from any thread, also from inside a signal
/// that a send of the same thread has caused (a lost connection, say): it never waits for itself. A payload
/// that comes in that way leaves right after the one that is being sent. The fragments of one payload are
/// handed to the carrier in one go, never mixed with another's; a pong takes no lock and may fall between
/// them. All else is for the main thread.
class NOFLAILSTEN_EXPORT FragmentedCommunicator : public ICommunicator
{
    Q_OBJECT

public:
    /// @param telemetryPeriodMs period of the timer that drains the queue, milliseconds; taken once.
    explicit FragmentedCommunicator(int telemetryPeriodMs, QObject *parent = nullptr);
    /// Stops.
    ~FragmentedCommunicator() override;

    /// Starts the timers that do not run.
    void start() override;
    /// Stops both timers and empties the queue.
    void stop() override;
    /// Answers a ping with its timestamp (milliseconds since 1970-01-01 UTC) and this side's version, 0.2.
    void sendPong(qint64 timestamp) override;

    /// The carrier: takes one frame, serialised. Runs on the thread that sends, with the mutex held but for
    /// pongs.
    virtual void sendFragment(QByteArray frame) = 0;
    /// Serialises a frame, with a fresh checksum, for the carrier.
    void sendFragment(OnboardMessage &frame);

    /// Handles one received frame: answers pings, puts fragments together and emits receivedData() for what
    /// the ground has for the host. A malformed frame is dropped with one warning.
    void parseIncomingData(const QByteArray &bytes);

    void stopTelemetryTimer();
    void stopDropQueueTimer();

public Q_SLOTS:
    void sendData(const CompletePayload &payload) override;
    /// Starts the timer anew.
    void startTelemetryTimer();
    void startDropQueueTimer();

protected:
    void timerEvent(QTimerEvent *event) override;

    /// Sends all fragments of a payload now; the caller holds the mutex.
    void fragmentAndSendMessage(const CompletePayload &payload);

private:
    class SendLock;

    bool isSendingOnThisThread() const;
    void sendWithDeferred(const CompletePayload &payload);
    void sendOldest();
    void dropQueue();
    void onPing(OnboardMessageId type, qint64 timestamp);
    void onPayload(OnboardMessageId type, const CompletePayload &payload);
    void logFirstPing(qint64 timestamp);

    QMutex mutex; // guards the queues, the timers' work and every send but a pong's
    OnboardMessageDispatcher *dispatcher;
    bool firstPing = true;
    int telemetryPeriodMs;
    int telemetryTimerId = -1; // Qt timer ids; -1: not running
    int dropQueueTimerId = -1;
    QList<CompletePayload> queue;            // oldest first
    QList<CompletePayload> deferred;         // to be sent by the send that they came in from, oldest first
    std::atomic<Qt::HANDLE> sender{nullptr}; // thread that holds the mutex
};
