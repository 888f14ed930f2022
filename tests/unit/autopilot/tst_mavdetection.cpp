// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "support/testmain.h"

namespace {

constexpr quint8 ArduPilot = 3;
constexpr quint8 None = 8;
constexpr quint8 Px4 = 12;
constexpr quint8 Armed = 128;

/// The driver's two lines, and the same two of the stick behind it.
QStringList detectionLines(int system, const char *kind)
{
    QStringList lines;
    for (const char *tag : {"[AP]", "[MAV]"})
        lines << QStringLiteral("%1 Autopilot systemid detected  %2").arg(QLatin1String(tag)).arg(system)
              << QStringLiteral("%1 %2").arg(QLatin1String(tag), QLatin1String(kind));
    return lines;
}

QString statusOf(AutopilotRig &rig)
{
    rig.plugin->keepHeartbeatsForever();
    rig.plugin->startTimers();
    rig.plugin->fire(rig.plugin->statusTimerId);
    return rig.log.take().value(0);
}

mavlink::common::msg::ATTITUDE levelAttitude()
{
    return {};
}

const QStringList LevelPublished = {QStringLiteral("roll 0"), QStringLiteral("pitch 0"),
                                    QStringLiteral("yaw 0"),
                                    QStringLiteral("[AP] Dbg: Attitude msg received ( 0 ,  0 ,  0 )")};

} // namespace

class TestMavDetection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void heartbeat_ofAnAutopilot_isDetected_data();
    void heartbeat_ofAnAutopilot_isDetected();
    void heartbeat_ofNoAutopilot_changesNothing_data();
    void heartbeat_ofNoAutopilot_changesNothing();
    void heartbeat_again_logsNoMore();
    void heartbeat_ofAnotherAutopilot_isIgnored();
    void heartbeat_ofTheSameSenderWithAnotherKind_keepsTheFirstKind();
    void heartbeat_ofSystemZero_isNeverADetection();
    void heartbeat_ofNoAutopilotFromTheDetectedOne_isIgnored();
    void message_beforeDetection_countsFromAnybody_data();
    void message_beforeDetection_countsFromAnybody();
    void message_afterDetection_countsFromTheAutopilotOnly_data();
    void message_afterDetection_countsFromTheAutopilotOnly();
    void unhandledMessage_isIgnored();
    void arming_startsLoggingAndSwitchesWifiOff();
    void disarming_switchesWifiOnAndStopsLogging();
    void arming_whileLogging_sendsNoText();
    void disarming_afterLoggingWasSwitchedOffByHand_sendsNoText();
    void arming_withWifiLeftAlone_runsNoCommand();
    void arming_withAFailingCommand_isDoneOnce();
    void sameState_again_doesNothing();
    void alreadyArmed_whenTheLinkComesUp_armsOnce();
    void armedFlag_isBitSeven_data();
    void armedFlag_isBitSeven();
    void arming_ofAForeignSystem_isIgnored();
};

void TestMavDetection::heartbeat_ofAnAutopilot_isDetected_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("PX4") << QByteArray::fromHex(Golden::Px4Heartbeat) << detectionLines(1, "PX4 Detected ");
    QTest::newRow("PX4, MAVLink 1") << QByteArray::fromHex(Golden::Px4HeartbeatMavlink1)
                                    << detectionLines(1, "PX4 Detected ");
    QTest::newRow("ArduPilot") << QByteArray::fromHex(Golden::ArduPilotHeartbeat)
                               << detectionLines(1, "ArduPilot Detected");
    QTest::newRow("system 255") << frameOf(heartbeatOf(Px4), {255, 0})
                                << detectionLines(255, "PX4 Detected ");
}

