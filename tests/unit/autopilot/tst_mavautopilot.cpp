// SPDX-License-Identifier: MIT
#include "autopilot/mavautopilot.h"

#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "connection/iconnection.h"
#include "navigation/ivirtualstick.h"
#include "support/testmain.h"

#include <QAbstractEventDispatcher>
#include <QSignalSpy>

namespace {

// Opening a TCP connection to port 0 is refused at once.
const Settings RefusedConnection = {{"MAV/CONNECTION_TYPE", QStringLiteral("TCP")},
                                    {"MAV/SERIAL_DEVICE", QStringLiteral("127.0.0.1")},
                                    {"MAV/BAUD_RATE", 0}};

QList<QAbstractEventDispatcher::TimerInfo> timersOf(QObject *object)
{
    return QAbstractEventDispatcher::instance()->registeredTimers(object);
}

class Counter : public QObject
{
public:
    void countOne() { ++count; }

    int count = 0;
};

int intervalOf(QObject *object, int timerId)
{
    const auto timers = timersOf(object);
    for (const auto &timer : timers)
        if (timer.timerId == timerId)
            return timer.interval;
    return -1;
}

} // namespace

class TestMavAutopilot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void nameAndVersion_areTheAgreedOnes();
    void freshDriver_isIdle();
    void settings_absent_areWrittenWithTheirDefaults();
    void altimeterLimits_absent_readAsZeroAndAreStoredAsInvalid();
    void connectionType_choosesTheConnection_data();
    void connectionType_choosesTheConnection();
    void connectionType_changedWhileRunning_keepsTheConnection();
    void start_withTheLinkOpen_startsTheTimers();
    void start_twice_leavesOneSetOfTimers();
    void start_withTheLinkRefused_runsTheTimersAllTheSame();
    void start_withAMissingSerialDevice_logsWhatTheConnectionSays();
    void start_failingAfterASuccess_leavesTheFlagsAsTheyWere();
    void stop_closesTheLinkAndTheTimers();
    void stop_resetsNothingButTheFlag();
    void start_afterStop_opensAgain();
    void statusPeriod_changedWhileRunning_countsFromTheNextStart();
    void addressAndPort_changedWhileStopped_areUsedByTheNextStart();
    void destruction_closesTheLink();
    void unknownTimer_isIgnored();
    void session_emitsNoSignalOfTheHosts();
    void realTimers_reportAndSend();
};

void TestMavAutopilot::initTestCase()
{
    spendFirstHeartbeat();
}

void TestMavAutopilot::nameAndVersion_areTheAgreedOnes()
{
    AutopilotRig rig;
    QCOMPARE(rig.plugin->name(), QStringLiteral("Mavlink Autopilot"));
    QCOMPARE(rig.plugin->version(), QStringLiteral("2.10.0.1856"));
    QCOMPARE(rig.plugin->id(), QStringLiteral("AP"));
}

void TestMavAutopilot::freshDriver_isIdle()
{
    AutopilotRig rig;
    QVERIFY(!rig.plugin->isStarted());
    QVERIFY(!rig.plugin->parent());
    QCOMPARE(rig.plugin->statusTimerId, -1);
    QCOMPARE(rig.plugin->heartbeatTimerId, -1);
    QCOMPARE(rig.plugin->subscribeTimerId, -1);
    QCOMPARE(rig.plugin->heartbeatTimeoutMs, qint64(5000));
    QVERIFY(timersOf(rig.plugin.get()).isEmpty());
    QVERIFY(!rig.plugin->link()->isOpened());
    QCOMPARE(rig.plugin->findChildren<IConnection *>().size(), 1);
}

