// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/goldenframes.h"
#include "support/testmain.h"

#include <QElapsedTimer>
#include <functional>

namespace {

struct StatusPayload
{
    int messageId = -1;
    int payloadId = -1;
    QByteArray data;
    QVariant extra;
};

StatusPayload nextPayload(AutopilotRig &rig)
{
    StatusPayload seen;
    const auto connection = QObject::connect(
        rig.plugin.get(), &IAutopilotPlugin::dataReceived,
        [&](MessageId message, PayloadId payload, const QByteArray &data, const QVariant &extra) {
            seen = {int(message), int(payload), data, extra};
        });
    rig.plugin->fire(rig.plugin->statusTimerId);
    QObject::disconnect(connection);
    return seen;
}

QString statusLine(AutopilotRig &rig)
{
    rig.plugin->fire(rig.plugin->statusTimerId);
    return rig.log.take().join(QLatin1Char('|'));
}

} // namespace

class TestMavStatus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void status_overALink_goesFromNothingToLinkToAutopilotAndBack();
    void status_withoutALink_fallsBackToZero();
    void status_lowered_startsTheCountAnew();
    void status_afterAHeartbeat_startsTheCountAnew();
    void payload_beforeTheFirstReading_hasTheInitialStatus();
    void payload_afterAReading_carriesIt();
    void payload_isEmittedAfterTheStatus();

private:
    static bool heldAfter(const std::function<void(AutopilotRig &)> &restart);
};

void TestMavStatus::status_overALink_goesFromNothingToLinkToAutopilotAndBack()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->keepHeartbeatsForever();
    QCOMPARE(statusLine(rig), QStringLiteral("autopilotStatus 0"));
    QCOMPARE(statusLine(rig), QStringLiteral("autopilotStatus 0"));
    rig.plugin->letHeartbeatsExpire();
    QCOMPARE(statusLine(rig), QStringLiteral("autopilotStatus 1"));
    rig.plugin->keepHeartbeatsForever();
    rig.detectPx4();
    QCOMPARE(statusLine(rig), QStringLiteral("autopilotStatus 2"));
    rig.plugin->letHeartbeatsExpire();
    QCOMPARE(statusLine(rig), QStringLiteral("autopilotStatus 1"));
}

void TestMavStatus::status_withoutALink_fallsBackToZero()
{
    AutopilotRig rig;
    rig.plugin->startTimers();
    rig.plugin->keepHeartbeatsForever();
    rig.detectPx4();
    QCOMPARE(statusLine(rig), QStringLiteral("autopilotStatus 2"));
    rig.plugin->letHeartbeatsExpire();
    QCOMPARE(statusLine(rig), QStringLiteral("autopilotStatus 0"));
}

// A driver whose watch has run for longer than the time-out gets its watch restarted, and is then asked for
// its status: whether it still held the old status. Repeated if the machine was too slow for the answer to
// mean anything.
bool TestMavStatus::heldAfter(const std::function<void(AutopilotRig &)> &restart)
{
    constexpr int TimeoutMs = 300;
    for (;;) {
        FakeFlightController controller;
        AutopilotRig rig(controller);
        rig.plugin->heartbeatTimeoutMs = TimeoutMs;
        QElapsedTimer sinceConstruction;
        sinceConstruction.start();
        if (!QTest::qWaitFor([&] { return sinceConstruction.hasExpired(TimeoutMs + 50); }, 60000))
            continue;
        QElapsedTimer sinceRestart;
        sinceRestart.start();
        rig.plugin->startTimers();
        restart(rig);
        const bool opened = rig.plugin->start() && controller.accept();
        rig.log.take();
        const QString line = statusLine(rig);
        if (sinceRestart.elapsed() < TimeoutMs)
            return opened && line != QStringLiteral("autopilotStatus 1");
    }
}

void TestMavStatus::status_lowered_startsTheCountAnew()
{
    QVERIFY(heldAfter([](AutopilotRig &rig) { rig.plugin->fire(rig.plugin->statusTimerId); }));
    QVERIFY(!heldAfter([](AutopilotRig &) {}));
}

void TestMavStatus::status_afterAHeartbeat_startsTheCountAnew()
{
    QVERIFY(heldAfter([](AutopilotRig &rig) { rig.plugin->feed(Golden::Px4Heartbeat); }));
    QVERIFY(!heldAfter([](AutopilotRig &rig) { rig.plugin->feed(Golden::GroundHeartbeat); }));
    QVERIFY(!heldAfter([](AutopilotRig &rig) { rig.plugin->feed(Golden::Attitude); }));
}

void TestMavStatus::payload_beforeTheFirstReading_hasTheInitialStatus()
{
    AutopilotRig rig;
    rig.plugin->startTimers();
    const StatusPayload payload = nextPayload(rig);
    rig.log.take();
    QCOMPARE(payload.messageId, 1);
    QCOMPARE(payload.payloadId, 4);
    QCOMPARE(payload.data.toHex(), QByteArrayLiteral("0700"
                                                     "00000000"
                                                     "04"));
    QVERIFY(!payload.extra.isValid());
}

void TestMavStatus::payload_afterAReading_carriesIt()
{
    AutopilotRig rig;
    rig.plugin->startTimers();
    rig.plugin->feed(Golden::DistanceSensor);
    const StatusPayload payload = nextPayload(rig);
    rig.log.take();
    QCOMPARE(payload.data.toHex(), QByteArrayLiteral("0700"
                                                     "a4704541"
                                                     "00")); // 12.34
}

void TestMavStatus::payload_isEmittedAfterTheStatus()
{
    AutopilotRig rig;
    rig.plugin->startTimers();
    connect(rig.plugin.get(), &IAutopilotPlugin::dataReceived, this, [] { qInfo("payload"); });
    QCOMPARE(statusLine(rig), QStringLiteral("autopilotStatus 0|payload"));
}

APP_TEST_MAIN(TestMavStatus)
#include "tst_mavstatus.moc"
