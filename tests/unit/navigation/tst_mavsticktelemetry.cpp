// SPDX-License-Identifier: MIT
#include "navigation/stickrecorder.h"

#include <QtTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

constexpr quint8 Px4 = 12;
constexpr quint8 ArduPilot = 3;
constexpr qint32 Lat = 473977420;
constexpr qint32 Lon = 85455940;
constexpr qint32 AltMm = 488123;

const QString Status = QStringLiteral("statusChanged");
const QString Attitude = QStringLiteral("attitudeChanged");
const QString Origin = QStringLiteral("originChanged");
const QString LocalPosition = QStringLiteral("localPositionChanged");

QStringList heard(int system, const char *kind)
{
    return {QStringLiteral("[MAV] Autopilot systemid detected  %1").arg(system),
            QStringLiteral("[MAV] ") + QLatin1String(kind)};
}

} // namespace

/// What the stick makes of attitudes, positions and the states in heartbeats.
class TestMavStickTelemetry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void heartbeat_isToldAsStatus_data();
    void heartbeat_isToldAsStatus();
    void heartbeat_everyOne_isToldAsStatus();
    void heartbeat_withItsEndTrimmed_isReadAsZeros();
    void heartbeat_afterTheOrigin_saysSo();
    void heartbeat_fromInsideOriginChanged_saysThatItIsSet();
    void attitude_isConvertedBitForBit_data();
    void attitude_isConvertedBitForBit();
    void attitude_hasThreeUnknownsAndTheTime();
    void attitude_ofNothing_isNothing();
    void attitude_thatIsNoNumber_isPassedOn();
    void attitude_fromInsideAttitudeChanged_reachesEveryReceiver();
    void firstPosition_isTheOrigin();
    void firstPosition_ofZeros_isTheOriginForEver();
    void firstPosition_isLoggedInShort_data();
    void firstPosition_isLoggedInShort();
    void origin_isLoggedBeforeItIsTold();
    void position_isRelativeToTheOrigin_data();
    void position_isRelativeToTheOrigin();
    void position_ofTheOrigin_isNought();
    void velocity_isConvertedBitForBit_data();
    void velocity_isConvertedBitForBit();
    void position_heightAboveHomeAndHeading_areIgnored();
    void position_fromInsideLocalPositionChanged_reachesEveryReceiver();
    void otherMessages_areIgnored();
};

void TestMavStickTelemetry::heartbeat_isToldAsStatus_data()
{
    QTest::addColumn<int>("baseMode");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("flags");
    const auto row = [](int baseMode, int state, const char *flags) {
        QTest::addRow("mode %d, state %d", baseMode, state)
            << baseMode << state << QString::fromLatin1(flags);
    };
    row(0, 0, "");
    row(0x80, 0, "armed");
    row(0x7F, 0, "guided");
    row(0x08, 0, "guided");
    row(0xF7, 0, "armed");
    row(0xFF, 3, "armed guided");
    row(0, 1, "");
    row(0, 3, "");
    row(0, 4, "active");
    row(0, 5, "active");
    row(0, 8, "active");
    row(0, 255, "active");
    row(0x88, 4, "armed guided active");
}

void TestMavStickTelemetry::heartbeat_isToldAsStatus()
{
    QFETCH(int, baseMode);
    QFETCH(int, state);
    QFETCH(QString, flags);
    StickRecorder of;
    of.detect(Px4);
    auto heartbeat = heartbeatOf(Px4, quint8(baseMode));
    heartbeat.system_status = quint8(state);
    of.receive(heartbeat);
    QCOMPARE(of.emitted, QStringList{Status});
    const Navigate::VehicleStatus &status = of.statuses.first();
    QCOMPARE(status.timestamp, -1.0);
    QCOMPARE(status.armed, flags.contains(QLatin1String("armed")));
    QCOMPARE(status.guided, flags.contains(QLatin1String("guided")));
    QCOMPARE(status.active, flags.contains(QLatin1String("active")));
    QVERIFY(!status.originSet);
}

