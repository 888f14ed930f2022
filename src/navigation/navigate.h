// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QtGlobal>

#include <limits>

/// Records that the virtual stick hands to the host's navigation logic.
namespace Navigate {

/// Attitude of the vehicle.
struct Attitude
{
    double timestamp = 0; ///< Milliseconds since the flight controller booted.
    float roll = 0;       ///< Degrees.
    float pitch = 0;      ///< Degrees.
    float yaw = 0;        ///< Degrees.
    float extra1 = std::numeric_limits<float>::quiet_NaN(); ///< The host's; NaN from this library.
    float extra2 = std::numeric_limits<float>::quiet_NaN();
    float extra3 = std::numeric_limits<float>::quiet_NaN();
};

/// Position and velocity in the local North-East-Down frame around the origin.
struct VehicleLocalPosition
{
    double timestamp = 0; ///< Milliseconds since the flight controller booted.
    float x = 0;          ///< Metres north of the origin.
    float y = 0;          ///< Metres east.
    float z = 0;          ///< Metres down.
    float vx = 0;         ///< Metres per second north.
    float vy = 0;         ///< Metres per second east.
    float vz = 0;         ///< Metres per second down.
    double extra1 = 0;    ///< The host's; 0 from this library.
    float extra2 = 0;     ///< The host's; 0 from this library.
};

/// State of the vehicle.
struct VehicleStatus
{
    double timestamp = 0;   ///< Milliseconds; -1 where no time is known.
    bool armed = false;     ///< Motors armed.
    bool guided = false;    ///< Guided mode enabled.
    bool active = false;    ///< System status "active" or any later state.
    bool originSet = false; ///< The local origin is known.
};

/// Global position of the vehicle. Declared for the host; nothing in this library fills it.
struct VehicleGpsPosition
{
    double timestamp = 0; ///< Milliseconds since the flight controller booted.
    double latitude = 0;  ///< Degrees, north positive.
    double longitude = 0; ///< Degrees, east positive.
    double altitude = 0;  ///< Metres above mean sea level.
};

} // namespace Navigate

Q_DECLARE_METATYPE(Navigate::Attitude)
Q_DECLARE_METATYPE(Navigate::VehicleLocalPosition)
Q_DECLARE_METATYPE(Navigate::VehicleStatus)
Q_DECLARE_METATYPE(Navigate::VehicleGpsPosition)