void TestMavDetection::heartbeat_ofAnAutopilot_isDetected()
{
    QFETCH(QByteArray, frame);
    QFETCH(QStringList, lines);
    AutopilotRig rig;
    rig.plugin->dispatchReceivedData(frame);
    QCOMPARE(rig.log.take(), lines);
    QCOMPARE(rig.log.takenTypes(), (QList<QtMsgType>{QtInfoMsg, QtInfoMsg, QtInfoMsg, QtInfoMsg}));
    QCOMPARE(statusOf(rig), QStringLiteral("autopilotStatus 2"));
}

void TestMavDetection::heartbeat_ofNoAutopilot_changesNothing_data()
{
    QTest::addColumn<int>("kind");
    for (const int kind : {0, 1, 2, 4, 8, 11, 13, 20, 255})
        QTest::addRow("%d", kind) << kind;
}

void TestMavDetection::heartbeat_ofNoAutopilot_changesNothing()
{
    QFETCH(int, kind);
    AutopilotRig rig({{"APP/DISABLE_WIFI_IN_AIR", true}});
    rig.plugin->feed(heartbeatOf(static_cast<quint8>(kind), Armed));
    QCOMPARE(rig.log.take(), QStringList());
    QCOMPARE(takeStandInCalls(), QStringList());
    QCOMPARE(statusOf(rig), QStringLiteral("autopilotStatus 0"));
}

void TestMavDetection::heartbeat_again_logsNoMore()
{
    AutopilotRig rig;
    rig.detectPx4();
    rig.plugin->feed(Golden::Px4Heartbeat);
    QCOMPARE(rig.log.take(), QStringList());
}

void TestMavDetection::heartbeat_ofAnotherAutopilot_isIgnored()
{
    AutopilotRig rig;
    rig.detectPx4();
    rig.plugin->keepHeartbeatsForever();
    rig.plugin->startTimers();
    rig.plugin->letHeartbeatsExpire();
    rig.plugin->fire(rig.plugin->statusTimerId);
    rig.log.take();
    rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(ArduPilot), {7, 1}));
    rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(Px4), {1, 2}));
    QCOMPARE(rig.log.take(), QStringList());
    QCOMPARE(statusOf(rig), QStringLiteral("autopilotStatus 0"));
}

void TestMavDetection::heartbeat_ofTheSameSenderWithAnotherKind_keepsTheFirstKind()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.detectPx4();
    rig.plugin->feed(Golden::ArduPilotHeartbeat);
    QCOMPARE(rig.log.take(), QStringList());
    rig.plugin->subscribe();
    QCOMPARE(controller.receive(15).constFirst(), QByteArray::fromHex(Golden::Px4Requests[0]));
}

// 0 is also the number for "none detected".
void TestMavDetection::heartbeat_ofSystemZero_isNeverADetection()
{
    AutopilotRig rig;
    for (int i = 0; i < 2; ++i) {
        rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(Px4), {0, 1}));
        QCOMPARE(rig.log.take().constFirst(), QStringLiteral("[AP] Autopilot systemid detected  0"));
    }
    rig.plugin->feed(Golden::ArduPilotHeartbeat);
    QVERIFY(rig.log.take().contains(QStringLiteral("[AP] ArduPilot Detected")));
}

void TestMavDetection::heartbeat_ofNoAutopilotFromTheDetectedOne_isIgnored()
{
    AutopilotRig rig;
    rig.detectPx4();
    rig.plugin->startTimers();
    rig.plugin->letHeartbeatsExpire();
    rig.plugin->fire(rig.plugin->statusTimerId);
    rig.log.take();
    rig.plugin->feed(heartbeatOf(None, Armed));
    QCOMPARE(rig.log.take(), QStringList());
    QCOMPARE(statusOf(rig), QStringLiteral("autopilotStatus 0"));
}

void TestMavDetection::message_beforeDetection_countsFromAnybody_data()
{
    QTest::addColumn<int>("system");
    QTest::addColumn<int>("component");
    QTest::newRow("autopilot") << 1 << 1;
    QTest::newRow("ground station") << 255 << 190;
    QTest::newRow("broadcast") << 0 << 0;
}

