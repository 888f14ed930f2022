// SPDX-License-Identifier: MIT
#pragma once

#include "communication/fragmentedcommunicator.h"

#include <QAbstractEventDispatcher>

#include <functional>

/// A ground link whose carrier keeps the frames, and whose timers the test fires. Logs as "X".
class RecordingCarrier : public FragmentedCommunicator
{
    Q_OBJECT

public:
    explicit RecordingCarrier(int periodMs = 20);

    using FragmentedCommunicator::sendFragment;
    void sendFragment(QByteArray frame) override;
    QString id() const override { return QStringLiteral("X"); }

    /// The timers that run, the faster one first.
    QList<QAbstractEventDispatcher::TimerInfo> timers() const;
    /// Delivers the event of a timer that runs, on the calling thread.
    void tick();
    void dropTick();
    void fire(int timerId);

    /// The frames since the last call, oldest first.
    QList<QByteArray> take();

    /// Called with each frame after it is kept; from inside the send, that is.
    std::function<void(const QByteArray &frame)> onFrame;
    /// Called after the event of a timer.
    std::function<void(int timerId)> onTimer;

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    QMutex framesMutex; // guards frames
    QList<QByteArray> frames;
};

/// A payload with that much data; the bytes tell their places.
CompletePayload payloadOf(int payloadId, int size, quint16 id = 1, int messageId = 9);

/// A frame of the on-board protocol, and the frames in which a payload goes to the ground: put together here
/// byte by byte, without the library.
QByteArray onboardFrame(int type, const QByteArray &body);
QList<QByteArray> onboardFrames(const CompletePayload &payload, int type = 2);
/// The body of a ping with that timestamp and what follows it.
QByteArray pingBody(qint64 timestamp, const QByteArray &version = QByteArray());