void TestMavStickTelemetry::heartbeat_everyOne_isToldAsStatus()
{
    StickRecorder of;
    of.receive(heartbeatOf(ArduPilot, 0x80));
    QCOMPARE(of.log.take(), heard(1, "ArduPilot Detected"));
    for (int i = 0; i < 3; ++i)
        of.receive(heartbeatOf(ArduPilot, 0x80), {1, quint8(i * 100)});
    QCOMPARE(of.emitted, (QStringList{Status, Status, Status, Status}));
    QVERIFY(of.statuses.first().armed);
}

// heartbeatOf() ends in zeros: state and version are not on the wire.
void TestMavStickTelemetry::heartbeat_withItsEndTrimmed_isReadAsZeros()
{
    StickRecorder of;
    of.detect(Px4);
    of.receive(heartbeatOf(Px4, 0));
    QVERIFY(!of.statuses.first().active);
    QVERIFY(!of.statuses.first().armed);
}

void TestMavStickTelemetry::heartbeat_afterTheOrigin_saysSo()
{
    StickRecorder of;
    of.detect(Px4);
    of.receive(heartbeatOf(Px4));
    of.receive(positionOf(0, 0, 0));
    of.receive(heartbeatOf(Px4));
    of.log.take();
    QCOMPARE(of.emitted, (QStringList{Status, Origin, Status}));
    QVERIFY(!of.statuses[0].originSet);
    QVERIFY(of.statuses[1].originSet);
}

void TestMavStickTelemetry::heartbeat_fromInsideOriginChanged_saysThatItIsSet()
{
    StickRecorder of;
    of.detect(Px4);
    connect(&of.stick, &IVirtualStick::originChanged, this, [&] { of.receive(heartbeatOf(Px4)); });
    of.receive(positionOf(0, 0, 0));
    of.log.take();
    QVERIFY(of.statuses.value(0).originSet);
}

// Worked out in Python.
void TestMavStickTelemetry::attitude_isConvertedBitForBit_data()
{
    QTest::addColumn<float>("radians");
    QTest::addColumn<float>("degrees");
    QTest::newRow("0") << 0.0F << 0.0F;
    QTest::newRow("-0") << -0.0F << -0.0F;
    QTest::newRow("0.25") << 0.25F << 0x1.ca5dcp+3F;
    QTest::newRow("-0.5") << -0.5F << -0x1.ca5dcp+4F;
    QTest::newRow("1.5") << 1.5F << 0x1.57c65p+6F;
    QTest::newRow("pi") << 3.1415927F << 180.0F;
    QTest::newRow("-pi") << -3.1415927F << -180.0F;
    QTest::newRow("1e-8") << 1e-8F << 0x1.339ab8p-21F;
    QTest::newRow("below pi") << 3.1415925F << 0x1.67fffep+7F;
    QTest::newRow("0.1") << 0.1F << 0x1.6eb168p+2F;
    QTest::newRow("-2.7182817") << -2.7182817F << -0x1.377dfcp+7F;
    QTest::newRow("1e30") << 1e30F << 0x1.699652p+105F;
    QTest::newRow("too large") << 3e38F << std::numeric_limits<float>::infinity();
}

void TestMavStickTelemetry::attitude_isConvertedBitForBit()
{
    QFETCH(float, radians);
    QFETCH(float, degrees);
    StickRecorder of;
    of.receive(attitudeOf(radians, 0, 1));
    of.receive(attitudeOf(1, radians, 0));
    of.receive(attitudeOf(0, 1, radians));
    QCOMPARE(of.attitudes.size(), 3);
    QVERIFY2(sameBits(of.attitudes[0].roll, degrees), qPrintable(QString::number(of.attitudes[0].roll)));
    QVERIFY(sameBits(of.attitudes[1].pitch, degrees));
    QVERIFY(sameBits(of.attitudes[2].yaw, degrees));
    QVERIFY(sameBits(of.attitudes[0].pitch, 0));
    QVERIFY(sameBits(of.attitudes[1].yaw, 0));
    QVERIFY(sameBits(of.attitudes[2].roll, 0));
}

