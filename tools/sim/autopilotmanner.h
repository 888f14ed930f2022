// SPDX-License-Identifier: MIT
#pragma once

#include "sim/modetable.h"
#include "sim/outbox.h"
#include "sim/streamschedule.h"

#include <optional>

/// A client as the autopilot sees it: a link of its own, with what is sent there by itself.
struct AutopilotClient
{
    int id = 0;
    bool serial = false; ///< On a serial line, or something that looks like one.
    StreamSchedule streams;
};

/// How one make of autopilot behaves: its modes, what it answers, what it sends when. It acts on an aircraft
/// and speaks through an outbox, neither of which it owns. It is called once a step and for each message that
/// comes, and not before it is up.
class AutopilotManner
{
public:
    virtual ~AutopilotManner() = default;

    /// Power-up: everything it had been told is forgotten.
    virtual void boot() = 0;
    /// Once a step, after the vehicle has moved.
    virtual void step() = 0;

    virtual OutgoingMessage heartbeat() const = 0;
    /// What it sends unasked, into an empty schedule.
    virtual void startStreams(StreamSchedule *streams) const = 0;
    /// A streamed message as of this moment; nothing while there is none to send.
    virtual std::optional<OutgoingMessage> telemetry(quint32 id) = 0;
    /// What comes first to a client that joins a serial line.
    virtual std::optional<OutgoingMessage> greeting() const = 0;
    /// What a power-up writes to serial lines before there is any MAVLink.
    virtual QByteArray bootBytes() const = 0;
    /// The bytes a second that it allows itself on a line of so many bits a second.
    virtual double budgetOf(int baud) const = 0;

    /// A message from a client; whether it is for the autopilot is the manner's to see.
    virtual void receive(const mavlink::mavlink_message_t &message, AutopilotClient *from) = 0;

    virtual const ModeTable &modes() const = 0;
    virtual quint32 mode() const = 0;
    /// What an operator at a remote control does. Nothing, or why it is refused.
    virtual QString setMode(quint32 mode) = 0;
    virtual QString setArmed(bool armed) = 0;
    virtual quint32 landMode() const = 0;
};
