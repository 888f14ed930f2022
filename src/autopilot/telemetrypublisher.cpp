// SPDX-License-Identifier: MIT
#include "autopilot/telemetrypublisher.h"

void TelemetryPublisher::attitude(float roll, float pitch, float yaw)
{
    rollMethod.invoke(Q_ARG(float, roll));
    pitchMethod.invoke(Q_ARG(float, pitch));
    yawMethod.invoke(Q_ARG(float, yaw));
}

void TelemetryPublisher::gpsCoordinate(const GeoCoordinates &position)
{
    gpsCoordinateMethod.invoke(Q_ARG(GeoCoordinates, position));
}

void TelemetryPublisher::altitude(const ScalarSensorData &reading)
{
    altitudeMethod.invoke(Q_ARG(ScalarSensorData, reading));
}

void TelemetryPublisher::vehicleLocalPos(const Value3d &position)
{
    vehicleLocalPosMethod.invoke(Q_ARG(Value3d, position));
}

void TelemetryPublisher::rawAltimeterValue(const ScalarSensorData &reading)
{
    rawAltimeterValueMethod.invoke(Q_ARG(ScalarSensorData, reading));
}
