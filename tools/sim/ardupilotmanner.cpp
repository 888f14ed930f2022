// SPDX-License-Identifier: MIT
#include "sim/ardupilotmanner.h"

#include "sim/ardupilottelemetry.h"
#include "sim/incoming.h"
#include "sim/telemetry.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

using namespace ArduPilotModes;
using namespace std::chrono_literals;
using Incoming::COMMAND_LONG;

enum Severity : quint8 { Critical = 2, Warning = 4, Info = 6 };

struct BootText
{
    SimTime BootTimes::*when;
    const char *text;
};

const BootText bootTexts[] = {
    {&BootTimes::heartbeat, "Calibrating barometer"},
    {&BootTimes::initialised, "ArduPilot Ready"},
    {&BootTimes::initialised, "AHRS: DCM active"},
    {&BootTimes::searching, "GPS 1: probing for u-blox at 230400 baud"},
    {&BootTimes::searching, "GPS 1: detected u-blox"},
    {&BootTimes::home, "EKF3 IMU0 origin set"},
    {&BootTimes::home, "Field Elevation Set: 584m"},
    {&BootTimes::ready, "EKF3 IMU0 is using GPS"},
};

/// Whether an interval of time that comes round again and again ends in this step.
bool comesRound(SimTime period, SimTime before, SimTime now)
{
    return before.count() / period.count() != now.count() / period.count();
}

} // namespace

AutopilotProfile ArduPilotManner::profile()
{
    AutopilotProfile profile;
    profile.start = {-35.3632610, 149.1652299, AMSL, 584.09};
    profile.bootTimes = {450ms, 800ms, 2800ms, 9840ms, 10040ms, 20020ms, 42s};
    profile.fullVolts = 12.6;
    return profile;
}

ArduPilotManner::ArduPilotManner(Aircraft *what, Outbox *where)
    : aircraft(what)
    , outbox(where)
{}

void ArduPilotManner::boot()
{
    currentMode = Stabilize;
    lastStep = SimTime(0);
    onGround = SimTime(0);
    armingEnds.reset();
}

void ArduPilotManner::step()
{
    if (armingEnds && aircraft->sinceBoot >= *armingEnds) {
        armingEnds.reset();
        aircraft->armed = true;
    }
    sayWhatHappens(std::exchange(lastStep, aircraft->sinceBoot));
    watchSetPoints();
    watchLanding();
}

void ArduPilotManner::sayWhatHappens(SimTime before)
{
    const SimTime now = aircraft->sinceBoot;
    for (const BootText &boot : bootTexts) {
        const SimTime when = aircraft->bootTimes.*boot.when;
        if (when >= before && when < now)
            say(Info, QLatin1String(boot.text));
    }
    if (!aircraft->homeKnown && now >= aircraft->bootTimes.home) {
        aircraft->setHome();
        outbox->sendToAll(OutgoingMessage::from(Telemetry::globalOrigin(*aircraft)));
        outbox->sendToAll(OutgoingMessage::from(Telemetry::homePosition(*aircraft)));
    }
    if (comesRound(10s, before, now))
        outbox->sendToAll(ArduPilotTelemetry::timeSync(*aircraft));
    if (comesRound(30s, before, now))
        outbox->sendToAll(ArduPilotTelemetry::parameterToken(*aircraft));
}

void ArduPilotManner::watchSetPoints()
{
    const bool flying = aircraft->guidance.task() == Guidance::Task::Velocity;
    if (flying && aircraft->sinceBoot - lastSetPoint > setPointHold)
        aircraft->guidance.hold();
}

void ArduPilotManner::watchLanding()
{
    const bool landing = currentMode == Land || currentMode == ReturnToLaunch;
    onGround = landing && aircraft->armed && !aircraft->isFlying() ? onGround + simStep : SimTime(0);
    if (onGround >= disarmDelay)
        disarm();
}

