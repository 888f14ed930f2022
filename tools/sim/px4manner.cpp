// SPDX-License-Identifier: MIT
#include "sim/px4manner.h"

#include "sim/px4telemetry.h"
#include "sim/telemetry.h"

#include <algorithm>
#include <cmath>

using namespace std::chrono_literals;

AutopilotProfile Px4Manner::profile()
{
    AutopilotProfile profile;
    profile.start = {47.3977428, 8.5455967, AMSL, 489.05};
    profile.bootTimes = {7s, 500ms, 4000ms, 1000ms, 3600ms, 3820ms, 5s};
    profile.limits.climb = 3;
    profile.limits.slowClimb = 1.5;
    profile.limits.slowClimbBelow = 10;
    profile.limits.shortfall = 0.28;
    profile.limits.landing = 0.6;
    profile.limits.returnHeight = 30;
    profile.limits.spoolUp = 3000ms;
    profile.fullVolts = 16.2;
    return profile;
}

Px4Manner::Px4Manner(Aircraft *what, Outbox *where)
    : AutopilotManner(what, where)
{
    currentMode = Loiter;
}

void Px4Manner::boot()
{
    currentMode = Loiter;
    chosenMode = Loiter;
    setPointsLost = false;
    lastSetPoint.reset();
    onGround = SimTime(0);
    hasFlown = false;
}

void Px4Manner::step()
{
    if (!aircraft->homeKnown && aircraft->sinceBoot >= aircraft->bootTimes.home)
        aircraft->setHome();
    watchSetPoints();
    if (currentMode == TakeOff && aircraft->guidance.task() == Guidance::Task::Hold && aircraft->isFlying())
        enterMode(Loiter);
    watchFlight();
}

// It returns when they fail to come, until they come again.
void Px4Manner::watchSetPoints()
{
    if (currentMode == OffBoard && aircraft->armed && !setPointsCome()) {
        enterMode(Return);
        setPointsLost = true;
    } else if (setPointsLost && setPointsCome()) {
        enterMode(OffBoard);
    }
}

// Touching down, the pressure under the rotors makes it believe that it sinks.
void Px4Manner::watchFlight()
{
    const double groundEffectM = 1.3;
    hasFlown = aircraft->armed && (hasFlown || aircraft->isFlying());
    onGround = hasFlown && !aircraft->isFlying() ? onGround + simStep : SimTime(0);
    if (onGround > SimTime(0)) {
        aircraft->readings.place.altitude -= groundEffectM;
        aircraft->readings.position.z += groundEffectM;
    }
    if (onGround >= disarmDelay)
        disarm();
}

bool Px4Manner::setPointsCome() const
{
    return lastSetPoint && aircraft->sinceBoot - *lastSetPoint <= setPointTimeout;
}

bool Px4Manner::isAutomatic() const
{
    return (currentMode >> 16 & 0xff) == 4;
}

quint8 Px4Manner::systemStatus() const
{
    const quint8 unknown = 0;
    const quint8 standby = 3;
    const quint8 active = 4;
    const quint8 critical = 5;
    if (aircraft->armed)
        return setPointsLost ? critical : active;
    const bool initialised = aircraft->sinceBoot >= aircraft->bootTimes.initialised;
    return initialised && canBeArmed() ? standby : unknown;
}

bool Px4Manner::canBeArmed() const
{
    return !isLandingMode() && (currentMode != OffBoard || setPointsCome());
}

OutgoingMessage Px4Manner::heartbeat() const
{
    const int base = isAutomatic() ? 29 : currentMode == OffBoard ? 17 : 81;
    mavlink::minimal::msg::HEARTBEAT heartbeat = {};
    heartbeat.type = static_cast<quint8>(mavlink::minimal::MAV_TYPE::QUADROTOR);
    heartbeat.autopilot = static_cast<quint8>(mavlink::minimal::MAV_AUTOPILOT::PX4);
    heartbeat.base_mode = static_cast<quint8>(base + (aircraft->armed ? 128 : 0));
    heartbeat.custom_mode = currentMode;
    heartbeat.system_status = systemStatus();
    return OutgoingMessage::from(heartbeat);
}

void Px4Manner::startStreams(StreamSchedule *streams) const
{
    for (const Px4Telemetry::DefaultStream &stream : Px4Telemetry::defaultStreams())
        streams->setRate(stream.id, stream.rateHz, aircraft->sinceBoot, stream.priority);
}

std::optional<OutgoingMessage> Px4Manner::telemetry(quint32 id)
{
    return Px4Telemetry::make(id, *aircraft);
}

std::optional<OutgoingMessage> Px4Manner::greeting() const
{
    return Px4Telemetry::version();
}

OutgoingMessage Px4Manner::parameterToken() const
{
    return Px4Telemetry::parameterToken();
}

void Px4Manner::onModeRequest(const SET_MODE &request, const mavlink::mavlink_message_t &message,
                              AutopilotClient *from)
{
    const bool isCustom = request.base_mode & 1;
    const quint8 result = isCustom ? obeyMode(request.custom_mode) : refusal();
    outbox->send(Incoming::acknowledge(Incoming::SetMode, result, message), from->id);
}

