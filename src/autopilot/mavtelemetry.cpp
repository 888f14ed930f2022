// SPDX-License-Identifier: MIT
#include "autopilot/mavtelemetry.h"

#include <QDateTime>

#include <cmath>

namespace {

namespace msg = mavlink::common::msg;
using GlobalPositionInt = mavlink::standard::msg::GLOBAL_POSITION_INT; // moved there from the common set

constexpr quint8 NoReadingYet = 4;
constexpr quint8 SatellitesUnknown = 255;
constexpr auto Fix3d = static_cast<quint8>(mavlink::common::GPS_FIX_TYPE::TYPE_3D_FIX);

template <typename Message>
Message decode(const mavlink::mavlink_message_t &message)
{
    Message decoded;
    mavlink::MsgMap map(&message);
    decoded.deserialize(map);
    return decoded;
}

double square(double x)
{
    return x * x;
}

QString twoDigits(int number)
{
    return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
}

} // namespace

MavTelemetry::MavTelemetry(IBase &base, TelemetryPublisher &publisher)
    : owner(base)
    , publish(publisher)
    , altimeterReading{0, NoReadingYet, std::chrono::steady_clock::now()}
{}

void MavTelemetry::handle(const mavlink::mavlink_message_t &message)
{
    switch (message.msgid) {
    case msg::SYSTEM_TIME::MSG_ID:
        return handleSystemTime(message);
    case msg::GPS_RAW_INT::MSG_ID:
        return handleGpsRawInt(message);
    case msg::ATTITUDE::MSG_ID:
        return handleAttitude(message);
    case GlobalPositionInt::MSG_ID:
        return handleGlobalPositionInt(message);
    case msg::DISTANCE_SENSOR::MSG_ID:
        return handleDistanceSensor(message);
    default:
        break;
    }
}

void MavTelemetry::handleSystemTime(const mavlink::mavlink_message_t &message)
{
    const auto time = decode<msg::SYSTEM_TIME>(message);
    if (Logged::debugEnabled())
        owner.debug() << "Systime msg received health:" << vehicleStatus.satellites
                      << " time:" << time.time_unix_usec << " time set:" << (timeIsSet ? "true" : "false");
    if (vehicleStatus.satellites != 0 && time.time_unix_usec != 0 && !timeIsSet)
        setClock(time.time_unix_usec);
    systemTimeReceived = true;
}

void MavTelemetry::setClock(quint64 unixTimeUs)
{
    const QDateTime local = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(unixTimeUs / 1000));
    const QDate date = local.date();
    const QTime time = local.time();
    const QString text =
        QStringLiteral("%1.%2.%3-%4:%5:%6")
            .arg(QString::number(date.year()), twoDigits(date.month()), twoDigits(date.day()),
                 twoDigits(time.hour()), twoDigits(time.minute()), twoDigits(time.second()));
    owner.runSystemCommand(QStringLiteral("date --set ") + text);
    publish.timeIsSet(true);
    owner.sendInfo(QStringLiteral("New system date/time: ") + text);
    timeIsSet = true;
}

void MavTelemetry::handleGpsRawInt(const mavlink::mavlink_message_t &message)
{
    const auto gps = decode<msg::GPS_RAW_INT>(message);
    if (Logged::debugEnabled())
        owner.debug() << "GpsRawInf msg received sat:" << gps.satellites_visible;
    vehicleStatus.satellites = gps.satellites_visible == SatellitesUnknown ? 0 : gps.satellites_visible;
    if (originSet || gps.fix_type < Fix3d)
        return;
    origin.latitude = degE7toDeg(gps.lat);
    origin.longitude = degE7toDeg(gps.lon);
    origin.altitude = 0;
    originSet = true;
}

void MavTelemetry::handleAttitude(const mavlink::mavlink_message_t &message)
{
    const auto attitude = decode<msg::ATTITUDE>(message);
    publish.attitude(attitude.roll, attitude.pitch, attitude.yaw);
    if (Logged::debugEnabled())
        owner.debug() << "Attitude msg received (" << attitude.roll << ", " << attitude.pitch << ", "
                      << attitude.yaw << ")";
}

void MavTelemetry::handleGlobalPositionInt(const mavlink::mavlink_message_t &message)
{
    const auto position = decode<GlobalPositionInt>(message);
    Coordinate coordinate;
    coordinate.latitude = degE7toDeg(position.lat);
    coordinate.longitude = degE7toDeg(position.lon);
    publish.gpsCoordinate({coordinate.latitude, coordinate.longitude});
    publish.velocity(
        std::sqrt(square(position.vx / 100.0) + square(position.vy / 100.0) + square(-position.vz / 100.0)));
    const auto altitudeM = static_cast<float>(position.relative_alt / 1000.0);
    publish.altitude({altitudeM, rangeStatus(altitudeM), std::chrono::steady_clock::now()});
    if (originSet)
        publishLocalPosition(coordinate, position.relative_alt);
    if (Logged::debugEnabled())
        owner.debug() << "GlobalPosInt msg received";
}

void MavTelemetry::publishLocalPosition(const Coordinate &position, qint32 relativeAltMm)
{
    Utils::Vector2d offset;
    Coordinate::localOffsetFromGpsOffset(offset, origin, position);
    publish.vehicleLocalPos(
        {offset.x, offset.y, static_cast<double>(-static_cast<qint64>(relativeAltMm)) / 1000.0});
}

quint8 MavTelemetry::rangeStatus(float altitudeM) const
{
    if (altitudeM > maxAltitudeM)
        return 1;
    if (altitudeM < minAltitudeM)
        return 2;
    return 0;
}

void MavTelemetry::handleDistanceSensor(const mavlink::mavlink_message_t &message)
{
    const auto distance = decode<msg::DISTANCE_SENSOR>(message);
    altimeterReading.value = static_cast<float>(distance.current_distance / 100.0);
    altimeterReading.status = 0;
    publish.rawAltimeterValue(altimeterReading);
}