void TestMavDetection::message_beforeDetection_countsFromAnybody()
{
    QFETCH(int, system);
    QFETCH(int, component);
    AutopilotRig rig;
    rig.plugin->dispatchReceivedData(
        frameOf(levelAttitude(), {static_cast<quint8>(system), static_cast<quint8>(component)}));
    QCOMPARE(rig.log.take(), LevelPublished);
}

void TestMavDetection::message_afterDetection_countsFromTheAutopilotOnly_data()
{
    QTest::addColumn<int>("system");
    QTest::addColumn<int>("component");
    QTest::addColumn<bool>("counts");
    QTest::newRow("autopilot") << 1 << 1 << true;
    QTest::newRow("another component") << 1 << 2 << false;
    QTest::newRow("another system") << 2 << 1 << false;
    QTest::newRow("ground station") << 255 << 190 << false;
    QTest::newRow("broadcast") << 0 << 0 << false;
}

void TestMavDetection::message_afterDetection_countsFromTheAutopilotOnly()
{
    QFETCH(int, system);
    QFETCH(int, component);
    QFETCH(bool, counts);
    AutopilotRig rig;
    rig.detectPx4();
    rig.plugin->dispatchReceivedData(
        frameOf(levelAttitude(), {static_cast<quint8>(system), static_cast<quint8>(component)}));
    QCOMPARE(rig.log.take(), counts ? LevelPublished : QStringList());
}

void TestMavDetection::unhandledMessage_isIgnored()
{
    AutopilotRig rig;
    mavlink::common::msg::GPS2_RAW second{};
    second.fix_type = 3;
    second.satellites_visible = 9;
    rig.plugin->feed(second);
    rig.plugin->feed(mavlink::common::msg::STATUSTEXT{});
    rig.plugin->feed(mavlink::common::msg::MANUAL_CONTROL{});
    QCOMPARE(rig.log.take(), QStringList());
}

void TestMavDetection::arming_startsLoggingAndSwitchesWifiOff()
{
    AutopilotRig rig({{"APP/DISABLE_WIFI_IN_AIR", true}});
    rig.detectPx4();
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    QCOMPARE(rig.log.take(),
             (QStringList{QStringLiteral("textToGround 0 [AP] Logging started (auto)"),
                          QStringLiteral("daqEnabled true"), QStringLiteral("[AP] The drone is arming"),
                          QStringLiteral("textToGround 0 [AP] Disable Wi-Fi"),
                          QStringLiteral("[AP] \"nmcli radio wifi off\" -> 0")}));
    QCOMPARE(takeStandInCalls(), QStringList{QStringLiteral("nmcli radio wifi off")});
}

void TestMavDetection::disarming_switchesWifiOnAndStopsLogging()
{
    AutopilotRig rig({{"APP/DISABLE_WIFI_IN_AIR", true}});
    rig.detectPx4();
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    rig.log.take();
    takeStandInCalls();
    rig.plugin->feed(Golden::Px4Heartbeat);
    QCOMPARE(rig.log.take(), (QStringList{QStringLiteral("[AP] The drone is disarming"),
                                          QStringLiteral("textToGround 0 [AP] Enable Wi-Fi"),
                                          QStringLiteral("[AP] \"nmcli radio wifi on\" -> 0"),
                                          QStringLiteral("textToGround 0 [AP] Logging stopped (auto)"),
                                          QStringLiteral("daqEnabled false")}));
    QCOMPARE(takeStandInCalls(), QStringList{QStringLiteral("nmcli radio wifi on")});
}

void TestMavDetection::arming_whileLogging_sendsNoText()
{
    AutopilotRig rig;
    rig.detectPx4();
    Q_EMIT runningApp()->daqEnabled(true);
    rig.log.take();
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    QCOMPARE(rig.log.take(),
             (QStringList{QStringLiteral("daqEnabled true"), QStringLiteral("[AP] The drone is arming")}));
}