void TestMavStickTelemetry::attitude_hasThreeUnknownsAndTheTime()
{
    StickRecorder of;
    auto attitude = attitudeOf(0.25F, -0.5F, 1.5F, 4294967295U);
    attitude.rollspeed = 1;
    attitude.pitchspeed = 2;
    attitude.yawspeed = 3;
    of.receive(attitude);
    QCOMPARE(of.emitted, QStringList{Attitude});
    const Navigate::Attitude told = of.attitudes.first();
    QCOMPARE(told.timestamp, 4294967295.0);
    QVERIFY(std::isnan(told.extra1) && std::isnan(told.extra2) && std::isnan(told.extra3));
}

void TestMavStickTelemetry::attitude_ofNothing_isNothing()
{
    StickRecorder of;
    of.receive(attitudeOf(1, 1, 1));
    of.receive(attitudeOf(0, 0, 0, 0)); // one byte on the wire
    const Navigate::Attitude told = of.attitudes.value(1);
    QCOMPARE(told.timestamp, 0.0);
    QVERIFY(sameBits(told.roll, 0) && sameBits(told.pitch, 0) && sameBits(told.yaw, 0));
}

void TestMavStickTelemetry::attitude_thatIsNoNumber_isPassedOn()
{
    StickRecorder of;
    of.receive(attitudeOf(std::nanf(""), -HUGE_VALF, HUGE_VALF));
    const Navigate::Attitude told = of.attitudes.value(0);
    QVERIFY(std::isnan(told.roll));
    QCOMPARE(told.pitch, -HUGE_VALF);
    QCOMPARE(told.yaw, HUGE_VALF);
}

// A receiver may turn the event loop, and more bytes come in: the receivers behind it get both all the same.
void TestMavStickTelemetry::attitude_fromInsideAttitudeChanged_reachesEveryReceiver()
{
    const LogCapture log;
    MavStickAdapter stick;
    bool nested = false;
    QList<double> times;
    connect(&stick, &IVirtualStick::attitudeChanged, this, [&] {
        if (!std::exchange(nested, true))
            stick.onMessageReceived(receivedOf(attitudeOf(2, 2, 2, 2000)));
    });
    connect(&stick, &IVirtualStick::attitudeChanged, this,
            [&](const Navigate::Attitude &attitude) { times.append(attitude.timestamp); });
    stick.onMessageReceived(receivedOf(attitudeOf(1, 1, 1, 1000)));
    std::sort(times.begin(), times.end());
    QCOMPARE(times, (QList<double>{1000, 2000}));
}

void TestMavStickTelemetry::firstPosition_isTheOrigin()
{
    StickRecorder of;
    of.detect(Px4);
    of.receive(positionOf(Lat, Lon, AltMm));
    QCOMPARE(of.log.take(),
             QStringList{QStringLiteral("[MAV] \"Origin was set to (47.3977, 8.54559, 488.123)\"")});
    QCOMPARE(of.log.takenTypes(), QList<QtMsgType>{QtInfoMsg});
    QCOMPARE(of.emitted, QStringList{Origin});
    QVERIFY(of.origins.first()[0] == 47.397742);
    QVERIFY(of.origins.first()[1] == 8.545594);
    QVERIFY(of.origins.first()[2] == 488123 * 0.001);
}

void TestMavStickTelemetry::firstPosition_ofZeros_isTheOriginForEver()
{
    StickRecorder of;
    of.detect(ArduPilot);
    of.receive(positionOf(0, 0, 0, 0));
    QCOMPARE(of.log.take(), QStringList{QStringLiteral("[MAV] \"Origin was set to (0, 0, 0)\"")});
    QCOMPARE(of.origins, (QList<QList<double>>{{0, 0, 0}}));
    of.receive(positionOf(Lat, Lon, AltMm));
    QCOMPARE(of.emitted, (QStringList{Origin, LocalPosition}));
    QCOMPARE(of.positions.first().x, 5276292.5F);
    QCOMPARE(of.positions.first().y, 643933.75F);
    QVERIFY(sameBits(of.positions.first().z, -488.12298583984375F));
}

