// SPDX-License-Identifier: MIT
#pragma once

#include "app/export.h"

#include <QtGlobal>

/// Radius of the sphere that stands for the earth, metres: the equatorial radius of WGS 84. There is no
/// ellipsoid.
inline constexpr double EARTH_RADIUS = 6378137.0;

/// What an altitude counts from. Any value but AMSL means "relative to the local origin".
enum AltitudeType : qint32 {
    AMSL = 0,    ///< Above mean sea level.
    Relative = 1 ///< Above the local origin.
};

namespace Utils {

/// Two numbers; as a horizontal offset x is metres north, y metres east.
struct Vector2d
{
    double x = 0;
    double y = 0;
};

/// Three numbers; as a North-East-Down position all metres.
struct Vector3d
{
    double x = 0; ///< North.
    double y = 0; ///< East.
    double z = 0; ///< Down.
};

} // namespace Utils

/// Degrees to radians and back, with the single-precision value of pi: results differ from a computation in
/// double precision in the eighth significant digit, and both ends of the system count on the same value.
NOFLAILSTEN_EXPORT double toRadians(double deg);
NOFLAILSTEN_EXPORT double toDegrees(double rad);

/// MAVLink integer coordinate (1e-7 degree) to degrees, without loss of precision. INT32_MIN, which no
/// coordinate reaches, gives +214.7483648.
NOFLAILSTEN_EXPORT double degE7toDeg(qint32 v);

/// Angle wrapping. Only the instances for float exist; all are computed in float.
/// wrap360: degrees in [0, 360), but 360 for a negative angle too small to tell from a whole turn; wrap180:
/// degrees in (-180, 180]; wrap2PI and wrapPI: the same in radians.
template <typename T>
T wrap360(T x);
template <typename T>
T wrap180(T x);
template <typename T>
T wrap2PI(T x);
template <typename T>
T wrapPI(T x);
template <>
NOFLAILSTEN_EXPORT float wrap360(float x);
template <>
NOFLAILSTEN_EXPORT float wrap180(float x);
template <>
NOFLAILSTEN_EXPORT float wrap2PI(float x);
template <>
NOFLAILSTEN_EXPORT float wrapPI(float x);

/// A geographic position. NaN is not checked for; it propagates. The functions keep no state and may be
/// called from any thread.
struct NOFLAILSTEN_EXPORT Coordinate
{
    double latitude = 0;              ///< Degrees, north positive.
    double longitude = 0;             ///< Degrees, east positive.
    AltitudeType altitudeType = AMSL; ///< What `altitude` counts from.
    double altitude = 0;              ///< Metres.

    /// Equirectangular offset (plate carrée, scaled by a cosine) of `to` from `from`; the cosine is that of
    /// the latitude of `to`. Altitudes are ignored.
    static void localOffsetFromGpsOffset(Utils::Vector2d &out, Coordinate from, Coordinate to);
    /// The inverse. Writes latitude and longitude of `out` only. The guard for the pole compares degrees with
    /// pi/2, so it fires at a latitude of 1.5708 degrees and never at a pole.
    static void gpsOffsetFromLocalOffset(Coordinate &out, Coordinate origin, Utils::Vector2d offset);
    /// Central angle between two positions, radians: haversine (R. W. Sinnott, "Virtues of the Haversine",
    /// Sky and Telescope 68, 1984), not clamped, so that rounding can make it NaN within 3 m of the antipode
    /// and beside a pole.
    static double getArcInRadians(const Coordinate &a, const Coordinate &b);
    /// Great-circle distance, metres.
    static double getDistance(const Coordinate &a, const Coordinate &b);
    /// Initial bearing of the great circle, by the four-part formula of spherical trigonometry; degrees in
    /// [-180, 180], 0 north, 90 east.
    static double getHeadingFromCoordinates180(const Coordinate &from, const Coordinate &to);

    /// This position in metres north, east and down of the origin. The second argument is ignored.
    /// @throws std::invalid_argument if the altitude of the origin is not AMSL.
    Utils::Vector3d toPositionNED(const Coordinate &origin, float) const;
    /// The inverse; the altitude of the result is AMSL.
    /// @throws std::invalid_argument if the altitude of the origin is not AMSL.
    static Coordinate fromPositionNED(const Utils::Vector3d &ned, const Coordinate &origin);
};
