// SPDX-License-Identifier: MIT
#include "sim/px4telemetry.h"

#include "sim/px4fillers.h"
#include "sim/px4unknownmessages.h"
#include "sim/telemetry.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace mavlink::common::msg;
using mavlink::standard::msg::AUTOPILOT_VERSION;
using mavlink::standard::msg::GLOBAL_POSITION_INT;
using Px4Telemetry::DefaultStream;

constexpr auto steady = StreamSchedule::Priority::Steady;
constexpr auto scaled = StreamSchedule::Priority::Scaled;
constexpr quint32 secondGps = 124;

const DefaultStream unasked[] = {
    {ALTITUDE::MSG_ID, 10, scaled},
    {ATTITUDE::MSG_ID, 100, scaled},
    {ATTITUDE_QUATERNION::MSG_ID, 50, scaled},
    {ATTITUDE_TARGET::MSG_ID, 10, scaled},
    {BATTERY_STATUS::MSG_ID, 0.5, scaled},
    {DISTANCE_SENSOR::MSG_ID, 10, scaled},
    {ESTIMATOR_STATUS::MSG_ID, 1, scaled},
    {EXTENDED_SYS_STATE::MSG_ID, 5, scaled},
    {GLOBAL_POSITION_INT::MSG_ID, 50, scaled},
    {GPS_RAW_INT::MSG_ID, 8, steady},
    {HIGHRES_IMU::MSG_ID, 50, scaled},
    {HOME_POSITION::MSG_ID, 0.5, scaled},
    {LOCAL_POSITION_NED::MSG_ID, 30, scaled},
    {MISSION_CURRENT::MSG_ID, 1, steady},
    {ODOMETRY::MSG_ID, 30, scaled},
    {OPEN_DRONE_ID_LOCATION::MSG_ID, 1, scaled},
    {OPEN_DRONE_ID_SYSTEM::MSG_ID, 1, scaled},
    {PARAM_VALUE::MSG_ID, 0.3, scaled},
    {PING::MSG_ID, 1, steady},
    {POSITION_TARGET_LOCAL_NED::MSG_ID, 10, scaled},
    {SCALED_PRESSURE::MSG_ID, 1, scaled},
    {SERVO_OUTPUT_RAW::MSG_ID, 10, scaled},
    {SYSTEM_TIME::MSG_ID, 1, scaled},
    {SYS_STATUS::MSG_ID, 5, scaled},
    {TIMESYNC::MSG_ID, 10, scaled},
    {VFR_HUD::MSG_ID, 10, scaled},
    {VIBRATION::MSG_ID, 0.5, scaled},
    {Px4UnknownMessages::LinkStatus, 1, scaled},
    {Px4UnknownMessages::TimeEstimate, 0.5, scaled},
    {Px4UnknownMessages::EventSequence, 0.33, scaled},
    {Px4UnknownMessages::AvailableModes, 0.5, scaled},
};

GPS_RAW_INT gps(const Aircraft &aircraft)
{
    GPS_RAW_INT message = {};
    if (!aircraft.hasFix())
        return message;
    message = Telemetry::gps(aircraft); // its time_usec is 0
    message.fix_type = 3;
    message.satellites_visible = 10;
    message.eph = 70;
    message.epv = 110;
    message.h_acc = 900;
    message.v_acc = 1780;
    message.vel_acc = 400;
    return message;
}

DISTANCE_SENSOR distance(const Aircraft &aircraft)
{
    const quint16 outOfRange = 65534;
    DISTANCE_SENSOR message = Telemetry::distance(aircraft);
    message.max_distance = 10000;
    if (message.current_distance > message.max_distance)
        message.current_distance = outOfRange;
    return message;
}

SYS_STATUS systemStatus(const Aircraft &aircraft)
{
    SYS_STATUS message = Telemetry::systemStatus(aircraft);
    message.onboard_control_sensors_present = 33570863;
    message.onboard_control_sensors_enabled = 33636399;
    message.onboard_control_sensors_health = 320915519;
    message.load = 100;
    return message;
}