void Px4Manner::onVelocity(const Demand &demand)
{
    lastSetPoint = aircraft->sinceBoot;
    if (currentMode == OffBoard && aircraft->armed)
        aircraft->guidance.fly(demand);
}

void Px4Manner::onCommand(const COMMAND_LONG &command, const mavlink::mavlink_message_t &message,
                          AutopilotClient *from)
{
    const quint8 result = obey(command, from);
    // A mode is acknowledged twice, and only the second says what became of it.
    if (command.command == Incoming::SetMode)
        outbox->send(Incoming::acknowledge(command.command, Incoming::Accepted, message), from->id);
    outbox->send(Incoming::acknowledge(command.command, result, message), from->id);
}

quint32 Px4Manner::modeOf(const COMMAND_LONG &command) const
{
    const quint32 mainMode = Incoming::wholeNumber(command.param2) & 0xff;
    const quint32 subMode = Incoming::wholeNumber(command.param3) & 0xff;
    return mainMode << 16 | subMode << 24;
}

quint8 Px4Manner::obeyOther(const COMMAND_LONG &command, AutopilotClient *from)
{
    switch (command.command) {
    case Incoming::SetMessageInterval:
        return setInterval(command, from);
    case Incoming::RequestMessage:
        return sendOnce(Incoming::wholeNumber(command.param1), from->id);
    default:
        return Incoming::Unsupported;
    }
}

// Heights that make no sense, so also one that is meant above home, give the least height.
quint8 Px4Manner::obeyTakeOff(double altitudeM)
{
    if (!aircraft->armed || aircraft->isFlying())
        return Incoming::TemporarilyRejected;
    const double aboveHomeM = altitudeM - aircraft->home.altitude;
    const double heightM = std::isfinite(aboveHomeM) ? std::max(aboveHomeM, leastTakeOffM) : leastTakeOffM;
    enterMode(TakeOff);
    aircraft->guidance.takeOff(heightM, aircraft->vehicle.state());
    return Incoming::Accepted;
}

quint8 Px4Manner::setInterval(const COMMAND_LONG &command, AutopilotClient *from)
{
    const quint32 id = Incoming::wholeNumber(command.param1);
    const std::optional<double> usual = Px4Telemetry::usualRate(id);
    if (!usual)
        return Incoming::Failed;
    const double intervalUs = static_cast<double>(command.param2);
    const double rate = intervalUs > 0 ? 1e6 / intervalUs : intervalUs == 0 ? *usual : 0;
    from->streams.changeRate(id, std::min(rate, 1.0 / toSeconds(simStep)), aircraft->sinceBoot);
    return Incoming::Accepted;
}

quint8 Px4Manner::sendOnce(quint32 id, int client)
{
    const std::optional<OutgoingMessage> message = Px4Telemetry::make(id, *aircraft);
    if (!message)
        return Incoming::Failed;
    outbox->send(*message, client);
    return Incoming::Accepted;
}

QString Px4Manner::setMode(quint32 mode)
{
    if (!modes().contains(mode))
        return QStringLiteral("there is no mode %1").arg(mode);
    if (mode == OffBoard && !setPointsCome())
        return QStringLiteral("no set-points come");
    if (mode != currentMode)
        enterMode(mode);
    return {};
}

void Px4Manner::enterMode(quint32 mode)
{
    changeMode(mode);
    setPointsLost = false;
    if (!isLandingMode() && mode != TakeOff)
        chosenMode = mode;
    tellOfChange();
    if (isLandingMode())
        tellGimbal();
}

QString Px4Manner::arm()
{
    if (!aircraft->isReady())
        return QStringLiteral("it is not ready yet");
    if (!canBeArmed())
        return QStringLiteral("not in this mode");
    if (aircraft->armed)
        return {};
    aircraft->armed = true;
    aircraft->setHome();
    aircraft->guidance.idle();
    tellOfChange();
    return {};
}

void Px4Manner::disarm()
{
    if (!aircraft->armed)
        return;
    aircraft->armed = false;
    aircraft->guidance.idle();
    if (isLandingMode())
        currentMode = chosenMode;
    setPointsLost = false;
    tellOfChange();
}

// A real one tells its other parts, over every link.
void Px4Manner::tellOfChange()
{
    outbox->sendToAll(Px4Telemetry::event(++changes, *aircraft));
}

void Px4Manner::tellGimbal()
{
    const QVector<OutgoingMessage> commands = Px4Telemetry::gimbalCommands();
    for (const OutgoingMessage &command : commands)
        outbox->sendToAll(command);
}

const ModeTable &Px4Manner::modes() const
{
    static const ModeTable table = {
        {Manual, QLatin1String("manual")},   {Altitude, QLatin1String("altctl")},
        {Position, QLatin1String("posctl")}, {OffBoard, QLatin1String("offboard")},
        {TakeOff, QLatin1String("takeoff")}, {Loiter, QLatin1String("loiter")},
        {Mission, QLatin1String("mission")}, {Return, QLatin1String("rtl")},
        {Land, QLatin1String("land")},
    };
    return table;
}
