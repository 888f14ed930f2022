// SPDX-License-Identifier: MIT
#include "host/detectedautopilot.h"

#include "autopilot/mavautopilot.h"
#include "support/logcapture.h"
#include "support/testmain.h"

#include <QTemporaryDir>

using mavlink::minimal::MAV_AUTOPILOT;

class TestDetectedAutopilot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void heartbeats_data();
    void heartbeats();
    void firstAutopilot_stays();
    void beforeDetection_anybodyMayBeTheAutopilot();
    void afterDetection_onlyItsIdsAreTheAutopilots();

private:
    void hear(MAV_AUTOPILOT kind, quint8 systemId = 1, quint8 componentId = 1);
    static mavlink::mavlink_message_t from(quint8 systemId, quint8 componentId);

    QTemporaryDir scratch;
    std::unique_ptr<LogCapture> log; // the plugin detects it too, and says so
    std::unique_ptr<MavAutopilot> driver;
    std::unique_ptr<DetectedAutopilot> autopilot;
};

void TestDetectedAutopilot::initTestCase()
{
    runningApp()->loadSettings(scratch.filePath(QStringLiteral("host.ini")));
}

void TestDetectedAutopilot::init()
{
    log = std::make_unique<LogCapture>();
    driver = std::make_unique<MavAutopilot>();
    autopilot = std::make_unique<DetectedAutopilot>(driver.get());
}

void TestDetectedAutopilot::cleanup()
{
    autopilot.reset();
    driver.reset();
    log->take();
    log.reset();
}

mavlink::mavlink_message_t TestDetectedAutopilot::from(quint8 systemId, quint8 componentId)
{
    mavlink::mavlink_message_t message{};
    message.sysid = systemId;
    message.compid = componentId;
    return message;
}

void TestDetectedAutopilot::hear(MAV_AUTOPILOT kind, quint8 systemId, quint8 componentId)
{
    mavlink::minimal::msg::HEARTBEAT heartbeat{};
    heartbeat.autopilot = static_cast<quint8>(kind);
    mavlink::mavlink_message_t message = from(systemId, componentId);
    mavlink::MsgMap map(message);
    heartbeat.serialize(map);
    Q_EMIT driver->messageReceived(message);
}

void TestDetectedAutopilot::heartbeats_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("isPx4");
    QTest::addColumn<int>("detections");
    QTest::newRow("PX4") << int(MAV_AUTOPILOT::PX4) << true << 1;
    QTest::newRow("ArduPilot") << int(MAV_AUTOPILOT::ARDUPILOTMEGA) << false << 1;
    QTest::newRow("ground station") << int(MAV_AUTOPILOT::INVALID) << false << 0;
    QTest::newRow("another") << int(MAV_AUTOPILOT::GENERIC) << false << 0;
}

void TestDetectedAutopilot::heartbeats()
{
    QFETCH(int, kind);
    const QSignalSpy spy(autopilot.get(), &DetectedAutopilot::detected);
    hear(static_cast<MAV_AUTOPILOT>(kind));
    hear(static_cast<MAV_AUTOPILOT>(kind));
    QTEST(autopilot->isPx4(), "isPx4");
    QTEST(spy.count(), "detections");
}

void TestDetectedAutopilot::firstAutopilot_stays()
{
    hear(MAV_AUTOPILOT::ARDUPILOTMEGA, 7);
    hear(MAV_AUTOPILOT::PX4, 1);
    QVERIFY(!autopilot->isPx4());
    QVERIFY(autopilot->mayHaveSent(from(7, 1)));
}

void TestDetectedAutopilot::beforeDetection_anybodyMayBeTheAutopilot()
{
    hear(MAV_AUTOPILOT::INVALID, 255, 190);
    QVERIFY(autopilot->mayHaveSent(from(1, 1)));
    QVERIFY(autopilot->mayHaveSent(from(9, 9)));
}

void TestDetectedAutopilot::afterDetection_onlyItsIdsAreTheAutopilots()
{
    hear(MAV_AUTOPILOT::PX4, 3, 1);
    QVERIFY(autopilot->mayHaveSent(from(3, 1)));
    QVERIFY(!autopilot->mayHaveSent(from(3, 2)));
    QVERIFY(!autopilot->mayHaveSent(from(1, 1)));
}

APP_TEST_MAIN(TestDetectedAutopilot)
#include "tst_detectedautopilot.moc"