void TestMavAutopilot::settings_absent_areWrittenWithTheirDefaults()
{
    AutopilotRig rig;
    QSettings *settings = runningApp()->settings();
    const QVector<QPair<QString, QVariant>> expected = {
        {QStringLiteral("APP/DISABLE_WIFI_IN_AIR"), false},
        {QStringLiteral("APP/STATUS_PERIOD_MS"), 1000},
        {QStringLiteral("MAV/CONNECTION_TYPE"), QStringLiteral("UART")},
        {QStringLiteral("MAV/SERIAL_DEVICE"), QStringLiteral("/dev/ttymxc3")},
        {QStringLiteral("MAV/BAUD_RATE"), 57600},
        {QStringLiteral("MAV/SYSTEM_ID"), 2},
        {QStringLiteral("MAV/COMPONENT_ID"), 5},
        {QStringLiteral("MAV/SENDING_PERIOD_MS"), 20},
        {QStringLiteral("MAV/TELEMETRY_RATE"), 10},
        {QStringLiteral("MAV/V2_EXTENSION"), false},
    };
    for (const auto &setting : expected) {
        QVERIFY2(settings->contains(setting.first), qPrintable(setting.first));
        QCOMPARE(settings->value(setting.first).toString(), setting.second.toString());
    }
}

void TestMavAutopilot::altimeterLimits_absent_readAsZeroAndAreStoredAsInvalid()
{
    AutopilotRig rig;
    QSettings *settings = runningApp()->settings();
    for (const char *key : {"ALTIMETER/MIN_ALTITUDE_M", "ALTIMETER/MAX_ALTITUDE_M"}) {
        QVERIFY(settings->contains(QLatin1String(key)));
        QCOMPARE(settings->value(QLatin1String(key)).toFloat(), 0.0F);
    }
    QSignalSpy altitude(runningApp(), &App::altitude);
    rig.plugin->feed(Golden::GlobalPositionInt);
    rig.log.take();
    QCOMPARE(altitude.takeFirst().constFirst().value<ScalarSensorData>().status,
             quint8(1)); // 15.5 m above a maximum of 0
}

void TestMavAutopilot::connectionType_choosesTheConnection_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<int>("connection");
    QTest::addColumn<QString>("warning");
    const auto warning = [](const char *type) {
        return QStringLiteral("[AP] WARN: Unknown connection type:  \"%1\" . Set to default: UART")
            .arg(QLatin1String(type));
    };
    QTest::newRow("TCP") << QStringLiteral("TCP") << int(IConnection::Tcp) << QString();
    QTest::newRow("UART") << QStringLiteral("UART") << int(IConnection::Uart) << QString();
    QTest::newRow("tcp") << QStringLiteral("tcp") << int(IConnection::Uart) << warning("tcp");
    QTest::newRow("uart") << QStringLiteral("uart") << int(IConnection::Uart) << warning("uart");
    QTest::newRow("empty") << QString() << int(IConnection::Uart) << warning("");
    QTest::newRow("UDP") << QStringLiteral("UDP") << int(IConnection::Uart) << warning("UDP");
}

void TestMavAutopilot::connectionType_choosesTheConnection()
{
    QFETCH(QString, type);
    QFETCH(int, connection);
    QFETCH(QString, warning);
    AutopilotRig rig({{"MAV/CONNECTION_TYPE", type}});
    QCOMPARE(rig.plugin->link()->type(), connection);
    QCOMPARE(rig.log.take(), warning.isEmpty() ? QStringList() : QStringList{warning});
    if (!warning.isEmpty())
        QCOMPARE(rig.log.takenTypes(), QList<QtMsgType>{QtWarningMsg});
}

void TestMavAutopilot::connectionType_changedWhileRunning_keepsTheConnection()
{
    AutopilotRig rig;
    Q_EMIT runningApp()->MAV_CONNECTION_TYPE(QStringLiteral("TCP"));
    QCOMPARE(rig.plugin->link()->type(), int(IConnection::Uart));
    QCOMPARE(rig.plugin->findChildren<IConnection *>().size(), 1);
}