void TestMavStickTelemetry::firstPosition_isLoggedInShort_data()
{
    QTest::addColumn<qint32>("lat");
    QTest::addColumn<qint32>("lon");
    QTest::addColumn<qint32>("alt");
    QTest::addColumn<QString>("numbers");
    const auto row = [](qint32 lat, qint32 lon, qint32 alt, const char *numbers) {
        QTest::newRow(numbers) << lat << lon << alt << QString::fromLatin1(numbers);
    };
    row(900000000, -1800000000, 2147483647, "90, -180, 2.14748e+06");
    row(-337000001, 1511234567, -12345, "-33.7, 151.123, -12.345");
    row(1, -1, 1, "1e-07, -1e-07, 0.001");
    row(-2147483647 - 1, 0, -2147483647 - 1, "214.748, 0, -2.14748e+06");
}

void TestMavStickTelemetry::firstPosition_isLoggedInShort()
{
    QFETCH(qint32, lat);
    QFETCH(qint32, lon);
    QFETCH(qint32, alt);
    QFETCH(QString, numbers);
    StickRecorder of;
    of.receive(positionOf(lat, lon, alt));
    QCOMPARE(of.log.take(), QStringList{QStringLiteral("[MAV] \"Origin was set to (%1)\"").arg(numbers)});
    QCOMPARE(of.origins.value(0).value(2), alt * 0.001);
}

void TestMavStickTelemetry::origin_isLoggedBeforeItIsTold()
{
    StickRecorder of;
    QStringList before;
    connect(&of.stick, &IVirtualStick::originChanged, this, [&] { before = of.log.take(); });
    of.receive(positionOf(0, 0, 0));
    QCOMPARE(before.size(), 1);
}

// Worked out in Python.
void TestMavStickTelemetry::position_isRelativeToTheOrigin_data()
{
    QTest::addColumn<qint32>("lat");
    QTest::addColumn<qint32>("lon");
    QTest::addColumn<qint32>("alt");
    QTest::addColumn<QList<float>>("ned");
    const auto row = [](const char *title, qint32 lat, qint32 lon, qint32 alt, float x, float y, float z) {
        QTest::newRow(title) << lat << lon << alt << QList<float>{x, y, z};
    };
    row("north", 473978420, Lon, AltMm, 11.131949424743652F, 0, 0);
    row("east and up", Lat, 85456940, 503123, 0, 7.535271644592285F, -15);
    row("far, and below the sea", 473000000, 86000000, -12345, -10880.58984375F, 4107.23876953125F,
        500.4679870605469F);
    row("the smallest step", 473977421, 85455939, 488122, 0.011131949722766876F, -0.007535271812230349F,
        0.0010000000474974513F);
    row("the other side", -1800000000, 1800000000, 2147483647, -25313802.0F, -19086218.0F, -2146995.5F);
}

void TestMavStickTelemetry::position_isRelativeToTheOrigin()
{
    QFETCH(qint32, lat);
    QFETCH(qint32, lon);
    QFETCH(qint32, alt);
    QFETCH(QList<float>, ned);
    StickRecorder of;
    of.receive(positionOf(Lat, Lon, AltMm));
    of.receive(positionOf(lat, lon, alt, 4294967295U));
    of.log.take();
    QCOMPARE(of.emitted, (QStringList{Origin, LocalPosition}));
    const Navigate::VehicleLocalPosition told = of.positions.first();
    QCOMPARE(told.timestamp, 4294967295.0);
    QVERIFY2(told.x == ned[0] && told.y == ned[1] && told.z == ned[2],
             qPrintable(QStringLiteral("%1 %2 %3").arg(told.x).arg(told.y).arg(told.z)));
    QVERIFY(sameBits(told.vx, 0) && sameBits(told.vy, 0) && sameBits(told.vz, 0));
    QVERIFY(told.extra1 == 0 && told.extra2 == 0);
}

