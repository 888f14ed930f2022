// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "support/testmain.h"

#include <QSignalSpy>

#include <cmath>
#include <limits>

namespace {

namespace msg = mavlink::common::msg;
using GlobalPositionInt = mavlink::standard::msg::GLOBAL_POSITION_INT;

template <typename Record>
Record taken(QSignalSpy &spy)
{
    return spy.takeFirst().constFirst().value<Record>();
}

msg::GPS_RAW_INT fixAt(qint32 lat, qint32 lon, quint8 fixType)
{
    msg::GPS_RAW_INT gps{};
    gps.lat = lat;
    gps.lon = lon;
    gps.fix_type = fixType;
    return gps;
}

GlobalPositionInt positionAt(qint32 lat, qint32 lon, qint32 relativeAltMm = 0)
{
    GlobalPositionInt position{};
    position.lat = lat;
    position.lon = lon;
    position.relative_alt = relativeAltMm;
    return position;
}

} // namespace

class TestMavPosition : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void position_isPublishedInOrder();
    void position_ofTheGoldenFrame_hasTheseValues();
    void coordinates_areDegrees_data();
    void coordinates_areDegrees();
    void velocity_isTheLengthOfThe3dVector_data();
    void velocity_isTheLengthOfThe3dVector();
    void localPosition_needsA3dFix_data();
    void localPosition_needsA3dFix();
    void localPosition_isTheOffsetFromTheFirstFix_data();
    void localPosition_isTheOffsetFromTheFirstFix();
    void origin_isTakenOnce();
};

void TestMavPosition::position_isPublishedInOrder()
{
    AutopilotRig rig;
    rig.plugin->feed(Golden::GpsRawInt);
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("[AP] Dbg: GpsRawInf msg received sat: 12")});
    rig.plugin->feed(Golden::GlobalPositionInt);
    QCOMPARE(rig.log.take(),
             (QStringList{QStringLiteral("gpsCoordinate"), QStringLiteral("velocity 13"),
                          QStringLiteral("altitude 15.5 1"), QStringLiteral("vehicleLocalPos"),
                          QStringLiteral("[AP] Dbg: GlobalPosInt msg received"),
                          QStringLiteral("[MAV] \"Origin was set to (56.9505, 24.1061, 27.5)\"")}));
    QCOMPARE(rig.log.takenTypes().value(4), QtDebugMsg);
}

void TestMavPosition::position_ofTheGoldenFrame_hasTheseValues()
{
    AutopilotRig rig({{"ALTIMETER/MIN_ALTITUDE_M", 2}, {"ALTIMETER/MAX_ALTITUDE_M", 100}});
    QSignalSpy coordinate(runningApp(), &App::gpsCoordinate);
    QSignalSpy velocity(runningApp(), &App::velocity);
    QSignalSpy altitude(runningApp(), &App::altitude);
    rig.plugin->feed(Golden::GlobalPositionInt);
    rig.log.take();
    const auto position = taken<GeoCoordinates>(coordinate);
    QCOMPARE(position.latitude, 56.9505);
    QCOMPARE(position.longitude, 24.1061);
    QCOMPARE(taken<double>(velocity), 13.0);
    const auto height = taken<ScalarSensorData>(altitude);
    QCOMPARE(height.value, 15.5F);
    QCOMPARE(height.status, quint8(0));
}

void TestMavPosition::coordinates_areDegrees_data()
{
    QTest::addColumn<qint32>("lat");
    QTest::addColumn<qint32>("lon");
    QTest::addColumn<double>("latitude");
    QTest::addColumn<double>("longitude");
    QTest::newRow("zero") << 0 << 0 << 0.0 << 0.0;
    QTest::newRow("one step") << 1 << -1 << 1e-7 << -1e-7;
    QTest::newRow("Montevideo") << -349011000 << -561645000 << -34.9011 << -56.1645;
    QTest::newRow("corner") << 900000000 << -1800000000 << 90.0 << -180.0;
}

void TestMavPosition::coordinates_areDegrees()
{
    QFETCH(qint32, lat);
    QFETCH(qint32, lon);
    QFETCH(double, latitude);
    QFETCH(double, longitude);
    AutopilotRig rig;
    QSignalSpy coordinate(runningApp(), &App::gpsCoordinate);
    rig.plugin->feed(positionAt(lat, lon));
    rig.log.take();
    const auto position = taken<GeoCoordinates>(coordinate);
    QCOMPARE(position.latitude, latitude);
    QCOMPARE(position.longitude, longitude);
}

