// SPDX-License-Identifier: MIT
#include "navigation/positions.h"

#include <QtTest>

#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <type_traits>

namespace {

static_assert(std::is_aggregate_v<Coordinate> && std::is_trivially_copyable_v<Coordinate>);
static_assert(std::is_same_v<std::underlying_type_t<AltitudeType>, qint32> && AMSL == 0 && Relative == 1);
static_assert(std::is_same_v<decltype(EARTH_RADIUS), const double> && EARTH_RADIUS == 6378137.0);
static_assert(offsetof(Coordinate, latitude) < offsetof(Coordinate, longitude));
static_assert(offsetof(Coordinate, longitude) < offsetof(Coordinate, altitudeType));
static_assert(offsetof(Coordinate, altitudeType) < offsetof(Coordinate, altitude));
static_assert(std::is_aggregate_v<Utils::Vector2d> && sizeof(Utils::Vector2d) == 16);
static_assert(std::is_aggregate_v<Utils::Vector3d> && sizeof(Utils::Vector3d) == 24);

constexpr long double Pi = 3.1415927410125732421875L;
constexpr long double Radius = 6378137.0L;

long double radians(long double degrees)
{
    return degrees * Pi / 180;
}

bool close(double actual, long double expected, long double tolerance)
{
    return std::fabs(actual - expected) <= tolerance;
}

/// Pairs of places between them in all quarters of the globe, near and far.
void addPairs()
{
    QTest::addColumn<Coordinate>("from");
    QTest::addColumn<Coordinate>("to");
    const auto row = [](const char *title, double lat1, double lon1, double lat2, double lon2) {
        QTest::newRow(title) << Coordinate{lat1, lon1, AMSL, 10} << Coordinate{lat2, lon2, AMSL, 35};
    };
    row("same place", 59.9, 30.3, 59.9, 30.3);
    row("a metre north", 56.95, 24.1, 56.950009, 24.1);
    row("a metre east", 56.95, 24.1, 56.95, 24.100016);
    row("a few hundred metres", 47.397742, 8.545594, 47.3999, 8.5412);
    row("southern and western", -33.8568, -70.5, -33.9, -70.9);
    row("over the equator", 0.5, -0.5, -0.5, 0.5);
    row("over the date line", 10, 179.9, 10.1, -179.9);
    row("far", 51.5, -0.1, 40.7, -74);
    row("to the pole", 80, 15, 90, 15);
}

template <class Function>
void expectRefusal(Function function)
{
    try {
        function();
        QFAIL("nothing was thrown");
    } catch (const std::invalid_argument &refusal) {
        QCOMPARE(QByteArray(refusal.what()), QByteArray("origins alititude type must be AMSL"));
    }
}

} // namespace

Q_DECLARE_METATYPE(Coordinate)
Q_DECLARE_METATYPE(AltitudeType)

class TestCoordinate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void localOffset_agreesWithAWiderComputation_data() { addPairs(); }
    void localOffset_agreesWithAWiderComputation();
    void localOffset_takesTheCosineOfTheTarget();
    void localOffset_ofADegree_isTheLiteral();
    void gpsOffset_agreesWithAWiderComputation_data() { addPairs(); }
    void gpsOffset_agreesWithAWiderComputation();
    void gpsOffset_leavesTheAltitude();
    void gpsOffset_atHalfPiDegrees_givesLongitudeNought_data();
    void gpsOffset_atHalfPiDegrees_givesLongitudeNought();
    void gpsOffset_atThePole_divides();
    void arc_agreesWithAWiderComputation_data() { addPairs(); }
    void arc_agreesWithAWiderComputation();
    void arc_betweenOppositePoles_isThatOfTheLibrarysPi();
    void arc_whoseHaversineLeavesTheUnitRange_isNotClamped();
    void distance_isTheArcTimesTheRadius_data() { addPairs(); }
    void distance_isTheArcTimesTheRadius();
    void distance_ofADegreeOfLatitude_isTheLiteral();
    void heading_agreesWithAWiderComputation_data() { addPairs(); }
    void heading_agreesWithAWiderComputation();
    void heading_inTheFourDirections_data();
    void heading_inTheFourDirections();
    void toPositionNED_agreesWithAWiderComputation_data() { addPairs(); }
    void toPositionNED_agreesWithAWiderComputation();
    void toPositionNED_ofItself_isNought();
    void toPositionNED_ofARelativePosition_takesItsAltitude_data();
    void toPositionNED_ofARelativePosition_takesItsAltitude();
    void toPositionNED_ignoresItsSecondArgument();
    void fromPositionNED_undoesToPositionNED_data() { addPairs(); }
    void fromPositionNED_undoesToPositionNED();
    void fromPositionNED_hasTheAltitudeAboveSeaLevel();
    void conversions_fromAnOriginThatIsNotAmsl_throw_data();
    void conversions_fromAnOriginThatIsNotAmsl_throw();
    void nan_propagates();
};