OutgoingMessage ArduPilotManner::heartbeat() const
{
    const bool initialised = aircraft->sinceBoot >= aircraft->bootTimes.initialised;
    const bool active = aircraft->armed && (aircraft->isFlying() || onGround > SimTime(0));
    const bool guided =
        !initialised || currentMode == Guided || currentMode == ReturnToLaunch || currentMode == Land;
    mavlink::minimal::msg::HEARTBEAT heartbeat = {};
    heartbeat.type = static_cast<quint8>(mavlink::minimal::MAV_TYPE::QUADROTOR);
    heartbeat.autopilot = static_cast<quint8>(mavlink::minimal::MAV_AUTOPILOT::ARDUPILOTMEGA);
    heartbeat.base_mode = static_cast<quint8>(81 + (guided ? 8 : 0) + (aircraft->armed ? 128 : 0));
    heartbeat.custom_mode = currentMode;
    heartbeat.system_status = !initialised ? 1 : active ? 4 : 3;
    return OutgoingMessage::from(heartbeat);
}

std::optional<OutgoingMessage> ArduPilotManner::telemetry(quint32 id)
{
    return ArduPilotTelemetry::make(id, *aircraft);
}

QByteArray ArduPilotManner::bootBytes() const
{
    return QByteArrayLiteral("0 0 0 ");
}

void ArduPilotManner::receive(const mavlink::mavlink_message_t &message, AutopilotClient *from)
{
    switch (message.msgid) {
    case mavlink::common::msg::SET_MODE::MSG_ID:
        onSetMode(message);
        break;
    case mavlink::common::msg::SET_POSITION_TARGET_LOCAL_NED::MSG_ID:
        onSetPoint(message);
        break;
    case mavlink::common::msg::REQUEST_DATA_STREAM::MSG_ID:
        onStreamRequest(message, from);
        break;
    case COMMAND_LONG::MSG_ID:
        onCommand(message, from);
        break;
    case mavlink::common::msg::PARAM_REQUEST_LIST::MSG_ID:
        sendToken(from->id);
        break;
    default:
        break;
    }
}

void ArduPilotManner::onSetMode(const mavlink::mavlink_message_t &message)
{
    const auto request = Incoming::decode<mavlink::common::msg::SET_MODE>(message);
    const bool isCustom = request.base_mode & 1;
    if (isCustom && Incoming::isForAutopilot(request.target_system, 0))
        obeyMode(request.custom_mode);
}

void ArduPilotManner::onSetPoint(const mavlink::mavlink_message_t &message)
{
    const auto target = Incoming::decode<Incoming::SET_POSITION_TARGET_LOCAL_NED>(message);
    const std::optional<Demand> demand = Incoming::velocityOf(target);
    if (!demand || !Incoming::isForAutopilot(target.target_system, target.target_component))
        return;
    if (!aircraft->armed || currentMode != Guided || !aircraft->isFlying())
        return;
    aircraft->guidance.fly(*demand);
    lastSetPoint = aircraft->sinceBoot;
}

void ArduPilotManner::onStreamRequest(const mavlink::mavlink_message_t &message, AutopilotClient *from)
{
    const double highestRate = 50;
    const auto request = Incoming::decode<mavlink::common::msg::REQUEST_DATA_STREAM>(message);
    if (!Incoming::isForAutopilot(request.target_system, request.target_component))
        return;
    const double rate = request.start_stop == 1 ? std::min<double>(request.req_message_rate, highestRate) : 0;
    const QVector<quint32> ids = ArduPilotTelemetry::messagesOfStream(request.req_stream_id);
    for (const quint32 id : ids)
        from->streams.setRate(id, rate, aircraft->sinceBoot);
}

void ArduPilotManner::onCommand(const mavlink::mavlink_message_t &message, AutopilotClient *from)
{
    const auto command = Incoming::decode<COMMAND_LONG>(message);
    if (!Incoming::isForAutopilot(command.target_system, command.target_component))
        return;
    const quint8 result = obey(command, from);
    outbox->send(Incoming::acknowledge(command.command, result, message), from->id);
}

