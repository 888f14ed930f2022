// SPDX-License-Identifier: MIT
#pragma once

#include "sim/aircraft.h"
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
/// and speaks through an outbox, neither of which it owns; both outlive it. It is called once a step and for
/// each message that comes, and not before it is up.
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

    /// A message from a client, whoever it is for.
    void receive(const mavlink::mavlink_message_t &message, AutopilotClient *from);

    virtual const ModeTable &modes() const = 0;
    quint32 mode() const { return currentMode; }
    /// What an operator at a remote control does. Nothing, or why it is refused.
    virtual QString setMode(quint32 mode) = 0;
    QString setArmed(bool armed);
    virtual quint32 landMode() const = 0;

protected:
    using COMMAND_LONG = mavlink::common::msg::COMMAND_LONG;
    using SET_MODE = mavlink::common::msg::SET_MODE;

    AutopilotManner(Aircraft *aircraft, Outbox *outbox);

    virtual quint32 returnMode() const = 0;
    /// The result with which it refuses what it could do at another time.
    virtual quint8 refusal() const = 0;
    /// Nothing, or why it cannot. When it is armed already it stays so.
    virtual QString arm() = 0;
    /// In the air too.
    virtual void disarm() = 0;
    /// Stands for all the parameters that a real one has.
    virtual OutgoingMessage parameterToken() const = 0;

    // What is addressed to it.
    virtual void onModeRequest(const SET_MODE &request, const mavlink::mavlink_message_t &message,
                               AutopilotClient *from) = 0;
    virtual void onVelocity(const Demand &demand) = 0;
    virtual void onCommand(const COMMAND_LONG &command, const mavlink::mavlink_message_t &message,
                           AutopilotClient *from) = 0;
    virtual void onOther(const mavlink::mavlink_message_t &message, AutopilotClient *from);

    /// The result of a command.
    quint8 obey(const COMMAND_LONG &command, AutopilotClient *from);
    virtual quint8 obeyTakeOff(double parameter) = 0;
    virtual quint32 modeOf(const COMMAND_LONG &command) const = 0;
    virtual quint8 obeyOther(const COMMAND_LONG &command, AutopilotClient *from) = 0;
    quint8 obeyMode(quint32 mode);

    bool isLandingMode() const { return currentMode == landMode() || currentMode == returnMode(); }
    /// Changes the mode, and what the vehicle is about.
    void changeMode(quint32 mode);

    Aircraft *const aircraft;
    Outbox *const outbox;
    quint32 currentMode = 0;

private:
    void receiveMode(const mavlink::mavlink_message_t &message, AutopilotClient *from);
    void receiveSetPoint(const mavlink::mavlink_message_t &message);
    void receiveCommand(const mavlink::mavlink_message_t &message, AutopilotClient *from);
    quint8 obeyArming(const COMMAND_LONG &command);
    quint8 obeyReboot();
    quint8 resultOf(const QString &refused) const;
};