BATTERY_STATUS battery(const Aircraft &aircraft)
{
    BATTERY_STATUS message = Telemetry::battery(aircraft);
    message.battery_function = 1;
    message.type = 1;
    return message;
}

/// Who controls it: 1 for the autopilot, -3 for nobody any more.
OutgoingMessage gimbalManager(float controller)
{
    COMMAND_LONG message = {};
    message.target_system = 1;
    message.command = 1001;
    message.param1 = controller;
    message.param2 = controller;
    message.param3 = -1;
    message.param4 = -1;
    return OutgoingMessage::from(message);
}

OutgoingMessage gimbalAngles()
{
    COMMAND_LONG message = {};
    message.target_system = 1;
    message.command = 1000;
    message.param1 = NAN;
    message.param2 = NAN;
    message.param3 = NAN;
    message.param4 = NAN;
    message.param5 = 2; // back to neutral
    return OutgoingMessage::from(message);
}

/// The messages that come only from some time on.
bool isThere(quint32 id, const Aircraft &aircraft)
{
    switch (id) {
    case GLOBAL_POSITION_INT::MSG_ID:
    case SYSTEM_TIME::MSG_ID:
        return aircraft.hasFix();
    case HOME_POSITION::MSG_ID:
        return aircraft.homeKnown;
    default:
        return true;
    }
}

} // namespace

const QVector<DefaultStream> &Px4Telemetry::defaultStreams()
{
    static const QVector<DefaultStream> streams(std::begin(unasked), std::end(unasked));
    return streams;
}

std::optional<double> Px4Telemetry::usualRate(quint32 id)
{
    const auto found = std::find_if(std::begin(unasked), std::end(unasked),
                                    [id](const auto &stream) { return stream.id == id; });
    if (found != std::end(unasked))
        return found->rateHz;
    return id == secondGps ? std::optional<double>(0) : std::nullopt;
}

std::optional<OutgoingMessage> Px4Telemetry::make(quint32 id, const Aircraft &aircraft)
{
    if (!isThere(id, aircraft))
        return std::nullopt;
    switch (id) {
    case GPS_RAW_INT::MSG_ID:
        return OutgoingMessage::from(gps(aircraft));
    case DISTANCE_SENSOR::MSG_ID:
        return OutgoingMessage::from(distance(aircraft));
    case SYS_STATUS::MSG_ID:
        return OutgoingMessage::from(systemStatus(aircraft));
    case BATTERY_STATUS::MSG_ID:
        return OutgoingMessage::from(battery(aircraft));
    case PARAM_VALUE::MSG_ID:
        return parameterToken();
    case AUTOPILOT_VERSION::MSG_ID:
        return version();
    default:
        break;
    }
    if (auto filler = Px4Fillers::make(id, aircraft))
        return filler;
    const auto unknown = Px4UnknownMessages::make(id, aircraft);
    return unknown ? unknown : Telemetry::make(id, aircraft);
}

OutgoingMessage Px4Telemetry::version()
{
    AUTOPILOT_VERSION message = {};
    message.capabilities = 0xe8fb;
    message.flight_sw_version = 0x01110000;
    return OutgoingMessage::from(message);
}

OutgoingMessage Px4Telemetry::parameterToken()
{
    PARAM_VALUE message = {};
    Telemetry::setText(&message.param_id, "CAL_BARO0_OFF");
    message.param_value = 4.8828125F;
    message.param_type = 9; // a float
    message.param_count = 879;
    message.param_index = 43;
    return OutgoingMessage::from(message);
}

OutgoingMessage Px4Telemetry::event(quint32 number, const Aircraft &aircraft)
{
    return Px4UnknownMessages::event(number, aircraft);
}

QVector<OutgoingMessage> Px4Telemetry::gimbalCommands()
{
    return {gimbalManager(1), gimbalAngles(), gimbalManager(-3)};
}
