// SPDX-License-Identifier: MIT
#pragma once

#include "communication/onboardmessagedispatcher.h"
#include "ground/openpayloads.h"
#include "ground/pingframe.h"

#include <QObject>

/// The ground's ear: takes frames of the on-board protocol and hands on the vehicle's pongs and payloads.
///
/// Frames of other types, such as pings and payloads of another ground station, are passed over; nothing is
/// ever answered.
class OnboardReceiver : public QObject
{
    Q_OBJECT

public:
    OnboardReceiver();

    void takeFrame(const QByteArray &bytes);
    /// Payloads of which fragments are missing.
    OpenPayloads &openPayloads() { return open; }
    /// Frames dropped so far as they were cut short.
    qint64 malformedFrames() const { return malformed; }

Q_SIGNALS:
    void pong(const PingBody &body);
    void payload(const CompletePayload &payload);

private:
    bool handlePong(const OnboardMessage &frame);
    bool handleFragment(const OnboardMessage &frame);

    OnboardMessageDispatcher dispatcher;
    OpenPayloads open;
    qint64 malformed = 0;
};
