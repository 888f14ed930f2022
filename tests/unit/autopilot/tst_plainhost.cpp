// SPDX-License-Identifier: MIT
#include "autopilot/support/drivenautopilot.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "connection/iconnection.h"
#include "support/logcapture.h"
#include "support/testmain.h"

#include <QAbstractEventDispatcher>
#include <QSignalSpy>

// A host whose application object is no App: the driver runs on its defaults and publishes to nobody.
class TestPlainHost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construction_usesTheDefaults();
    void messages_areReceivedAndDetected();
    void publishing_warnsOncePerName();
    void statusTimer_stillServesTheHost();
    void arming_sendsNoTextAndRunsNoCommand();
    void clock_isSetAllTheSame();

private:
    static DrivenAutopilot *freshPlugin();
};

DrivenAutopilot *TestPlainHost::freshPlugin()
{
    resetChannel();
    takeStandInCalls();
    return new DrivenAutopilot;
}

void TestPlainHost::construction_usesTheDefaults()
{
    LogCapture log;
    const std::unique_ptr<DrivenAutopilot> plugin(freshPlugin());
    QVERIFY(!runningApp());
    QCOMPARE(log.take(), QStringList());
    QCOMPARE(plugin->link()->type(), int(IConnection::Uart));
    QCOMPARE(plugin->disableWifiInAir, false);
    plugin->startTimers();
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(plugin.get());
    QCOMPARE(timers.size(), 3);
    for (const auto &timer : timers)
        if (timer.timerId == plugin->statusTimerId)
            QCOMPARE(timer.interval, 1000);
}

void TestPlainHost::messages_areReceivedAndDetected()
{
    LogCapture log;
    const std::unique_ptr<DrivenAutopilot> plugin(freshPlugin());
    QSignalSpy received(plugin.get(), &MavAutopilot::messageReceived);
    plugin->feed(Golden::ArduPilotHeartbeat);
    QCOMPARE(received.size(), 1);
    QCOMPARE(log.take(), (QStringList{QStringLiteral("[AP] Autopilot systemid detected  1"),
                                      QStringLiteral("[AP] ArduPilot Detected"),
                                      QStringLiteral("[MAV] Autopilot systemid detected  1"),
                                      QStringLiteral("[MAV] ArduPilot Detected")}));
}

void TestPlainHost::publishing_warnsOncePerName()
{
    LogCapture log;
    log.ignoreDebug();
    const std::unique_ptr<DrivenAutopilot> plugin(freshPlugin());
    plugin->feed(Golden::Attitude);
    QCOMPARE(log.take(), (QStringList{QStringLiteral("The application has no method roll(float)"),
                                      QStringLiteral("The application has no method pitch(float)"),
                                      QStringLiteral("The application has no method yaw(float)")}));
    plugin->feed(Golden::Attitude);
    QCOMPARE(log.take(), QStringList());
}

void TestPlainHost::statusTimer_stillServesTheHost()
{
    LogCapture log;
    const std::unique_ptr<DrivenAutopilot> plugin(freshPlugin());
    plugin->startTimers();
    QSignalSpy payloads(plugin.get(), &IAutopilotPlugin::dataReceived);
    plugin->fire(plugin->statusTimerId);
    log.take();
    QCOMPARE(payloads.size(), 1);
    QCOMPARE(payloads.first().at(2).toByteArray().toHex(), QByteArrayLiteral("07000000000004"));
}

void TestPlainHost::arming_sendsNoTextAndRunsNoCommand()
{
    LogCapture log;
    const std::unique_ptr<DrivenAutopilot> plugin(freshPlugin());
    plugin->feed(Golden::Px4HeartbeatArmed);
    plugin->feed(Golden::Px4Heartbeat);
    const QStringList lines = log.take();
    QVERIFY(lines.contains(QStringLiteral("[AP] The drone is arming")));
    QVERIFY(lines.contains(QStringLiteral("[AP] The drone is disarming")));
    QCOMPARE(takeStandInCalls(), QStringList());
}

void TestPlainHost::clock_isSetAllTheSame()
{
    LogCapture log;
    const std::unique_ptr<DrivenAutopilot> plugin(freshPlugin());
    plugin->feed(Golden::GpsRawInt);
    plugin->feed(Golden::SystemTime);
    log.take();
    QCOMPARE(takeStandInCalls(), QStringList{QStringLiteral("date --set 2024.03.07-07:05:02")});
}

int main(int argc, char *argv[])
{
    prepareTestEnvironment();
    qputenv("TZ", "UTC0");
    QCoreApplication app(argc, argv);
    TestPlainHost test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_plainhost.moc"
