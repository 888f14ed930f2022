// SPDX-License-Identifier: MIT
#pragma once

#include "sim/incoming.h"
#include "sim/outbox.h"
#include "sim/simulatedautopilot.h"

#include <QList>
#include <QMap>
#include <QStringList>

#include <algorithm>
#include <cmath>

/// Keeps what an autopilot sends.
class FakeOutbox : public Outbox
{
public:
    struct Sent
    {
        OutgoingMessage message;
        int client; ///< everybody: to all.
        SimTime time;
    };

    static constexpr int everybody = -1;

    void send(const OutgoingMessage &message, int client) override { sent.append({message, client, now}); }
    void sendToAll(const OutgoingMessage &message) override { send(message, everybody); }
    void sendBytes(const QByteArray &some, int client) override { bytes[client] += some; }

    int count(quint32 id) const
    {
        int found = 0;
        for (const Sent &one : sent)
            found += one.message.id == id ? 1 : 0;
        return found;
    }

    /// All messages of a kind, oldest first.
    template <typename Message>
    QList<Message> all() const
    {
        QList<Message> found;
        for (const Sent &one : sent) {
            if (one.message.id == Message::MSG_ID)
                found.append(decode<Message>(one.message));
        }
        return found;
    }

    template <typename Message>
    static Message decode(const OutgoingMessage &message)
    {
        mavlink::mavlink_message_t wire = {};
        wire.len = static_cast<uint8_t>(message.payload.size());
        std::copy(message.payload.begin(), message.payload.end(), _MAV_PAYLOAD_NON_CONST(&wire));
        return Incoming::decode<Message>(wire);
    }

    QStringList texts() const
    {
        QStringList found;
        for (const auto &status : all<mavlink::common::msg::STATUSTEXT>())
            found.append(
                QString::fromLatin1(status.text.data(), static_cast<int>(qstrnlen(status.text.data(), 50))));
        return found;
    }

    /// The results of the acknowledgements of a command.
    QList<int> results(quint16 command) const
    {
        QList<int> found;
        for (const auto &ack : all<mavlink::common::msg::COMMAND_ACK>()) {
            if (ack.command == command)
                found.append(ack.result);
        }
        return found;
    }

    QList<Sent> sent;
    QMap<int, QByteArray> bytes;
    SimTime now{0};
};

/// Of a COMMAND_LONG.
struct CommandParameters
{
    float first = 0;
    float second = 0;
    float third = 0;
    float last = 0;
};

/// An autopilot with one client, 2/5, which is number 1 and which the test plays, and a clock that the test
/// moves.
struct Flight
{
    static constexpr int client = 1;

    explicit Flight(AutopilotKind kind)
        : Flight(settingsOf(kind))
    {}

    explicit Flight(const SimulatedAutopilot::Settings &settings, const SimulatedAutopilot::Line &line = {})
        : autopilot(settings, &outbox)
    {
        autopilot.addClient(client, line);
    }

    static SimulatedAutopilot::Settings settingsOf(AutopilotKind kind)
    {
        SimulatedAutopilot::Settings settings;
        settings.kind = kind;
        return settings;
    }

    void run(double seconds)
    {
        for (SimTime end = outbox.now + fromSeconds(seconds); outbox.now < end; outbox.now += simStep)
            autopilot.step();
    }

    void send(const mavlink::Message &message)
    {
        mavlink::mavlink_message_t wire = {};
        mavlink::MsgMap map(wire);
        message.serialize(map);
        wire.sysid = 2;
        wire.compid = 5;
        autopilot.receive(wire, client);
    }

    /// Set-points, ten a second.
    void fly(double north, double east, double down, double yawRate, double seconds)
    {
        for (int i = 0; i < static_cast<int>(seconds * 10); ++i) {
            setPoint(north, east, down, yawRate);
            run(0.1);
        }
    }

    void setPoint(double north, double east, double down, double yawRate = 0)
    {
        mavlink::common::msg::SET_POSITION_TARGET_LOCAL_NED target = {};
        target.target_system = 1;
        target.coordinate_frame = 1;
        target.type_mask = 1991;
        target.vx = static_cast<float>(north);
        target.vy = static_cast<float>(east);
        target.vz = static_cast<float>(down);
        target.yaw_rate = static_cast<float>(yawRate);
        send(target);
    }

    void setMode(quint32 mode)
    {
        mavlink::common::msg::SET_MODE request = {};
        request.target_system = 1;
        request.base_mode = 1;
        request.custom_mode = mode;
        send(request);
    }

    /// The result of its last acknowledgement, or -1.
    int command(quint16 number, const CommandParameters &parameters = {}, quint8 targetComponent = 0)
    {
        mavlink::common::msg::COMMAND_LONG command = {};
        command.target_system = 1;
        command.target_component = targetComponent;
        command.command = number;
        command.param1 = parameters.first;
        command.param2 = parameters.second;
        command.param3 = parameters.third;
        command.param7 = parameters.last;
        outbox.sent.clear();
        send(command);
        const QList<int> results = outbox.results(number);
        return results.isEmpty() ? -1 : results.last();
    }

    int arm() { return command(Incoming::Arm, {1, 0, 0, 0}); }

    mavlink::minimal::msg::HEARTBEAT heartbeat() const
    {
        return FakeOutbox::decode<mavlink::minimal::msg::HEARTBEAT>(autopilot.manner().heartbeat());
    }

    const Vehicle::State &vehicle() const { return autopilot.state().vehicle.state(); }
    double heightM() const { return -vehicle().position.z; }
    double speed() const { return std::hypot(vehicle().velocity.x, vehicle().velocity.y); }

    FakeOutbox outbox;
    SimulatedAutopilot autopilot;
};