void TestCoordinate::localOffset_agreesWithAWiderComputation()
{
    QFETCH(Coordinate, from);
    QFETCH(Coordinate, to);
    Utils::Vector2d offset;
    Coordinate::localOffsetFromGpsOffset(offset, from, to);
    const long double north = radians(static_cast<long double>(to.latitude) - from.latitude) * Radius;
    const long double east = radians(static_cast<long double>(to.longitude) - from.longitude) * Radius *
                             std::cos(radians(to.latitude));
    QVERIFY2(close(offset.x, north, 1e-8L + std::fabs(north) * 1e-15L),
             qPrintable(QString::number(offset.x)));
    QVERIFY2(close(offset.y, east, 1e-8L + std::fabs(east) * 1e-15L), qPrintable(QString::number(offset.y)));
}

void TestCoordinate::localOffset_takesTheCosineOfTheTarget()
{
    Utils::Vector2d offset{7, 7};
    Coordinate::localOffsetFromGpsOffset(offset, {0, 0}, {60, 1});
    QVERIFY(close(offset.y, radians(1) * Radius * std::cos(radians(60)), 1e-6L));
    Coordinate::localOffsetFromGpsOffset(offset, {60, 1}, {0, 0});
    QVERIFY(close(offset.y, -radians(1) * Radius, 1e-6L));
}

void TestCoordinate::localOffset_ofADegree_isTheLiteral()
{
    Utils::Vector2d offset;
    Coordinate::localOffsetFromGpsOffset(offset, {0, 0}, {0, 1});
    QVERIFY(close(offset.y, 111319.49389102061L, 1e-6L)); // 111319.4907932736 with the pi of double precision
    Coordinate::localOffsetFromGpsOffset(offset, {0, 0, AMSL, 5}, {1, 0, Relative, 500});
    QVERIFY(close(offset.x, 111319.49389102061L, 1e-6L));
}

void TestCoordinate::gpsOffset_agreesWithAWiderComputation()
{
    QFETCH(Coordinate, from);
    QFETCH(Coordinate, to);
    const Utils::Vector2d offset{(to.latitude - from.latitude) * 1e5, (to.longitude - from.longitude) * 5e4};
    Coordinate out;
    Coordinate::gpsOffsetFromLocalOffset(out, from, offset);
    const long double latitude = offset.x / Radius / Pi * 180 + from.latitude;
    const long double longitude = from.longitude + offset.y / Radius / Pi * 180 / std::cos(radians(latitude));
    QVERIFY(close(out.latitude, latitude, 1e-12L));
    QVERIFY2(close(out.longitude, longitude, 1e-11L), qPrintable(QString::number(out.longitude, 'g', 17)));
}

void TestCoordinate::gpsOffset_leavesTheAltitude()
{
    Coordinate out{1, 2, Relative, 77};
    Coordinate::gpsOffsetFromLocalOffset(out, {50, 20, AMSL, 5}, {10, 20});
    QCOMPARE(out.altitudeType, Relative);
    QCOMPARE(out.altitude, 77.0);
    QVERIFY(out.latitude > 50 && out.longitude > 20);
}

