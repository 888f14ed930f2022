// SPDX-License-Identifier: MIT
#include "sim/px4fillers.h"

#include "sim/telemetry.h"

#include <cmath>

namespace {

using namespace mavlink::common::msg;

float toFloat(double value)
{
    return static_cast<float>(value);
}

std::array<float, 4> quaternion(const Readings &r)
{
    const double cr = std::cos(r.roll / 2);
    const double sr = std::sin(r.roll / 2);
    const double cp = std::cos(r.pitch / 2);
    const double sp = std::sin(r.pitch / 2);
    const double cy = std::cos(r.yaw / 2);
    const double sy = std::sin(r.yaw / 2);
    return {toFloat(cr * cp * cy + sr * sp * sy), toFloat(sr * cp * cy - cr * sp * sy),
            toFloat(cr * sp * cy + sr * cp * sy), toFloat(cr * cp * sy - sr * sp * cy)};
}

ALTITUDE altitude(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    ALTITUDE message = {};
    message.time_usec = Telemetry::bootUs(aircraft);
    message.altitude_monotonic = toFloat(readings.place.altitude);
    message.altitude_amsl = toFloat(readings.place.altitude);
    message.altitude_local = toFloat(-readings.position.z);
    message.altitude_relative = toFloat(aircraft.heightAboveHomeM());
    message.bottom_clearance = toFloat(readings.distanceM);
    return message;
}

ATTITUDE_QUATERNION attitudeQuaternion(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    const std::array<float, 4> q = quaternion(readings);
    ATTITUDE_QUATERNION message = {};
    message.time_boot_ms = Telemetry::bootMs(aircraft);
    message.q1 = q[0];
    message.q2 = q[1];
    message.q3 = q[2];
    message.q4 = q[3];
    message.rollspeed = toFloat(readings.rollRate);
    message.pitchspeed = toFloat(readings.pitchRate);
    message.yawspeed = toFloat(readings.yawRate);
    return message;
}

ATTITUDE_TARGET attitudeTarget(const Aircraft &aircraft)
{
    ATTITUDE_TARGET message = {};
    message.time_boot_ms = Telemetry::bootMs(aircraft);
    message.q = quaternion(aircraft.readings);
    message.thrust = aircraft.isFlying() ? 0.5F : 0;
    return message;
}

ESTIMATOR_STATUS estimator(const Aircraft &aircraft)
{
    ESTIMATOR_STATUS message = {};
    message.time_usec = Telemetry::bootUs(aircraft);
    message.flags = aircraft.isReady() ? 895 : 0;
    message.tas_ratio = NAN;
    message.pos_horiz_accuracy = 0.3F;
    message.pos_vert_accuracy = 0.3F;
    return message;
}

EXTENDED_SYS_STATE extendedState(const Aircraft &aircraft)
{
    EXTENDED_SYS_STATE message = {};
    message.landed_state = aircraft.isFlying() ? 2 : 1;
    return message;
}

HIGHRES_IMU inertia(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    HIGHRES_IMU message = {};
    message.time_usec = Telemetry::bootUs(aircraft);
    message.xacc = toFloat(readings.acceleration.x);
    message.yacc = toFloat(readings.acceleration.y);
    message.zacc = toFloat(readings.acceleration.z - Vehicle::gravity);
    message.xgyro = toFloat(readings.rollRate);
    message.ygyro = toFloat(readings.pitchRate);
    message.zgyro = toFloat(readings.yawRate);
    message.xmag = -0.16F;
    message.ymag = -0.08F;
    message.zmag = 0.45F;
    message.abs_pressure = toFloat(1013.25 * std::pow(1 - readings.place.altitude / 44330, 5.255));
    message.pressure_alt = toFloat(readings.place.altitude);
    message.temperature = 15;
    message.fields_updated = 8191;
    return message;
}

ODOMETRY odometry(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    ODOMETRY message = {};
    message.time_usec = Telemetry::bootUs(aircraft);
    message.frame_id = 1;
    message.child_frame_id = 1;
    message.x = toFloat(readings.position.x);
    message.y = toFloat(readings.position.y);
    message.z = toFloat(readings.position.z);
    message.q = quaternion(readings);
    message.vx = toFloat(readings.velocity.x);
    message.vy = toFloat(readings.velocity.y);
    message.vz = toFloat(readings.velocity.z);
    message.pose_covariance.fill(NAN);
    message.velocity_covariance.fill(NAN);
    message.estimator_type = 8; // the autopilot's own
    return message;
}

OPEN_DRONE_ID_LOCATION droneIdLocation(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    OPEN_DRONE_ID_LOCATION message = {};
    message.status = aircraft.isFlying() ? 2 : 1;
    message.direction = Telemetry::heading(aircraft);
    message.latitude = Telemetry::degE7(readings.place.latitude);
    message.longitude = Telemetry::degE7(readings.place.longitude);
    message.altitude_barometric = toFloat(readings.place.altitude);
    message.altitude_geodetic = toFloat(readings.place.altitude);
    message.height = toFloat(aircraft.heightAboveHomeM());
    message.timestamp = toFloat(std::fmod(toSeconds(aircraft.sinceBoot), 3600));
    return message;
}

OPEN_DRONE_ID_SYSTEM droneIdSystem(const Aircraft &aircraft)
{
    OPEN_DRONE_ID_SYSTEM message = {};
    message.operator_latitude = Telemetry::degE7(aircraft.home.latitude);
    message.operator_longitude = Telemetry::degE7(aircraft.home.longitude);
    message.area_count = 1;
    message.area_ceiling = -1000;
    message.area_floor = -1000;
    message.operator_altitude_geo = toFloat(aircraft.home.altitude);
    message.timestamp = static_cast<quint32>(aircraft.unixTimeUs / 1'000'000);
    return message;
}

PING ping(const Aircraft &aircraft)
{
    PING message = {};
    message.time_usec = Telemetry::bootUs(aircraft);
    message.seq = Telemetry::bootMs(aircraft) / 1000;
    return message;
}

POSITION_TARGET_LOCAL_NED positionTarget(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    POSITION_TARGET_LOCAL_NED message = {};
    message.time_boot_ms = Telemetry::bootMs(aircraft);
    message.coordinate_frame = 1;
    message.x = toFloat(readings.position.x);
    message.y = toFloat(readings.position.y);
    message.z = toFloat(readings.position.z);
    message.vx = toFloat(readings.velocity.x);
    message.vy = toFloat(readings.velocity.y);
    message.vz = toFloat(readings.velocity.z);
    message.afx = NAN;
    message.afy = NAN;
    message.afz = NAN;
    message.yaw = toFloat(readings.yaw);
    message.yaw_rate = toFloat(readings.yawRate);
    return message;
}

SCALED_PRESSURE pressure(const Aircraft &aircraft)
{
    SCALED_PRESSURE message = {};
    message.time_boot_ms = Telemetry::bootMs(aircraft);
    message.press_abs = inertia(aircraft).abs_pressure;
    message.temperature = 1165;
    return message;
}

SERVO_OUTPUT_RAW servos(const Aircraft &aircraft)
{
    const quint16 pulse = aircraft.isFlying() ? 1500 : aircraft.armed ? 1100 : 900;
    SERVO_OUTPUT_RAW message = {};
    message.time_usec = static_cast<quint32>(Telemetry::bootUs(aircraft));
    message.servo1_raw = pulse;
    message.servo2_raw = pulse;
    message.servo3_raw = pulse;
    message.servo4_raw = pulse;
    message.servo5_raw = 900;
    message.servo16_raw = 900; // the last, so that the frame is as long as a real one
    return message;
}

VFR_HUD headUp(const Aircraft &aircraft)
{
    VFR_HUD message = Telemetry::headUp(aircraft);
    message.airspeed = NAN;
    return message;
}

VIBRATION vibration(const Aircraft &aircraft)
{
    VIBRATION message = {};
    message.time_usec = Telemetry::bootUs(aircraft);
    message.vibration_z = aircraft.isFlying() ? 1.4F : 0.01F;
    return message;
}

TIMESYNC timeSync(const Aircraft &aircraft)
{
    TIMESYNC message = {};
    message.ts1 = static_cast<int64_t>(aircraft.sinceBoot.count()) * 1000;
    return message;
}

MISSION_CURRENT mission()
{
    MISSION_CURRENT message = {};
    message.total = UINT16_MAX;
    message.mission_state = 1; // none loaded
    return message;
}

} // namespace

