// SPDX-License-Identifier: MIT
// Positions and angles, beside the same formulas in extended precision.
//
// An input is six doubles: two positions and altitudes.
#include "navigation/positions.h"
#include "support/fuzzcheck.h"
#include "support/inputbytes.h"

#include <cmath>

namespace {

using Wide = long double;

constexpr Wide Pi = 3.1415927410125732L; // that of single precision, on which both ends count
constexpr double MaxAltitudeM = 1e5;
constexpr double HorizonDeg = 0.5; // beyond it, nobody flies by local offsets

Wide radians(Wide degrees)
{
    return degrees * Pi / 180;
}

bool isClose(Wide value, Wide expected, Wide tolerance)
{
    return std::fabs(value - expected) <= tolerance;
}

/// Any double as one within the limits; what is no number becomes 0.
double within(double value, double limit)
{
    return std::isfinite(value) ? std::fmod(value, limit) : 0;
}

Coordinate nextCoordinate(InputBytes &input)
{
    Coordinate position;
    position.latitude = within(input.value<double>(), 89.0);
    position.longitude = within(input.value<double>(), 180.0);
    position.altitude = within(input.value<double>(), MaxAltitudeM);
    return position;
}

void checkWrapping(float angle)
{
    if (!std::isfinite(angle)) {
        fuzzCheck(std::isnan(wrap360(angle)) && std::isnan(wrapPI(angle)), "what is no angle stays none");
        return;
    }
    // A tiny negative angle and a whole turn make a whole turn in single precision.
    fuzzCheck(wrap360(angle) >= 0 && wrap360(angle) <= 360.0F, "within [0, 360]");
    fuzzCheck(wrap180(angle) > -180.0F && wrap180(angle) <= 180.0F, "within (-180, 180]");
    fuzzCheck(wrap2PI(angle) >= 0 && wrap2PI(angle) <= 6.2831855F, "within [0, 2 pi]");
    const Wide turns = (Wide{angle} - Wide{wrap360(angle)}) / 360;
    fuzzCheck(isClose(turns, std::round(turns), 1e-6L + std::fabs(turns) * 1e-18L), "whole turns apart");
}

void checkIntegerDegrees(qint32 value)
{
    if (value == std::numeric_limits<qint32>::min())
        return; // has no opposite
    const Wide expected = Wide{1} * value / 10000000;
    fuzzCheck(isClose(degE7toDeg(value), expected, 3e-14L), "a ten-millionth of a degree each");
    fuzzCheck(std::llround(degE7toDeg(value) * 1e7) == value, "reads back");
}

void checkDistance(const Coordinate &a, const Coordinate &b)
{
    const Wide sinLat = std::sin(radians(Wide{a.latitude} - b.latitude) / 2);
    const Wide sinLon = std::sin(radians(Wide{a.longitude} - b.longitude) / 2);
    const Wide h =
        sinLat * sinLat + sinLon * sinLon * std::cos(radians(a.latitude)) * std::cos(radians(b.latitude));
    const Wide expected = 2 * std::asin(std::sqrt(std::fmin(h, Wide{1})));
    const double arc = Coordinate::getArcInRadians(a, b);
    // Near the antipode the arc sine of rounded numbers is good for half the digits.
    const Wide tolerance = h > 0.999L ? 1e-6L : 1e-13L + 1e-12L * expected;
    fuzzCheck(isClose(arc, expected, tolerance), "the arc");
    fuzzCheck(isClose(Coordinate::getDistance(a, b), Wide{arc} * EARTH_RADIUS, 1e-6L), "arc times radius");
}

void checkHeading(const Coordinate &from, const Coordinate &to)
{
    const Wide dLon = radians(to.longitude) - radians(from.longitude);
    const Wide y = std::sin(dLon) * std::cos(radians(to.latitude));
    const Wide x = std::cos(radians(from.latitude)) * std::sin(radians(to.latitude)) -
                   std::sin(radians(from.latitude)) * std::cos(radians(to.latitude)) * std::cos(dLon);
    const double heading = Coordinate::getHeadingFromCoordinates180(from, to);
    fuzzCheck(heading >= -180.0 && heading <= 180.0, "a heading");
    const Wide length = std::hypot(x, y);
    if (length < 1e-9L)
        return; // no direction from a point to itself or its antipode
    const Wide wholeTurn = 2 * std::acos(Wide{-1}) * 180 / Pi;
    const Wide error = std::fabs(Wide{heading} - std::atan2(y, x) * 180 / Pi);
    fuzzCheck(std::fmin(error, std::fabs(wholeTurn - error)) < 1e-12L / length + 1e-10L, "the heading");
}

void checkLocalOffset(const Coordinate &origin, Coordinate position)
{
    position.latitude = origin.latitude + std::fmod(position.latitude, HorizonDeg);
    position.longitude = origin.longitude + std::fmod(position.longitude, HorizonDeg);
    const Utils::Vector3d ned = position.toPositionNED(origin, 0);
    const Wide cosine = std::cos(radians(position.latitude));
    fuzzCheck(isClose(ned.x, radians(Wide{position.latitude} - origin.latitude) * EARTH_RADIUS, 1e-6L),
              "north");
    fuzzCheck(
        isClose(ned.y, radians(Wide{position.longitude} - origin.longitude) * EARTH_RADIUS * cosine, 1e-6L),
        "east");
    fuzzCheck(isClose(ned.z, Wide{origin.altitude} - position.altitude, 1e-6L), "down");
    const Coordinate back = Coordinate::fromPositionNED(ned, origin);
    if (std::fabs(std::fabs(back.latitude) - 1.5707963705062866) < 1e-6)
        return; // where the guard for the pole sits
    fuzzCheck(isClose(back.latitude, position.latitude, 1e-11L), "the latitude back");
    fuzzCheck(isClose(back.longitude, position.longitude, 1e-9L), "the longitude back");
    fuzzCheck(isClose(back.altitude, position.altitude, 1e-9L), "the altitude back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *data, size_t size)
{
    InputBytes raw(data, size);
    checkIntegerDegrees(raw.value<qint32>());
    checkWrapping(raw.value<float>());
    InputBytes input(data, size);
    const Coordinate a = nextCoordinate(input);
    const Coordinate b = nextCoordinate(input);
    checkDistance(a, b);
    checkHeading(a, b);
    checkLocalOffset(a, b);
    return 0;
}