void TestCoordinate::gpsOffset_atHalfPiDegrees_givesLongitudeNought_data()
{
    QTest::addColumn<double>("latitude");
    QTest::addColumn<bool>("guarded");
    QTest::newRow("documented") << 1.5707963 << true;
    QTest::newRow("exactly") << 1.5707963705062866 << true;
    QTest::newRow("south") << -1.5707963 << true;
    QTest::newRow("inside, above") << 1.5707963705062866 + 1.19e-7 << true;
    QTest::newRow("inside, below") << 1.5707963705062866 - 1.19e-7 << true;
    QTest::newRow("outside, above") << 1.5707963705062866 + 1.20e-7 << false;
    QTest::newRow("outside, below") << 1.5707963705062866 - 1.20e-7 << false;
    QTest::newRow("pole") << 90.0 << false;
    QTest::newRow("equator") << 0.0 << false;
}

void TestCoordinate::gpsOffset_atHalfPiDegrees_givesLongitudeNought()
{
    QFETCH(double, latitude);
    QFETCH(bool, guarded);
    Coordinate out{0, 5};
    Coordinate::gpsOffsetFromLocalOffset(out, {latitude, 123.5}, {0, 0});
    QCOMPARE(out.latitude, latitude);
    QCOMPARE(out.longitude, guarded ? 0.0 : 123.5);
}

// The pi of single precision makes the cosine of the pole a small negative number.
void TestCoordinate::gpsOffset_atThePole_divides()
{
    Coordinate out;
    Coordinate::gpsOffsetFromLocalOffset(out, {90, 10}, {0, 1});
    const long double expected = 10 + 1 / Radius / Pi * 180 / std::cos(radians(90));
    QVERIFY(expected < -100);
    QVERIFY2(close(out.longitude, expected, 1e-5L), qPrintable(QString::number(out.longitude, 'g', 17)));
}

namespace {

/// The central angle from the chord between the two places on the unit sphere.
long double arcByChord(const Coordinate &a, const Coordinate &b)
{
    const auto place = [](const Coordinate &c, long double(&p)[3]) {
        p[0] = std::cos(radians(c.latitude)) * std::cos(radians(c.longitude));
        p[1] = std::cos(radians(c.latitude)) * std::sin(radians(c.longitude));
        p[2] = std::sin(radians(c.latitude));
    };
    long double p[3];
    long double q[3];
    place(a, p);
    place(b, q);
    return 2 * std::asin(std::hypot(std::hypot(p[0] - q[0], p[1] - q[1]), p[2] - q[2]) / 2);
}

} // namespace

void TestCoordinate::arc_agreesWithAWiderComputation()
{
    QFETCH(Coordinate, from);
    QFETCH(Coordinate, to);
    QVERIFY(close(Coordinate::getArcInRadians(from, to), arcByChord(from, to), 4e-15L));
    QVERIFY(close(Coordinate::getArcInRadians(to, from), arcByChord(from, to), 4e-15L));
}

void TestCoordinate::arc_betweenOppositePoles_isThatOfTheLibrarysPi()
{
    const double arc = Coordinate::getArcInRadians({90, 0}, {-90, 0});
    QVERIFY(close(arc, 3.14159265358979L, 1e-6L)); // 2 asin(1)
    QCOMPARE(Coordinate::getArcInRadians({12, 34}, {12, 34}), 0.0);
}

void TestCoordinate::arc_whoseHaversineLeavesTheUnitRange_isNotClamped()
{
    // Rounding makes the haversine greater than 1 near the antipode, and less than 0 beside a pole.
    QVERIFY(std::isnan(
        Coordinate::getArcInRadians({-40.79298412291399, 0}, {40.79298411535506, -179.99999499104382})));
    const double halfTurn = 180 * 3.14159265358979323846 / 3.1415927410125732;
    QVERIFY(std::isnan(Coordinate::getArcInRadians({90.00000033900437, 0}, {89.99999465203945, halfTurn})));
}

