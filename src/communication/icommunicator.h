// SPDX-License-Identifier: MIT
#pragma once

#include "autopilot/ibase.h"
#include "communication/payloadmessage.h"

/// The ground link as the host sees it: whole payloads out and in.
///
/// Lives on the main thread; owned by the plugin. sendData() alone may be called from any thread.
/// The order of signals, slots and virtual functions is part of the contract with hosts.
class NOFLAILSTEN_EXPORT ICommunicator : public IBase
{
    Q_OBJECT

public:
    explicit ICommunicator(QObject *parent = nullptr)
        : IBase(parent)
    {}

    virtual void start() = 0;
    /// Stops sending and drops what is queued.
    virtual void stop() = 0;
    /// Answers a ping; the timestamp is the ping's, milliseconds since 1970-01-01 UTC.
    virtual void sendPong(qint64 timestamp) = 0;

Q_SIGNALS:
    /// A payload from the ground station, complete.
    void receivedData(const CompletePayload &payload);

public Q_SLOTS:
    /// Sends a payload to the ground station, at once or through the queue.
    virtual void sendData(const CompletePayload &payload) = 0;
};
