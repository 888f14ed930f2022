// SPDX-License-Identifier: MIT
#pragma once

#include "communication/payloadmessage.h"
#include "ground/pacedsender.h"

#include <QObject>

#include <chrono>

/// Sends one payload to the host: cut into fragments, each in a frame of its own.
class FragmentSender : public QObject
{
    Q_OBJECT

public:
    /// The frames that carry a payload of at most 65535 bytes to the host, in ascending order of offset.
    static QVector<QByteArray> framesOf(const CompletePayload &payload);

    /// The sender is not owned and outlives this.
    FragmentSender(PacedSender *sender, const CompletePayload &payload);

    /// Queues all of it, behind what is queued already. False when that is too much for the queue.
    [[nodiscard]] bool start();
    int fragmentCount() const { return frames.size(); }
    int leftCount() const { return left; }
    /// From the first one's leaving to the last one's being taken by the link.
    std::chrono::duration<double> duration() const { return end - begin; }

Q_SIGNALS:
    /// Once: the link has taken all fragments.
    void done();

private:
    using Clock = std::chrono::steady_clock;

    void onFrameLeft(const QByteArray &frame);
    void onIdle();

    PacedSender *sender;
    const QVector<QByteArray> frames;
    int left = 0;
    bool finished = false;
    Clock::time_point begin;
    Clock::time_point end;
};