void TestCoordinate::distance_isTheArcTimesTheRadius()
{
    QFETCH(Coordinate, from);
    QFETCH(Coordinate, to);
    QVERIFY(Coordinate::getDistance(from, to) == Coordinate::getArcInRadians(from, to) * 6378137.0);
    QVERIFY(close(Coordinate::getDistance(from, to), arcByChord(from, to) * Radius, 3e-8L));
}

void TestCoordinate::distance_ofADegreeOfLatitude_isTheLiteral()
{
    QVERIFY(close(Coordinate::getDistance({0, 0}, {1, 0}), 111319.49389102061L, 1e-6L));
    QVERIFY(close(Coordinate::getDistance({0, 179.5}, {0, -179.5}), 111319.49389102061L, 2.0L));
}

void TestCoordinate::heading_agreesWithAWiderComputation()
{
    QFETCH(Coordinate, from);
    QFETCH(Coordinate, to);
    const long double lat1 = radians(from.latitude);
    const long double lat2 = radians(to.latitude);
    const long double dLon = radians(to.longitude) - radians(from.longitude);
    const long double y = std::sin(dLon) * std::cos(lat2);
    const long double x = std::cos(lat1) * std::sin(lat2) - std::sin(lat1) * std::cos(lat2) * std::cos(dLon);
    const double heading = Coordinate::getHeadingFromCoordinates180(from, to);
    QVERIFY(heading >= -180 && heading <= 180);
    const long double length = std::hypot(x, y);
    if (length > 1e-12L) // the shorter the way, the less its direction is worth
        QVERIFY2(close(heading, std::atan2(y, x) / Pi * 180, 1e-14L / length + 1e-12L),
                 qPrintable(QString::number(heading, 'g', 17)));
    else
        QVERIFY(from.latitude == to.latitude && from.longitude == to.longitude);
}

void TestCoordinate::heading_inTheFourDirections_data()
{
    QTest::addColumn<Coordinate>("to");
    QTest::addColumn<double>("heading");
    QTest::newRow("north") << Coordinate{1, 0} << 0.0;
    QTest::newRow("east") << Coordinate{0, 1} << 90.0;
    QTest::newRow("south") << Coordinate{-1, 0} << 180.0;
    QTest::newRow("west") << Coordinate{0, -1} << -90.0;
}

// A right angle of the library is 90 degrees less what the two values of pi differ by.
void TestCoordinate::heading_inTheFourDirections()
{
    QFETCH(Coordinate, to);
    QFETCH(double, heading);
    const double actual = Coordinate::getHeadingFromCoordinates180({0, 0}, to);
    QVERIFY(close(actual, heading * 3.14159265358979323846L / Pi, 1e-12L));
}

void TestCoordinate::toPositionNED_agreesWithAWiderComputation()
{
    QFETCH(Coordinate, from);
    QFETCH(Coordinate, to);
    const Utils::Vector3d ned = to.toPositionNED(from, 0);
    Utils::Vector2d offset;
    Coordinate::localOffsetFromGpsOffset(offset, from, to);
    QVERIFY(ned.x == offset.x);
    QVERIFY(ned.y == offset.y);
    QVERIFY(ned.z == -25.0);
}

void TestCoordinate::toPositionNED_ofItself_isNought()
{
    const Coordinate place{47.4, 8.5, AMSL, 488};
    const auto [north, east, down] = place.toPositionNED(place, 0);
    QCOMPARE(north, 0.0);
    QCOMPARE(east, 0.0);
    QCOMPARE(down, 0.0);
}

void TestCoordinate::toPositionNED_ofARelativePosition_takesItsAltitude_data()
{
    QTest::addColumn<AltitudeType>("type");
    QTest::addColumn<double>("down");
    QTest::newRow("AMSL") << AMSL << 478.0;
    QTest::newRow("relative") << Relative << -10.0;
    QTest::newRow("any other") << AltitudeType(77) << -10.0;
    QTest::newRow("negative") << AltitudeType(-1) << -10.0;
}

