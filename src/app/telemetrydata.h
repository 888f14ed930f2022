// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QtGlobal>

#include <chrono>

// Arguments of App's telemetry signals: plain values, trivially copyable, registered as meta-types under
// these names.

/// One reading of a scalar sensor.
struct ScalarSensorData
{
    float value = 0;                            ///< Metres for altitudes and ranges.
    quint8 status = 0;                          ///< 0 in range, 1 above the maximum, 2 below the minimum,
                                                ///< 4 no reading yet.
    std::chrono::steady_clock::time_point time; ///< When the reading was taken (monotonic clock).
};

/// A geographic position.
struct GeoCoordinates
{
    double latitude = 0;  ///< Degrees, north positive.
    double longitude = 0; ///< Degrees, east positive.
};

/// Three numbers; App::vehicleLocalPos() carries metres north, east and down from the local origin.
struct Value3d
{
    double x = 0;
    double y = 0;
    double z = 0;
};

/// Progress of the host's survey mission. Filled by the host; nothing in this library reads it.
struct MissionStatus
{
    quint8 state = 0;
    quint32 waypoint = 0;
};

/// State of the host's navigation algorithm. Filled by the host; nothing in this library reads it.
struct AlgorithmStatus
{
    quint8 algorithm = 0;
    quint8 state = 0;
};

/// Whether a survey payload is connected. Filled by the host; nothing in this library reads it.
struct PayloadConnectedData
{
    quint8 payload = 0;
    bool connected = false;
};

Q_DECLARE_METATYPE(ScalarSensorData)
Q_DECLARE_METATYPE(GeoCoordinates)
Q_DECLARE_METATYPE(Value3d)
Q_DECLARE_METATYPE(MissionStatus)
Q_DECLARE_METATYPE(AlgorithmStatus)
Q_DECLARE_METATYPE(PayloadConnectedData)
