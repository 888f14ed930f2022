// SPDX-License-Identifier: MIT
#include "host/moderefusal.h"

#include "autopilot/mavautopilot.h"
#include "host/detectedautopilot.h"
#include "navigation/ivirtualstick.h"
#include "support/logcapture.h"
#include "support/testmain.h"

#include <QTemporaryDir>

using mavlink::minimal::MAV_AUTOPILOT;

class TestModeRefusal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void acknowledgements_data();
    void acknowledgements();
    void refusal_isToldOnce();
    void refusalToOthers_isNotTold();

private:
    void announce(const mavlink::Message &message, quint8 componentId = 1);
    void hear(MAV_AUTOPILOT kind);
    void acknowledge(int command, int result, quint8 componentId = 1);

    QTemporaryDir scratch;
    std::unique_ptr<LogCapture> log; // the plugin tells of its detection
    std::unique_ptr<MavAutopilot> driver;
    std::unique_ptr<DetectedAutopilot> autopilot;
    std::unique_ptr<ModeRefusal> refusal;
    QStringList hints;
};

void TestModeRefusal::initTestCase()
{
    runningApp()->loadSettings(scratch.filePath(QStringLiteral("host.ini")));
}

void TestModeRefusal::init()
{
    log = std::make_unique<LogCapture>();
    driver = std::make_unique<MavAutopilot>();
    autopilot = std::make_unique<DetectedAutopilot>(driver.get());
    refusal = std::make_unique<ModeRefusal>(driver.get(), *autopilot);
    hints.clear();
    connect(refusal.get(), &ModeRefusal::hint, this, [this](const QString &text) { hints.append(text); });
}

void TestModeRefusal::cleanup()
{
    refusal.reset();
    autopilot.reset();
    driver.reset();
    log->take();
    log.reset();
}

void TestModeRefusal::announce(const mavlink::Message &message, quint8 componentId)
{
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    message.serialize(map);
    wire.sysid = 1;
    wire.compid = componentId;
    Q_EMIT driver->messageReceived(wire);
}

void TestModeRefusal::hear(MAV_AUTOPILOT kind)
{
    mavlink::minimal::msg::HEARTBEAT heartbeat{};
    heartbeat.autopilot = static_cast<quint8>(kind);
    announce(heartbeat);
}

void TestModeRefusal::acknowledge(int command, int result, quint8 componentId)
{
    mavlink::common::msg::COMMAND_ACK acknowledgement{};
    acknowledgement.command = static_cast<quint16>(command);
    acknowledgement.result = static_cast<quint8>(result);
    announce(acknowledgement, componentId);
}

void TestModeRefusal::acknowledgements_data()
{
    QTest::addColumn<bool>("px4");
    QTest::addColumn<int>("command");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("told");
    QTest::newRow("refused by a PX4") << true << 176 << 1 << 1;
    QTest::newRow("granted by a PX4") << true << 176 << 0 << 0;
    QTest::newRow("another command") << true << 400 << 1 << 0;
    QTest::newRow("ArduPilot") << false << 176 << 1 << 0;
}

void TestModeRefusal::acknowledgements()
{
    QFETCH(bool, px4);
    QFETCH(int, command);
    QFETCH(int, result);
    hear(px4 ? MAV_AUTOPILOT::PX4 : MAV_AUTOPILOT::ARDUPILOTMEGA);
    driver->virtualStick()->obtainControl();
    acknowledge(command, result);
    QTEST(hints.size(), "told");
}

void TestModeRefusal::refusal_isToldOnce()
{
    hear(MAV_AUTOPILOT::PX4);
    for (int i = 0; i < 3; ++i) {
        driver->virtualStick()->obtainControl();
        acknowledge(176, 1);
    }
    QCOMPARE(hints.size(), 1);
    QVERIFY(hints.first().contains(QLatin1String("switch it to Offboard")));
}

void TestModeRefusal::refusalToOthers_isNotTold()
{
    hear(MAV_AUTOPILOT::PX4);
    acknowledge(176, 1); // to somebody else's request: we have made none
    driver->virtualStick()->obtainControl();
    acknowledge(176, 1, 100); // of another component
    QVERIFY(hints.isEmpty());
}

APP_TEST_MAIN(TestModeRefusal)
#include "tst_moderefusal.moc"
