// SPDX-License-Identifier: MIT
#pragma once

#include "sim/outgoingmessage.h"

/// Where an autopilot's messages go: to clients by their number. One that has left gets nothing.
class Outbox
{
public:
    virtual ~Outbox() = default;
    virtual void send(const OutgoingMessage &message, int client) = 0;
    virtual void sendToAll(const OutgoingMessage &message) = 0;
    /// Bytes that are no frame.
    virtual void sendBytes(const QByteArray &bytes, int client) = 0;
};