quint8 ArduPilotManner::obey(const COMMAND_LONG &command, AutopilotClient *from)
{
    switch (command.command) {
    case Incoming::Arm:
        return obeyArming(command);
    case Incoming::TakeOff:
        return obeyTakeOff(static_cast<double>(command.param7));
    case Incoming::SetMode:
        return obeyMode(Incoming::wholeNumber(command.param2));
    case Incoming::ReturnToLaunch:
        return obeyMode(ReturnToLaunch);
    case Incoming::Land:
        return obeyMode(Land);
    case Incoming::Reboot:
        aircraft->rebootRequested = !aircraft->armed;
        return aircraft->armed ? Incoming::Failed : Incoming::Accepted;
    case Incoming::SetMessageInterval:
        return ArduPilotTelemetry::setInterval(command, aircraft->sinceBoot, &from->streams);
    default:
        return Incoming::Unsupported;
    }
}

quint8 ArduPilotManner::obeyArming(const COMMAND_LONG &command)
{
    if (command.param1 == 1)
        return setArmed(true).isEmpty() ? Incoming::Accepted : Incoming::Failed;
    if (aircraft->isFlying() && command.param2 != Incoming::forceDisarm)
        return Incoming::Failed;
    disarm();
    return Incoming::Accepted;
}

quint8 ArduPilotManner::obeyTakeOff(double heightM)
{
    const bool possible = currentMode == Guided && aircraft->armed && !aircraft->isFlying();
    if (!possible || !std::isfinite(heightM) || heightM <= 0)
        return Incoming::Failed;
    aircraft->guidance.takeOff(heightM, aircraft->vehicle.state());
    return Incoming::Accepted;
}

quint8 ArduPilotManner::obeyMode(quint32 mode)
{
    return setMode(mode).isEmpty() ? Incoming::Accepted : Incoming::Failed;
}

QString ArduPilotManner::setMode(quint32 mode)
{
    if (!modes().contains(mode)) {
        QString text = QStringLiteral("No such mode %1").arg(mode);
        say(Warning, text);
        return text;
    }
    if (mode != currentMode)
        enterMode(mode);
    return {};
}

void ArduPilotManner::enterMode(quint32 mode)
{
    currentMode = mode;
    if (mode == Land)
        aircraft->guidance.land();
    else if (mode == ReturnToLaunch)
        aircraft->guidance.returnHome();
    else if (aircraft->isFlying())
        aircraft->guidance.hold();
    else
        aircraft->guidance.idle();
}

QString ArduPilotManner::setArmed(bool armed)
{
    if (!armed && aircraft->isFlying())
        return QStringLiteral("it is flying");
    if (!armed) {
        disarm();
        return {};
    }
    QString refusal;
    if (!aircraft->isReady())
        refusal = QStringLiteral("Arm: Need Position Estimate");
    else if (currentMode == Land || currentMode == ReturnToLaunch)
        refusal = QStringLiteral("Arm: Mode not armable");
    if (!refusal.isEmpty())
        say(Critical, refusal);
    else if (!aircraft->armed && !armingEnds)
        arm();
    return refusal;
}

void ArduPilotManner::arm()
{
    aircraft->setHome();
    aircraft->guidance.idle();
    armingEnds = aircraft->sinceBoot + armingDelay;
    outbox->sendToAll(OutgoingMessage::from(Telemetry::globalOrigin(*aircraft)));
    outbox->sendToAll(OutgoingMessage::from(Telemetry::homePosition(*aircraft)));
    say(Info, QStringLiteral("Arming motors"));
}

void ArduPilotManner::disarm()
{
    armingEnds.reset();
    if (!aircraft->armed)
        return;
    aircraft->armed = false;
    aircraft->guidance.idle();
    say(Info, QStringLiteral("Disarming motors"));
}

void ArduPilotManner::sendToken(int client)
{
    outbox->send(ArduPilotTelemetry::parameterToken(*aircraft), client);
}

void ArduPilotManner::say(quint8 severity, const QString &text)
{
    mavlink::common::msg::STATUSTEXT message = {};
    message.severity = severity;
    Telemetry::setText(&message.text, text.toUtf8());
    outbox->sendToAll(OutgoingMessage::from(message));
}
