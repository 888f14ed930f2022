// SPDX-License-Identifier: MIT
#include "host/flightmode.h"

#include "autopilot/mavautopilot.h"
#include "host/detectedautopilot.h"
#include "host/latestvalues.h"
#include "support/logcapture.h"
#include "support/testmain.h"

#include <QCborMap>
#include <QTemporaryDir>

using mavlink::minimal::MAV_AUTOPILOT;

namespace {

constexpr auto ArduPilot = MAV_AUTOPILOT::ARDUPILOTMEGA;
constexpr auto Px4 = MAV_AUTOPILOT::PX4;
constexpr quint8 Armed = 128;
constexpr quint8 GuidedBit = 8;

QCborMap record(bool armed, const char *mode)
{
    return {{QStringLiteral("armed"), armed}, {QStringLiteral("mode"), QLatin1String(mode)}};
}

} // namespace

Q_DECLARE_METATYPE(MAV_AUTOPILOT)

class TestFlightMode : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void heartbeats_tellModeAndArming();
    void heartbeat_tellsWhetherItObeysTheStick_data();
    void heartbeat_tellsWhetherItObeysTheStick();
    void heartbeatsOfOthers_areLeftAlone();

private:
    void announce(MAV_AUTOPILOT kind, quint32 mode, quint8 baseMode = 0, quint8 componentId = 1);
    QCborValue seen() const { return values->value(QStringLiteral("flightMode")); }
    QCborValue inGuidedMode() const { return values->value(QStringLiteral("inGuidedMode")); }

    QTemporaryDir scratch;
    std::unique_ptr<LogCapture> log; // the plugin tells of its detection
    std::unique_ptr<MavAutopilot> driver;
    std::unique_ptr<LatestValues> values;
    std::unique_ptr<DetectedAutopilot> autopilot;
    std::unique_ptr<FlightMode> mode;
};

void TestFlightMode::initTestCase()
{
    runningApp()->loadSettings(scratch.filePath(QStringLiteral("host.ini")));
}

void TestFlightMode::init()
{
    log = std::make_unique<LogCapture>();
    driver = std::make_unique<MavAutopilot>();
    values = std::make_unique<LatestValues>();
    autopilot = std::make_unique<DetectedAutopilot>(driver.get());
    mode = std::make_unique<FlightMode>(driver.get(), *autopilot, *values);
}

void TestFlightMode::cleanup()
{
    mode.reset();
    autopilot.reset();
    values.reset();
    driver.reset();
    log->take();
    log.reset();
}

void TestFlightMode::announce(MAV_AUTOPILOT kind, quint32 customMode, quint8 baseMode, quint8 componentId)
{
    mavlink::minimal::msg::HEARTBEAT heartbeat{};
    heartbeat.autopilot = static_cast<quint8>(kind);
    heartbeat.type = static_cast<quint8>(mavlink::minimal::MAV_TYPE::QUADROTOR);
    heartbeat.custom_mode = customMode;
    heartbeat.base_mode = baseMode;
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    heartbeat.serialize(map);
    wire.sysid = 1;
    wire.compid = componentId;
    Q_EMIT driver->messageReceived(wire);
}

void TestFlightMode::heartbeats_tellModeAndArming()
{
    announce(ArduPilot, 4);
    QCOMPARE(seen(), QCborValue(record(false, "guided")));
    announce(ArduPilot, 9, Armed);
    QCOMPARE(seen(), QCborValue(record(true, "land")));
}

void TestFlightMode::heartbeat_tellsWhetherItObeysTheStick_data()
{
    QTest::addColumn<MAV_AUTOPILOT>("kind");
    QTest::addColumn<quint32>("customMode");
    QTest::addColumn<quint8>("baseMode");
    QTest::addColumn<bool>("obeys");
    QTest::newRow("ArduPilot, guided") << ArduPilot << 4U << quint8(0) << true;
    QTest::newRow("ArduPilot, land, with the guided bit") << ArduPilot << 9U << GuidedBit << false;
    QTest::newRow("ArduPilot at boot, with the guided bit") << ArduPilot << 0U << GuidedBit << false;
    QTest::newRow("PX4, off-board, without the guided bit") << Px4 << (6U << 16) << quint8(0) << true;
    QTest::newRow("PX4, hold, with the guided bit") << Px4 << (4U << 16) << GuidedBit << false;
    QTest::newRow("PX4, an ArduPilot's number") << Px4 << 4U << quint8(0) << false;
}

void TestFlightMode::heartbeat_tellsWhetherItObeysTheStick()
{
    QFETCH(MAV_AUTOPILOT, kind);
    QFETCH(quint32, customMode);
    QFETCH(quint8, baseMode);
    QFETCH(bool, obeys);
    announce(kind, customMode, baseMode);
    QCOMPARE(inGuidedMode(), QCborValue(obeys));
}

void TestFlightMode::heartbeatsOfOthers_areLeftAlone()
{
    announce(MAV_AUTOPILOT::INVALID, 4);
    QVERIFY(seen().isUndefined());
    QVERIFY(inGuidedMode().isUndefined());
    announce(Px4, 6U << 16);
    announce(Px4, 0, Armed, 190);
    QCOMPARE(seen(), QCborValue(record(false, "offboard")));
    QCOMPARE(inGuidedMode(), QCborValue(true));
}

APP_TEST_MAIN(TestFlightMode)
#include "tst_flightmode.moc"