void TestMavPosition::velocity_isTheLengthOfThe3dVector_data()
{
    QTest::addColumn<int>("vx");
    QTest::addColumn<int>("vy");
    QTest::addColumn<int>("vz");
    QTest::addColumn<double>("speed");
    QTest::newRow("at rest") << 0 << 0 << 0 << 0.0;
    QTest::newRow("north") << 100 << 0 << 0 << 1.0;
    QTest::newRow("sinking") << 0 << 0 << 250 << 2.5;
    QTest::newRow("climbing") << 0 << 0 << -250 << 2.5;
    QTest::newRow("all three") << -300 << 400 << -1200 << 13.0;
    QTest::newRow("fastest") << -32768 << -32768 << -32768 << 567.5584086;
}

void TestMavPosition::velocity_isTheLengthOfThe3dVector()
{
    QFETCH(int, vx);
    QFETCH(int, vy);
    QFETCH(int, vz);
    QFETCH(double, speed);
    AutopilotRig rig;
    QSignalSpy velocity(runningApp(), &App::velocity);
    GlobalPositionInt position{};
    position.vx = static_cast<qint16>(vx);
    position.vy = static_cast<qint16>(vy);
    position.vz = static_cast<qint16>(vz);
    rig.plugin->feed(position);
    rig.log.take();
    QVERIFY(std::abs(taken<double>(velocity) - speed) < 1e-6);
}

void TestMavPosition::localPosition_needsA3dFix_data()
{
    QTest::addColumn<int>("fixType");
    QTest::addColumn<bool>("published");
    QTest::newRow("no GPS") << 0 << false;
    QTest::newRow("no fix") << 1 << false;
    QTest::newRow("2D") << 2 << false;
    QTest::newRow("3D") << 3 << true;
    QTest::newRow("DGPS") << 4 << true;
    QTest::newRow("RTK fixed") << 6 << true;
}

void TestMavPosition::localPosition_needsA3dFix()
{
    QFETCH(int, fixType);
    QFETCH(bool, published);
    AutopilotRig rig;
    QSignalSpy local(runningApp(), &App::vehicleLocalPos);
    rig.plugin->feed(Golden::GlobalPositionInt);
    QCOMPARE(local.size(), 0);
    rig.plugin->feed(fixAt(569496000, 241052000, static_cast<quint8>(fixType)));
    rig.plugin->feed(Golden::GlobalPositionInt);
    rig.log.take();
    QCOMPARE(local.size(), published ? 1 : 0);
}

void TestMavPosition::localPosition_isTheOffsetFromTheFirstFix_data()
{
    QTest::addColumn<qint32>("lat");
    QTest::addColumn<qint32>("lon");
    QTest::addColumn<qint32>("relativeAltMm");
    QTest::newRow("at the origin") << 569496000 << 241052000 << 0;
    QTest::newRow("north-east, above") << 569505000 << 241061000 << 15500;
    QTest::newRow("south-west, below") << 569400000 << 240900000 << -2500;
    QTest::newRow("lowest") << 569496000 << 241052000 << std::numeric_limits<qint32>::min();
}

// An equirectangular projection on a sphere of the equatorial radius, with pi in single precision; the cosine
// is that of the vehicle's latitude.
void TestMavPosition::localPosition_isTheOffsetFromTheFirstFix()
{
    QFETCH(qint32, lat);
    QFETCH(qint32, lon);
    QFETCH(qint32, relativeAltMm);
    constexpr double RadiusM = 6378137.0;
    constexpr double DegreeRad = static_cast<double>(3.14159265358979323846F) / 180.0;
    const double north = (lat / 1e7 - 56.9496) * DegreeRad * RadiusM;
    const double east = (lon / 1e7 - 24.1052) * DegreeRad * RadiusM * std::cos(lat / 1e7 * DegreeRad);

    AutopilotRig rig;
    QSignalSpy local(runningApp(), &App::vehicleLocalPos);
    rig.plugin->feed(Golden::GpsRawInt);
    rig.plugin->feed(positionAt(lat, lon, relativeAltMm));
    rig.log.take();
    const auto position = taken<Value3d>(local);
    QVERIFY(std::abs(position.x - north) < 1e-6);
    QVERIFY(std::abs(position.y - east) < 1e-6);
    QCOMPARE(position.z, -1.0 * relativeAltMm / 1000.0);
}

void TestMavPosition::origin_isTakenOnce()
{
    AutopilotRig rig;
    QSignalSpy local(runningApp(), &App::vehicleLocalPos);
    rig.plugin->feed(fixAt(10000000, 20000000, 3));
    rig.plugin->feed(fixAt(500000000, 500000000, 6));
    rig.plugin->feed(positionAt(10000000, 20000000));
    rig.log.take();
    const auto position = taken<Value3d>(local);
    QCOMPARE(position.x, 0.0);
    QCOMPARE(position.y, 0.0);
}

APP_TEST_MAIN(TestMavPosition)
#include "tst_mavposition.moc"
