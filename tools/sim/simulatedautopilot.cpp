// SPDX-License-Identifier: MIT
#include "sim/simulatedautopilot.h"

#include "sim/ardupilotmanner.h"
#include "sim/px4manner.h"

#include <algorithm>
#include <utility>

namespace {

using namespace std::chrono_literals;

AutopilotProfile profileOf(AutopilotKind kind)
{
    return kind == AutopilotKind::Px4 ? Px4Manner::profile() : ArduPilotManner::profile();
}

Aircraft makeAircraft(const SimulatedAutopilot::Settings &settings)
{
    const AutopilotProfile profile = profileOf(settings.kind);
    const BootTimes times = settings.bootDelayS
                                ? profile.bootTimes.scaledTo(fromSeconds(*settings.bootDelayS))
                                : profile.bootTimes;
    return {Vehicle(settings.wind),
            Guidance(profile.limits),
            Sensors(settings.seed, profile.start),
            Battery(profile.fullVolts),
            times,
            settings.unixTimeUs};
}

std::unique_ptr<AutopilotManner> makeManner(AutopilotKind kind, Aircraft *aircraft, Outbox *outbox)
{
    if (kind == AutopilotKind::Px4)
        return std::make_unique<Px4Manner>(aircraft, outbox);
    return std::make_unique<ArduPilotManner>(aircraft, outbox);
}

} // namespace

SimulatedAutopilot::SimulatedAutopilot(const Settings &settings, Outbox *where)
    : aircraft(makeAircraft(settings))
    , outbox(where)
    , autopilot(makeManner(settings.kind, &aircraft, where))
    , toldMode(autopilot->mode())
{}

SimulatedAutopilot::~SimulatedAutopilot() = default;

void SimulatedAutopilot::step()
{
    if (std::exchange(aircraft.rebootRequested, false))
        reboot();
    moveVehicle();
    if (aircraft.sinceBoot > SimTime(0) && aircraft.sinceBoot <= simStep)
        powerUp();
    if (!aircraft.isUp())
        return;
    if (!std::exchange(talking, true))
        startTalking();
    autopilot->step();
    if (aircraft.sinceBoot >= nextHeartbeat) {
        outbox->sendToAll(autopilot->heartbeat());
        nextHeartbeat += 1s;
    }
    for (AutopilotClient &client : clients)
        sendStreams(&client);
    tellChanges();
}

void SimulatedAutopilot::moveVehicle()
{
    aircraft.sinceBoot += simStep;
    aircraft.unixTimeUs += static_cast<quint64>(simStep.count());
    aircraft.vehicle.step(aircraft.guidance.step(aircraft.vehicle), aircraft.armed);
    aircraft.battery.step(aircraft.armed, aircraft.isFlying());
    aircraft.readings = aircraft.sensors.measure(aircraft.vehicle);
}

void SimulatedAutopilot::powerUp()
{
    for (const AutopilotClient &client : clients) {
        if (client.serial && !autopilot->bootBytes().isEmpty())
            outbox->sendBytes(autopilot->bootBytes(), client.id);
    }
}

void SimulatedAutopilot::startTalking()
{
    nextHeartbeat = aircraft.sinceBoot;
    for (AutopilotClient &client : clients)
        welcome(&client);
}

void SimulatedAutopilot::welcome(AutopilotClient *client)
{
    const std::optional<OutgoingMessage> greeting = autopilot->greeting();
    if (client->serial && greeting)
        outbox->send(*greeting, client->id);
    autopilot->startStreams(&client->streams);
}

void SimulatedAutopilot::sendStreams(AutopilotClient *client)
{
    const QVector<quint32> due = client->streams.takeDue(aircraft.sinceBoot);
    for (const quint32 id : due) {
        const std::optional<OutgoingMessage> message = autopilot->telemetry(id);
        if (!message)
            continue;
        client->streams.noteFrameSize(id, message->frameBytes());
        outbox->send(*message, client->id);
    }
}

void SimulatedAutopilot::addClient(int client, const Line &line)
{
    clients.push_back({client, line.serial, StreamSchedule(autopilot->budgetOf(line.baud))});
    if (!talking)
        return;
    welcome(&clients.back());
    outbox->send(autopilot->heartbeat(), client);
}

void SimulatedAutopilot::removeClient(int client)
{
    const auto isIt = [client](const AutopilotClient &one) { return one.id == client; };
    clients.erase(std::remove_if(clients.begin(), clients.end(), isIt), clients.end());
}

void SimulatedAutopilot::receive(const mavlink::mavlink_message_t &message, int client)
{
    AutopilotClient *from = find(client);
    if (!talking || !from)
        return;
    autopilot->receive(message, from);
    tellChanges();
}

AutopilotClient *SimulatedAutopilot::find(int client)
{
    const auto isIt = [client](const AutopilotClient &one) { return one.id == client; };
    const auto found = std::find_if(clients.begin(), clients.end(), isIt);
    return found != clients.end() ? &*found : nullptr;
}

void SimulatedAutopilot::reboot()
{
    aircraft.sinceBoot = -aircraft.bootTimes.down;
    aircraft.armed = false;
    aircraft.homeKnown = false;
    aircraft.guidance.idle();
    aircraft.guidance.setHome({});
    autopilot->boot();
    for (AutopilotClient &client : clients)
        client.streams.clear();
    talking = false;
    tellChanges();
}

void SimulatedAutopilot::tellChanges()
{
    const quint32 mode = autopilot->mode();
    if (std::exchange(toldMode, mode) != mode)
        Q_EMIT modeChanged(mode);
    if (std::exchange(toldArmed, aircraft.armed) != aircraft.armed)
        Q_EMIT armedChanged(aircraft.armed);
    const bool landed = aircraft.vehicle.state().landed;
    if (std::exchange(toldLanded, landed) != landed)
        Q_EMIT landedChanged(landed);
}
