// SPDX-License-Identifier: MIT
#pragma once

#include "app/appmethod.h"
#include "app/telemetrydata.h"

#include <QtGlobal>

/// Publishes telemetry to the host by invoking the methods of the application object by name. Main thread.
class TelemetryPublisher
{
public:
    void autopilotStatus(quint8 status) { autopilotStatusMethod.invoke(Q_ARG(quint8, status)); }
    void daqEnabled(bool enabled) { daqEnabledMethod.invoke(Q_ARG(bool, enabled)); }
    void timeIsSet(bool set) { timeIsSetMethod.invoke(Q_ARG(bool, set)); }
    /// Radians.
    void attitude(float roll, float pitch, float yaw);
    void gpsCoordinate(const GeoCoordinates &position);
    /// Metres per second.
    void velocity(qreal speed) { velocityMethod.invoke(Q_ARG(qreal, speed)); }
    void altitude(const ScalarSensorData &reading);
    /// Metres north, east, down.
    void vehicleLocalPos(const Value3d &position);
    void rawAltimeterValue(const ScalarSensorData &reading);

private:
    AppMethod autopilotStatusMethod{"autopilotStatus(quint8)"};
    AppMethod daqEnabledMethod{"daqEnabled(bool)"};
    AppMethod timeIsSetMethod{"timeIsSet(bool)"};
    AppMethod rollMethod{"roll(float)"};
    AppMethod pitchMethod{"pitch(float)"};
    AppMethod yawMethod{"yaw(float)"};
    AppMethod gpsCoordinateMethod{"gpsCoordinate(GeoCoordinates)"};
    AppMethod velocityMethod{"velocity(qreal)"};
    AppMethod altitudeMethod{"altitude(ScalarSensorData)"};
    AppMethod vehicleLocalPosMethod{"vehicleLocalPos(Value3d)"};
    AppMethod rawAltimeterValueMethod{"rawAltimeterValue(ScalarSensorData)"};
};