void TestMavAutopilot::start_withTheLinkOpen_startsTheTimers()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    QCOMPARE(rig.log.takenTypes(), QList<QtMsgType>{QtInfoMsg});
    QVERIFY(rig.plugin->isStarted());
    QVERIFY(rig.plugin->link()->isOpened());
    QCOMPARE(intervalOf(rig.plugin.get(), rig.plugin->statusTimerId), 1000);
    QCOMPARE(intervalOf(rig.plugin.get(), rig.plugin->heartbeatTimerId), 1000);
    QCOMPARE(intervalOf(rig.plugin.get(), rig.plugin->subscribeTimerId), 10000);
    const auto timers = timersOf(rig.plugin.get());
    QCOMPARE(timers.size(), 3);
    for (const auto &timer : timers)
        QCOMPARE(timer.timerType, Qt::CoarseTimer);
}

void TestMavAutopilot::start_twice_leavesOneSetOfTimers()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    QVERIFY(rig.start(controller));
    QCOMPARE(timersOf(rig.plugin.get()).size(), 3);
}

void TestMavAutopilot::start_withTheLinkRefused_runsTheTimersAllTheSame()
{
    AutopilotRig rig(RefusedConnection);
    QVERIFY(!rig.plugin->start());
    QCOMPARE(rig.log.take(),
             QStringList{QStringLiteral("[AP] CRIT: Failed to open connection to autopilot")});
    QCOMPARE(rig.log.takenTypes(), QList<QtMsgType>{QtCriticalMsg});
    QVERIFY(!rig.plugin->isStarted());
    QCOMPARE(timersOf(rig.plugin.get()).size(), 3);

    rig.plugin->letHeartbeatsExpire();
    rig.plugin->fire(rig.plugin->statusTimerId);
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("autopilotStatus 0")});

    rig.plugin->fire(rig.plugin->heartbeatTimerId); // written to the closed connection, which drops it
    QCOMPARE(channelStatus().current_tx_seq, quint8(1));
}

void TestMavAutopilot::start_withAMissingSerialDevice_logsWhatTheConnectionSays()
{
    AutopilotRig rig({{"MAV/SERIAL_DEVICE", QStringLiteral("/dev/no-such-port")}});
    QVERIFY(!rig.plugin->start());
    QCOMPARE(
        rig.log.take(),
        (QStringList{QStringLiteral("[UART] WARN: Port \"/dev/no-such-port\" not found in serial ports list"),
                     QStringLiteral("[UART] CRIT: Failed open port, error: \"No such file or directory\""),
                     QStringLiteral("[AP] CRIT: Failed to open connection to autopilot")}));
}

void TestMavAutopilot::start_failingAfterASuccess_leavesTheFlagsAsTheyWere()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    controller.hangUp();
    QVERIFY(!rig.plugin->start());
    QCOMPARE(rig.log.take(),
             QStringList{QStringLiteral("[AP] CRIT: Failed to open connection to autopilot")});
    QVERIFY(rig.plugin->isStarted());

    rig.plugin->letHeartbeatsExpire();
    rig.plugin->fire(rig.plugin->statusTimerId);
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("autopilotStatus 1")});
}

void TestMavAutopilot::stop_closesTheLinkAndTheTimers()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->stop();
    QVERIFY(!rig.plugin->isStarted());
    QVERIFY(!rig.plugin->link()->isOpened());
    QVERIFY(timersOf(rig.plugin.get()).isEmpty());
    QCOMPARE(rig.plugin->statusTimerId, -1);
    QCOMPARE(rig.plugin->heartbeatTimerId, -1);
    QCOMPARE(rig.plugin->subscribeTimerId, -1);
    QVERIFY(controller.waitForClosed());
    QCOMPARE(rig.log.take(), QStringList());
}

void TestMavAutopilot::stop_resetsNothingButTheFlag()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    rig.plugin->keepHeartbeatsForever();
    QVERIFY(rig.start(controller));
    rig.detectPx4();
    rig.plugin->stop();

    rig.plugin->startTimers();
    rig.plugin->fire(rig.plugin->statusTimerId);
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("autopilotStatus 2")});
    rig.plugin->letHeartbeatsExpire();
    rig.plugin->fire(rig.plugin->statusTimerId);
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("autopilotStatus 1")});
    rig.plugin->feed(Golden::Px4Heartbeat); // still the detected one: no detection lines
    QCOMPARE(rig.log.take(), QStringList());
}

