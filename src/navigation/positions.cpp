// SPDX-License-Identifier: MIT
#include "navigation/positions.h"

#include <cmath>
#include <limits>
#include <stdexcept>

namespace {

constexpr double Pi = 3.1415927410125732;     // (double)(float)pi
constexpr double HalfPi = 1.5707963705062866; // (double)(float)(pi / 2)
constexpr double E7 = 1e7;
constexpr qint32 E7Int = 10000000;

struct SinCos
{
    double sin;
    double cos;
};

SinCos sinCos(double angle)
{
    SinCos result{};
    ::sincos(angle, &result.sin, &result.cos);
    return result;
}

double fromE7Parts(qint32 v)
{
    const qint32 whole = v / E7Int;
    const qint32 frac = v % E7Int;
    return frac / E7 + whole;
}

void requireAmsl(const Coordinate &origin)
{
    if (origin.altitudeType != AMSL)
        throw std::invalid_argument("origins alititude type must be AMSL");
}

} // namespace

double toRadians(double deg)
{
    return deg / 180.0 * Pi;
}

double toDegrees(double rad)
{
    return rad / Pi * 180.0;
}

double degE7toDeg(qint32 v)
{
    if (v >= 0)
        return fromE7Parts(v);
    // Negated as unsigned, where the wrap-around of INT32_MIN is defined.
    return fromE7Parts(static_cast<qint32>(0U - static_cast<quint32>(v))) * -1.0;
}

template <>
float wrap360(float x)
{
    float r = std::fmod(x, 360.0F);
    if (r < 0)
        r += 360.0F;
    return r;
}

template <>
float wrap180(float x)
{
    float r = wrap360(x);
    if (r > 180.0F)
        r -= 360.0F;
    return r;
}

template <>
float wrap2PI(float x)
{
    float r = std::fmod(x, 6.2831855F);
    if (r < 0)
        r += 6.2831855F;
    return r;
}

template <>
float wrapPI(float x)
{
    float r = wrap2PI(x);
    if (r > 3.1415927F)
        r -= 6.2831855F;
    return r;
}

void Coordinate::localOffsetFromGpsOffset(Utils::Vector2d &out, Coordinate from, Coordinate to)
{
    out.x = toRadians(to.latitude - from.latitude) * EARTH_RADIUS;
    out.y = toRadians(to.longitude - from.longitude) * EARTH_RADIUS * std::cos(toRadians(to.latitude));
}

void Coordinate::gpsOffsetFromLocalOffset(Coordinate &out, Coordinate origin, Utils::Vector2d offset)
{
    out.latitude = toDegrees(offset.x / EARTH_RADIUS) + origin.latitude;
    const auto distance = static_cast<float>(std::fabs(out.latitude) - HalfPi);
    if (std::fabs(distance) < std::numeric_limits<float>::epsilon()) {
        out.longitude = 0.0;
        return;
    }
    out.longitude = origin.longitude + toDegrees(offset.y / EARTH_RADIUS) / std::cos(toRadians(out.latitude));
}

double Coordinate::getArcInRadians(const Coordinate &a, const Coordinate &b)
{
    const double sinLat = std::sin((a.latitude - b.latitude) * Pi / 180.0 * 0.5);
    const double sinLon = std::sin((a.longitude - b.longitude) * Pi / 180.0 * 0.5);
    const double h = sinLat * sinLat +
                     sinLon * sinLon * std::cos(a.latitude * Pi / 180.0) * std::cos(b.latitude * Pi / 180.0);
    return 2 * std::asin(std::sqrt(h));
}

double Coordinate::getDistance(const Coordinate &a, const Coordinate &b)
{
    return getArcInRadians(a, b) * EARTH_RADIUS;
}

double Coordinate::getHeadingFromCoordinates180(const Coordinate &from, const Coordinate &to)
{
    const SinCos lat1 = sinCos(toRadians(from.latitude));
    const SinCos lat2 = sinCos(toRadians(to.latitude));
    const SinCos dLon = sinCos(toRadians(to.longitude) - toRadians(from.longitude));
    const double y = dLon.sin * lat2.cos;
    const double x = lat1.cos * lat2.sin - lat1.sin * lat2.cos * dLon.cos;
    return toDegrees(std::atan2(y, x));
}

Utils::Vector3d Coordinate::toPositionNED(const Coordinate &origin, float) const
{
    Utils::Vector2d offset;
    localOffsetFromGpsOffset(offset, origin, *this);
    requireAmsl(origin);
    const double down = altitudeType == AMSL ? -(altitude - origin.altitude) : -altitude;
    return {offset.x, offset.y, down};
}

Coordinate Coordinate::fromPositionNED(const Utils::Vector3d &ned, const Coordinate &origin)
{
    Coordinate result;
    gpsOffsetFromLocalOffset(result, origin, {ned.x, ned.y});
    requireAmsl(origin);
    result.altitudeType = AMSL;
    result.altitude = origin.altitude - ned.z;
    return result;
}