void TestMavDetection::disarming_afterLoggingWasSwitchedOffByHand_sendsNoText()
{
    AutopilotRig rig;
    rig.detectPx4();
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    Q_EMIT runningApp()->daqEnabled(false);
    rig.log.take();
    rig.plugin->feed(Golden::Px4Heartbeat);
    QCOMPARE(rig.log.take(), (QStringList{QStringLiteral("[AP] The drone is disarming"),
                                          QStringLiteral("daqEnabled false")}));
}

void TestMavDetection::arming_withWifiLeftAlone_runsNoCommand()
{
    AutopilotRig rig;
    rig.detectPx4();
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    QCOMPARE(rig.log.take(),
             (QStringList{QStringLiteral("textToGround 0 [AP] Logging started (auto)"),
                          QStringLiteral("daqEnabled true"), QStringLiteral("[AP] The drone is arming")}));
    rig.plugin->feed(Golden::Px4Heartbeat);
    QCOMPARE(rig.log.take(), (QStringList{QStringLiteral("[AP] The drone is disarming"),
                                          QStringLiteral("textToGround 0 [AP] Logging stopped (auto)"),
                                          QStringLiteral("daqEnabled false")}));
    QCOMPARE(takeStandInCalls(), QStringList());
}

void TestMavDetection::arming_withAFailingCommand_isDoneOnce()
{
    AutopilotRig rig({{"APP/DISABLE_WIFI_IN_AIR", true}});
    rig.detectPx4();
    qputenv("NOFLAILSTEN_STANDIN_STATUS", "1");
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    qunsetenv("NOFLAILSTEN_STANDIN_STATUS");
    QCOMPARE(rig.log.take().constLast(), QStringLiteral("[AP] \"nmcli radio wifi off\" -> 256"));
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    QCOMPARE(rig.log.take(), QStringList());
}

void TestMavDetection::sameState_again_doesNothing()
{
    AutopilotRig rig({{"APP/DISABLE_WIFI_IN_AIR", true}});
    rig.detectPx4();
    rig.plugin->feed(Golden::Px4Heartbeat);
    QCOMPARE(rig.log.take(), QStringList());
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    rig.log.take();
    takeStandInCalls();
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    QCOMPARE(rig.log.take(), QStringList());
    QCOMPARE(takeStandInCalls(), QStringList());
}

void TestMavDetection::alreadyArmed_whenTheLinkComesUp_armsOnce()
{
    AutopilotRig rig;
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    QCOMPARE(rig.log.take(),
             (QStringList{QStringLiteral("[AP] Autopilot systemid detected  1"),
                          QStringLiteral("[AP] PX4 Detected "),
                          QStringLiteral("textToGround 0 [AP] Logging started (auto)"),
                          QStringLiteral("daqEnabled true"), QStringLiteral("[AP] The drone is arming"),
                          QStringLiteral("[MAV] Autopilot systemid detected  1"),
                          QStringLiteral("[MAV] PX4 Detected ")}));
}

void TestMavDetection::armedFlag_isBitSeven_data()
{
    QTest::addColumn<int>("baseMode");
    QTest::addColumn<bool>("arms");
    QTest::newRow("none") << 0 << false;
    QTest::newRow("all others") << 127 << false;
    QTest::newRow("alone") << 128 << true;
    QTest::newRow("all") << 255 << true;
}

void TestMavDetection::armedFlag_isBitSeven()
{
    QFETCH(int, baseMode);
    QFETCH(bool, arms);
    AutopilotRig rig;
    rig.plugin->feed(heartbeatOf(ArduPilot, static_cast<quint8>(baseMode)));
    QCOMPARE(rig.log.take().contains(QStringLiteral("[AP] The drone is arming")), arms);
}

void TestMavDetection::arming_ofAForeignSystem_isIgnored()
{
    AutopilotRig rig;
    rig.detectPx4();
    rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(Px4, Armed), {2, 1}));
    QCOMPARE(rig.log.take(), QStringList());
}

APP_TEST_MAIN(TestMavDetection)
#include "tst_mavdetection.moc"