std::optional<OutgoingMessage> Px4Fillers::make(quint32 id, const Aircraft &aircraft)
{
    switch (id) {
    case ALTITUDE::MSG_ID:
        return OutgoingMessage::from(altitude(aircraft));
    case ATTITUDE_QUATERNION::MSG_ID:
        return OutgoingMessage::from(attitudeQuaternion(aircraft));
    case ATTITUDE_TARGET::MSG_ID:
        return OutgoingMessage::from(attitudeTarget(aircraft));
    case ESTIMATOR_STATUS::MSG_ID:
        return OutgoingMessage::from(estimator(aircraft));
    case EXTENDED_SYS_STATE::MSG_ID:
        return OutgoingMessage::from(extendedState(aircraft));
    case HIGHRES_IMU::MSG_ID:
        return OutgoingMessage::from(inertia(aircraft));
    case MISSION_CURRENT::MSG_ID:
        return OutgoingMessage::from(mission());
    case ODOMETRY::MSG_ID:
        return OutgoingMessage::from(odometry(aircraft));
    case OPEN_DRONE_ID_LOCATION::MSG_ID:
        return OutgoingMessage::from(droneIdLocation(aircraft));
    case OPEN_DRONE_ID_SYSTEM::MSG_ID:
        return OutgoingMessage::from(droneIdSystem(aircraft));
    case PING::MSG_ID:
        return OutgoingMessage::from(ping(aircraft));
    case POSITION_TARGET_LOCAL_NED::MSG_ID:
        return OutgoingMessage::from(positionTarget(aircraft));
    case SCALED_PRESSURE::MSG_ID:
        return OutgoingMessage::from(pressure(aircraft));
    case SERVO_OUTPUT_RAW::MSG_ID:
        return OutgoingMessage::from(servos(aircraft));
    case TIMESYNC::MSG_ID:
        return OutgoingMessage::from(timeSync(aircraft));
    case VFR_HUD::MSG_ID:
        return OutgoingMessage::from(headUp(aircraft));
    case VIBRATION::MSG_ID:
        return OutgoingMessage::from(vibration(aircraft));
    default:
        return std::nullopt;
    }
}
