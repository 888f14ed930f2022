// SPDX-License-Identifier: MIT
#include "host/guidedmode.h"

#include "autopilot/mavautopilot.h"
#include "host/detectedautopilot.h"
#include "host/latestvalues.h"
#include "support/logcapture.h"
#include "support/testmain.h"

#include <QTemporaryDir>

using mavlink::minimal::MAV_AUTOPILOT;

namespace {

constexpr int ArduPilot = static_cast<int>(MAV_AUTOPILOT::ARDUPILOTMEGA);
constexpr int Px4 = static_cast<int>(MAV_AUTOPILOT::PX4);
constexpr quint8 GuidedBit = 8;

} // namespace

class TestGuidedMode : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void heartbeat_tellsTheMode_data();
    void heartbeat_tellsTheMode();
    void heartbeatsOfOthers_areLeftAlone();

private:
    void announce(int kind, quint32 mode, quint8 baseMode = 0, quint8 componentId = 1);
    QCborValue seen() const { return values->value(QStringLiteral("inGuidedMode")); }

    QTemporaryDir scratch;
    std::unique_ptr<LogCapture> log; // the plugin tells of its detection
    std::unique_ptr<MavAutopilot> driver;
    std::unique_ptr<LatestValues> values;
    std::unique_ptr<DetectedAutopilot> autopilot;
    std::unique_ptr<GuidedMode> mode;
};

void TestGuidedMode::initTestCase()
{
    runningApp()->loadSettings(scratch.filePath(QStringLiteral("host.ini")));
}

void TestGuidedMode::init()
{
    log = std::make_unique<LogCapture>();
    driver = std::make_unique<MavAutopilot>();
    values = std::make_unique<LatestValues>();
    autopilot = std::make_unique<DetectedAutopilot>(driver.get());
    mode = std::make_unique<GuidedMode>(driver.get(), *autopilot, *values);
}

void TestGuidedMode::cleanup()
{
    mode.reset();
    autopilot.reset();
    values.reset();
    driver.reset();
    log->take();
    log.reset();
}

void TestGuidedMode::announce(int kind, quint32 customMode, quint8 baseMode, quint8 componentId)
{
    mavlink::minimal::msg::HEARTBEAT heartbeat{};
    heartbeat.autopilot = static_cast<quint8>(kind);
    heartbeat.custom_mode = customMode;
    heartbeat.base_mode = baseMode;
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    heartbeat.serialize(map);
    wire.sysid = 1;
    wire.compid = componentId;
    Q_EMIT driver->messageReceived(wire);
}

void TestGuidedMode::heartbeat_tellsTheMode_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<quint32>("customMode");
    QTest::addColumn<int>("baseMode");
    QTest::addColumn<bool>("ours");
    QTest::newRow("ArduPilot, guided") << ArduPilot << 4U << 0 << true;
    QTest::newRow("ArduPilot, land, with the guided bit") << ArduPilot << 9U << int(GuidedBit) << false;
    QTest::newRow("ArduPilot at boot, with the guided bit") << ArduPilot << 0U << int(GuidedBit) << false;
    QTest::newRow("PX4, off-board, without the guided bit") << Px4 << (6U << 16) << 0 << true;
    QTest::newRow("PX4, hold, with the guided bit") << Px4 << (4U << 16) << int(GuidedBit) << false;
    QTest::newRow("PX4, an ArduPilot's number") << Px4 << 4U << 0 << false;
}

void TestGuidedMode::heartbeat_tellsTheMode()
{
    QFETCH(int, kind);
    QFETCH(quint32, customMode);
    QFETCH(int, baseMode);
    QFETCH(bool, ours);
    announce(kind, customMode, static_cast<quint8>(baseMode));
    QCOMPARE(seen(), QCborValue(ours));
}

void TestGuidedMode::heartbeatsOfOthers_areLeftAlone()
{
    announce(static_cast<int>(MAV_AUTOPILOT::INVALID), 4);
    QVERIFY(seen().isUndefined());
    announce(ArduPilot, 4);
    announce(ArduPilot, 0, 0, 190);
    QCOMPARE(seen(), QCborValue(true));
}

APP_TEST_MAIN(TestGuidedMode)
#include "tst_guidedmode.moc"
