// SPDX-License-Identifier: MIT
#pragma once

#include "app/telemetrydata.h"
#include "autopilot/iautopilotplugin.h"
#include "autopilot/telemetrypublisher.h"
#include "mavlink/mavlink.h"
#include "navigation/positions.h"

/// Turns the detected autopilot's messages into the host's telemetry: clock, satellites, attitude, position,
/// velocity, altitude and altimeter. Heartbeats, and whose messages count, are MavAutopilot's business.
///
/// Logs, runs its one command (`date --set`) and sends texts as its owner. Lives and dies with it; main
/// thread.
class MavTelemetry
{
public:
    MavTelemetry(IBase &owner, TelemetryPublisher &publisher);

    /// Handles SYSTEM_TIME, GPS_RAW_INT, ATTITUDE, GLOBAL_POSITION_INT and DISTANCE_SENSOR; other messages
    /// are ignored. Bytes that a MAVLink 2 sender has trimmed count as zero.
    void handle(const mavlink::mavlink_message_t &message);

    /// The altitude range, metres, against which altitudes get their status; the maximum is tested first.
    void setMinAltitude(float metres) { minAltitudeM = metres; }
    void setMaxAltitude(float metres) { maxAltitudeM = metres; }

    /// The last DISTANCE_SENSOR reading; status 4 before the first. Its time is that of construction and
    /// stays.
    const ScalarSensorData &altimeter() const { return altimeterReading; }
    /// True once a SYSTEM_TIME has come, whether or not the clock was set from it.
    bool isSystemTimeReceived() const { return systemTimeReceived; }

private:
    void handleSystemTime(const mavlink::mavlink_message_t &message);
    void handleGpsRawInt(const mavlink::mavlink_message_t &message);
    void handleAttitude(const mavlink::mavlink_message_t &message);
    void handleGlobalPositionInt(const mavlink::mavlink_message_t &message);
    void handleDistanceSensor(const mavlink::mavlink_message_t &message);
    void setClock(quint64 unixTimeUs);
    void publishLocalPosition(const Coordinate &position, qint32 relativeAltMm);
    quint8 rangeStatus(float altitudeM) const;

    IBase &owner;
    TelemetryPublisher &publish;
    VehicleState vehicleStatus;
    bool timeIsSet = false;
    bool systemTimeReceived = false;
    ScalarSensorData altimeterReading;
    float minAltitudeM = 0;
    float maxAltitudeM = 0;
    bool originSet = false;
    Coordinate origin;
};