void TestCoordinate::toPositionNED_ofARelativePosition_takesItsAltitude()
{
    QFETCH(AltitudeType, type);
    QFETCH(double, down);
    const Coordinate place{47.4, 8.5, type, 10};
    const Utils::Vector3d ned = place.toPositionNED({47.4, 8.5, AMSL, 488}, 0);
    QCOMPARE(ned.z, down);
    QCOMPARE(ned.x, 0.0);
    QCOMPARE(ned.y, 0.0);
}

void TestCoordinate::toPositionNED_ignoresItsSecondArgument()
{
    const Coordinate place{47.5, 8.6, AMSL, 10};
    const Coordinate origin{47.4, 8.5, AMSL, 488};
    const Utils::Vector3d a = place.toPositionNED(origin, 0);
    const Utils::Vector3d b = place.toPositionNED(origin, std::numeric_limits<float>::quiet_NaN());
    QVERIFY(a.x == b.x && a.y == b.y && a.z == b.z);
}

void TestCoordinate::fromPositionNED_undoesToPositionNED()
{
    QFETCH(Coordinate, from);
    QFETCH(Coordinate, to);
    const Coordinate back = Coordinate::fromPositionNED(to.toPositionNED(from, 0), from);
    QVERIFY(close(back.latitude, to.latitude, 1e-11L));
    QVERIFY2(close(back.longitude, to.longitude, 1e-9L),
             qPrintable(QString::number(back.longitude, 'g', 17)));
    QCOMPARE(back.altitudeType, AMSL);
    QCOMPARE(back.altitude, to.altitude);
}

void TestCoordinate::fromPositionNED_hasTheAltitudeAboveSeaLevel()
{
    const Coordinate place = Coordinate::fromPositionNED({100, 200, -12.5}, {47.4, 8.5, AMSL, 488});
    QCOMPARE(place.altitudeType, AMSL);
    QCOMPARE(place.altitude, 500.5);
    Coordinate horizontal;
    Coordinate::gpsOffsetFromLocalOffset(horizontal, {47.4, 8.5}, {100, 200});
    QVERIFY(place.latitude == horizontal.latitude);
    QVERIFY(place.longitude == horizontal.longitude);
}

void TestCoordinate::conversions_fromAnOriginThatIsNotAmsl_throw_data()
{
    QTest::addColumn<AltitudeType>("type");
    QTest::newRow("relative") << Relative;
    QTest::newRow("any other") << AltitudeType(2);
    QTest::newRow("negative") << AltitudeType(-1);
    QTest::newRow("largest") << AltitudeType(2147483647);
}

void TestCoordinate::conversions_fromAnOriginThatIsNotAmsl_throw()
{
    QFETCH(AltitudeType, type);
    const Coordinate origin{47.4, 8.5, type, 488};
    const Coordinate place{47.5, 8.6, AMSL, 10};
    const Coordinate relative{47.5, 8.6, type, 10};
    expectRefusal([&] { Q_UNUSED(place.toPositionNED(origin, 0)) });
    expectRefusal([&] { Q_UNUSED(relative.toPositionNED(origin, 0)) });
    expectRefusal([&] { Q_UNUSED(Coordinate::fromPositionNED({1, 2, 3}, origin)) });
}

void TestCoordinate::nan_propagates()
{
    const double nan = std::nan("");
    const Coordinate place{nan, 8.5, AMSL, nan};
    const Utils::Vector3d ned = place.toPositionNED({47.4, 8.5, AMSL, 488}, 0);
    QVERIFY(std::isnan(ned.x) && std::isnan(ned.y) && std::isnan(ned.z));
    QVERIFY(std::isnan(Coordinate::getDistance(place, {1, 2})));
    QVERIFY(std::isnan(Coordinate::getHeadingFromCoordinates180(place, {1, 2})));
    Coordinate out;
    Coordinate::gpsOffsetFromLocalOffset(out, place, {1, 1});
    QVERIFY(std::isnan(out.latitude) && std::isnan(out.longitude));
}

QTEST_GUILESS_MAIN(TestCoordinate)
#include "tst_coordinate.moc"