void TestMavAutopilot::start_afterStop_opensAgain()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->stop();
    QVERIFY(rig.start(controller));
    QVERIFY(rig.plugin->isStarted());
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    QCOMPARE(controller.receive(1).size(), 1);
}

void TestMavAutopilot::statusPeriod_changedWhileRunning_countsFromTheNextStart()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    Q_EMIT runningApp()->APP_STATUS_PERIOD_MS(321);
    QCOMPARE(intervalOf(rig.plugin.get(), rig.plugin->statusTimerId), 1000);
    rig.plugin->stop();
    QVERIFY(rig.start(controller));
    QCOMPARE(intervalOf(rig.plugin.get(), rig.plugin->statusTimerId), 321);
    QCOMPARE(intervalOf(rig.plugin.get(), rig.plugin->heartbeatTimerId), 1000);
}

void TestMavAutopilot::addressAndPort_changedWhileStopped_areUsedByTheNextStart()
{
    FakeFlightController controller;
    AutopilotRig rig({{"MAV/CONNECTION_TYPE", QStringLiteral("TCP")},
                      {"MAV/SERIAL_DEVICE", QStringLiteral("host.invalid")},
                      {"MAV/BAUD_RATE", 0}});
    Q_EMIT runningApp()->MAV_SERIAL_DEVICE(QStringLiteral("127.0.0.1"));
    Q_EMIT runningApp()->MAV_BAUD_RATE(controller.port());
    QVERIFY(rig.start(controller));
}

void TestMavAutopilot::destruction_closesTheLink()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    const QPointer<IConnection> link = rig.plugin->link();
    rig.plugin.reset();
    QVERIFY(!link);
    QVERIFY(controller.waitForClosed());
}

void TestMavAutopilot::unknownTimer_isIgnored()
{
    AutopilotRig rig;
    rig.plugin->startTimers();
    rig.plugin->fire(rig.plugin->statusTimerId + rig.plugin->heartbeatTimerId + rig.plugin->subscribeTimerId);
    QCOMPARE(rig.log.take(), QStringList());
    QCOMPARE(channelStatus().current_tx_seq, quint8(0));
}

// Declared for hosts; nothing in the driver emits them.
void TestMavAutopilot::session_emitsNoSignalOfTheHosts()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    const DrivenAutopilot *plugin = rig.plugin.get();
    Counter emitted;
    connect(plugin, &IAutopilotPlugin::positionUpdated, &emitted, &Counter::countOne);
    connect(plugin, &IAutopilotPlugin::vehicleStateUpdated, &emitted, &Counter::countOne);
    connect(plugin, &IAutopilotPlugin::virtualStickCreated, &emitted, &Counter::countOne);
    connect(plugin, &MavAutopilot::sendData, &emitted, &Counter::countOne);
    QVERIFY(rig.start(controller));
    for (const char *frame : {Golden::Px4HeartbeatArmed, Golden::GpsRawInt, Golden::GlobalPositionInt,
                              Golden::Attitude, Golden::DistanceSensor})
        rig.plugin->feed(frame);
    rig.plugin->fire(rig.plugin->statusTimerId);
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    rig.plugin->fire(rig.plugin->subscribeTimerId);
    rig.plugin->stop();
    rig.log.take();
    QCOMPARE(emitted.count, 0);
}

void TestMavAutopilot::realTimers_reportAndSend()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    Q_EMIT runningApp()->APP_STATUS_PERIOD_MS(10);
    QSignalSpy status(runningApp(), &App::autopilotStatus);
    QVERIFY(rig.start(controller));
    QTRY_VERIFY_WITH_TIMEOUT(status.size() >= 3, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(channelStatus().current_tx_seq > 0, 20000); // the heartbeat timer sends
    rig.plugin->stop();
    rig.log.take();
    QCOMPARE(controller.receive(1).constFirst(), QByteArray::fromHex(Golden::OwnHeartbeat));
}

APP_TEST_MAIN(TestMavAutopilot)
#include "tst_mavautopilot.moc"
