// SPDX-License-Identifier: MIT
#include "sim/ardupilotmanner.h"

#include "sim/ardupilottelemetry.h"
#include "sim/telemetry.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

using namespace ArduPilotModes;
using namespace std::chrono_literals;

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
    : AutopilotManner(what, where)
{
    currentMode = Stabilize;
}

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
        sendPlaces();
    }
    if (comesRound(10s, before, now))
        outbox->sendToAll(ArduPilotTelemetry::timeSync(*aircraft));
    if (comesRound(30s, before, now))
        outbox->sendToAll(parameterToken());
}

void ArduPilotManner::sendPlaces()
{
    outbox->sendToAll(OutgoingMessage::from(Telemetry::globalOrigin(*aircraft)));
    outbox->sendToAll(OutgoingMessage::from(Telemetry::homePosition(*aircraft)));
}

void ArduPilotManner::watchSetPoints()
{
    const bool flying = aircraft->guidance.task() == Guidance::Task::Velocity;
    if (flying && aircraft->sinceBoot - lastSetPoint > setPointHold)
        aircraft->guidance.hold();
}

void ArduPilotManner::watchLanding()
{
    onGround = isLandingMode() && aircraft->armed && !aircraft->isFlying() ? onGround + simStep : SimTime(0);
    if (onGround >= disarmDelay)
        disarm();
}

OutgoingMessage ArduPilotManner::heartbeat() const
{
    const bool initialised = aircraft->sinceBoot >= aircraft->bootTimes.initialised;
    const bool active = aircraft->armed && (aircraft->isFlying() || onGround > SimTime(0));
    const bool guided = !initialised || currentMode == Guided || isLandingMode();
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

OutgoingMessage ArduPilotManner::parameterToken() const
{
    return ArduPilotTelemetry::parameterToken(*aircraft);
}

void ArduPilotManner::onModeRequest(const SET_MODE &request, const mavlink::mavlink_message_t &message,
                                    AutopilotClient *from)
{
    Q_UNUSED(message)
    Q_UNUSED(from)
    const bool isCustom = request.base_mode & 1;
    if (isCustom)
        obeyMode(request.custom_mode);
}

void ArduPilotManner::onVelocity(const Demand &demand)
{
    if (!aircraft->armed || currentMode != Guided || !aircraft->isFlying())
        return;
    aircraft->guidance.fly(demand);
    lastSetPoint = aircraft->sinceBoot;
}

void ArduPilotManner::onOther(const mavlink::mavlink_message_t &message, AutopilotClient *from)
{
    if (message.msgid == mavlink::common::msg::REQUEST_DATA_STREAM::MSG_ID)
        ArduPilotTelemetry::setStreams(Incoming::decode<mavlink::common::msg::REQUEST_DATA_STREAM>(message),
                                       aircraft->sinceBoot, &from->streams);
}

void ArduPilotManner::onCommand(const COMMAND_LONG &command, const mavlink::mavlink_message_t &message,
                                AutopilotClient *from)
{
    const quint8 result = obey(command, from);
    outbox->send(Incoming::acknowledge(command.command, result, message), from->id);
}

quint32 ArduPilotManner::modeOf(const COMMAND_LONG &command) const
{
    return Incoming::wholeNumber(command.param2);
}

quint8 ArduPilotManner::obeyOther(const COMMAND_LONG &command, AutopilotClient *from)
{
    if (command.command != Incoming::SetMessageInterval)
        return Incoming::Unsupported;
    return ArduPilotTelemetry::setInterval(command, aircraft->sinceBoot, &from->streams);
}

quint8 ArduPilotManner::obeyTakeOff(double heightM)
{
    const bool possible = currentMode == Guided && aircraft->armed && !aircraft->isFlying();
    if (!possible || !std::isfinite(heightM) || heightM <= 0)
        return Incoming::Failed;
    aircraft->guidance.takeOff(heightM, aircraft->vehicle.state());
    return Incoming::Accepted;
}

QString ArduPilotManner::setMode(quint32 mode)
{
    if (!modes().contains(mode)) {
        QString text = QStringLiteral("No such mode %1").arg(mode);
        say(Warning, text);
        return text;
    }
    if (mode != currentMode)
        changeMode(mode);
    return {};
}

QString ArduPilotManner::arm()
{
    QString refused = whyNotArmed();
    if (!refused.isEmpty())
        say(Critical, refused);
    else if (!aircraft->armed && !armingEnds)
        beginArming();
    return refused;
}

QString ArduPilotManner::whyNotArmed() const
{
    if (!aircraft->isReady())
        return QStringLiteral("Arm: Need Position Estimate");
    return isLandingMode() ? QStringLiteral("Arm: Mode not armable") : QString();
}

void ArduPilotManner::beginArming()
{
    aircraft->setHome();
    aircraft->guidance.idle();
    armingEnds = aircraft->sinceBoot + armingDelay;
    sendPlaces();
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

void ArduPilotManner::say(quint8 severity, const QString &text)
{
    mavlink::common::msg::STATUSTEXT message = {};
    message.severity = severity;
    Telemetry::setText(&message.text, text.toUtf8());
    outbox->sendToAll(OutgoingMessage::from(message));
}
