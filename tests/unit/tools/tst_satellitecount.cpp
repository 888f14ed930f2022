// SPDX-License-Identifier: MIT
#include "host/satellitecount.h"

#include "autopilot/mavautopilot.h"
#include "host/detectedautopilot.h"
#include "host/latestvalues.h"
#include "support/logcapture.h"
#include "support/testmain.h"

#include <QTemporaryDir>

class TestSatelliteCount : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void gpsMessages_changeTheCount();
    void unknownCount_countsAsNone();
    void otherSenders_areLeftAloneOnceAnAutopilotIsHeard();
    void otherMessages_areLeftAlone();

private:
    static void announce(MavAutopilot &driver, const mavlink::Message &message, quint8 componentId);
    static void announceSatellites(MavAutopilot &driver, quint8 satellites, quint8 componentId = 1);

    QTemporaryDir scratch;
};

void TestSatelliteCount::initTestCase()
{
    runningApp()->loadSettings(scratch.filePath(QStringLiteral("host.ini")));
}

void TestSatelliteCount::announce(MavAutopilot &driver, const mavlink::Message &message, quint8 componentId)
{
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    message.serialize(map);
    wire.sysid = 1;
    wire.compid = componentId;
    Q_EMIT driver.messageReceived(wire);
}

void TestSatelliteCount::announceSatellites(MavAutopilot &driver, quint8 satellites, quint8 componentId)
{
    mavlink::common::msg::GPS_RAW_INT gps{};
    gps.satellites_visible = satellites;
    announce(driver, gps, componentId);
}

void TestSatelliteCount::gpsMessages_changeTheCount()
{
    MavAutopilot driver;
    LatestValues values;
    const DetectedAutopilot autopilot(&driver);
    const SatelliteCount count(&driver, autopilot, values);
    announceSatellites(driver, 7);
    QCOMPARE(values.value(QStringLiteral("satellites")), QCborValue(7));
    announceSatellites(driver, 0);
    QCOMPARE(values.value(QStringLiteral("satellites")), QCborValue(0));
}

void TestSatelliteCount::unknownCount_countsAsNone()
{
    MavAutopilot driver;
    LatestValues values;
    const DetectedAutopilot autopilot(&driver);
    const SatelliteCount count(&driver, autopilot, values);
    announceSatellites(driver, 255);
    QCOMPARE(values.value(QStringLiteral("satellites")), QCborValue(0));
}

void TestSatelliteCount::otherSenders_areLeftAloneOnceAnAutopilotIsHeard()
{
    LogCapture log;
    log.ignoreDebug();
    MavAutopilot driver;
    LatestValues values;
    const DetectedAutopilot autopilot(&driver);
    const SatelliteCount count(&driver, autopilot, values);
    mavlink::minimal::msg::HEARTBEAT heartbeat{};
    heartbeat.autopilot = static_cast<quint8>(mavlink::minimal::MAV_AUTOPILOT::PX4);
    announce(driver, heartbeat, 1);
    announceSatellites(driver, 9, 1);
    announceSatellites(driver, 3, 2);
    QCOMPARE(values.value(QStringLiteral("satellites")), QCborValue(9));
    QCOMPARE(log.take().size(), 4); // the plugin and its stick detect it too
}

void TestSatelliteCount::otherMessages_areLeftAlone()
{
    MavAutopilot driver;
    LatestValues values;
    const DetectedAutopilot autopilot(&driver);
    const SatelliteCount count(&driver, autopilot, values);
    mavlink::mavlink_message_t message{};
    message.msgid = mavlink::common::msg::ATTITUDE::MSG_ID;
    Q_EMIT driver.messageReceived(message);
    QVERIFY(values.all().isEmpty());
}

APP_TEST_MAIN(TestSatelliteCount)
#include "tst_satellitecount.moc"