void TestMavStickTelemetry::position_ofTheOrigin_isNought()
{
    StickRecorder of;
    of.receive(positionOf(Lat, Lon, AltMm));
    of.receive(positionOf(Lat, Lon, AltMm));
    of.log.take();
    QCOMPARE(of.positions.size(), 1);
    const Navigate::VehicleLocalPosition told = of.positions.first();
    QVERIFY(told.x == 0 && told.y == 0 && told.z == 0);
}

void TestMavStickTelemetry::velocity_isConvertedBitForBit_data()
{
    QTest::addColumn<int>("centimetres");
    QTest::addColumn<float>("metres");
    QTest::newRow("0") << 0 << 0.0F;
    QTest::newRow("1") << 1 << 0.01F;
    QTest::newRow("-1") << -1 << -0.01F;
    QTest::newRow("333") << 333 << 3.33F;
    QTest::newRow("-32768") << -32768 << -327.68F;
    QTest::newRow("32767") << 32767 << 327.67F;
}

void TestMavStickTelemetry::velocity_isConvertedBitForBit()
{
    QFETCH(int, centimetres);
    QFETCH(float, metres);
    StickRecorder of;
    of.receive(positionOf(0, 0, 0));
    auto position = positionOf(0, 0, 0);
    position.vx = qint16(centimetres);
    of.receive(position);
    position.vy = qint16(centimetres);
    position.vx = 0;
    of.receive(position);
    position.vz = qint16(centimetres);
    position.vy = 0;
    of.receive(position);
    of.log.take();
    QCOMPARE(of.positions.size(), 3);
    QVERIFY(sameBits(of.positions[0].vx, metres) && sameBits(of.positions[0].vz, 0));
    QVERIFY(sameBits(of.positions[1].vy, metres) && sameBits(of.positions[1].vx, 0));
    QVERIFY(sameBits(of.positions[2].vz, metres) && sameBits(of.positions[2].vy, 0));
}

void TestMavStickTelemetry::position_heightAboveHomeAndHeading_areIgnored()
{
    StickRecorder of;
    auto position = positionOf(Lat, Lon, AltMm);
    position.relative_alt = 77000;
    position.hdg = 9000;
    of.receive(position);
    position.relative_alt = -5000;
    of.receive(position);
    of.log.take();
    QVERIFY(of.origins.first()[2] == AltMm * 0.001);
    QVERIFY(of.positions.first().z == 0);
}

void TestMavStickTelemetry::position_fromInsideLocalPositionChanged_reachesEveryReceiver()
{
    LogCapture log;
    MavStickAdapter stick;
    stick.onMessageReceived(receivedOf(positionOf(0, 0, 0)));
    log.take();
    bool nested = false;
    QList<double> times;
    connect(&stick, &IVirtualStick::localPositionChanged, this, [&] {
        if (!std::exchange(nested, true))
            stick.onMessageReceived(receivedOf(positionOf(0, 0, 0, 2000)));
    });
    connect(&stick, &IVirtualStick::localPositionChanged, this,
            [&](const Navigate::VehicleLocalPosition &position) { times.append(position.timestamp); });
    stick.onMessageReceived(receivedOf(positionOf(0, 0, 0, 1000)));
    std::sort(times.begin(), times.end());
    QCOMPARE(times, (QList<double>{1000, 2000}));
}

void TestMavStickTelemetry::otherMessages_areIgnored()
{
    StickRecorder of;
    of.detect(Px4);
    for (const mavlink::mavlink_msg_entry_t &entry : mavlink::ardupilotmega::MESSAGE_ENTRIES) {
        if (entry.msgid == 0 || entry.msgid == 30 || entry.msgid == 33)
            continue;
        mavlink::mavlink_message_t message{};
        message.msgid = entry.msgid;
        message.sysid = message.compid = 1;
        message.len = entry.max_msg_len;
        of.stick.onMessageReceived(message);
    }
    QCOMPARE(of.emitted, QStringList());
    QCOMPARE(of.log.take(), QStringList());
}

QTEST_GUILESS_MAIN(TestMavStickTelemetry)
#include "tst_mavsticktelemetry.moc"
