// SPDX-License-Identifier: MIT
#include "navigation/stickrecorder.h"

#include <QtTest>

namespace {

constexpr quint8 Px4 = 12;
constexpr quint8 ArduPilot = 3;
constexpr int TargetAt = 28; // in the hex digits of a SET_MODE

const QString Status = QStringLiteral("statusChanged");
const QString Origin = QStringLiteral("originChanged");

const QStringList Px4Heard{QStringLiteral("[MAV] Autopilot systemid detected  1"),
                           QStringLiteral("[MAV] PX4 Detected ")};
const QStringList ArduPilotHeard{QStringLiteral("[MAV] Autopilot systemid detected  1"),
                                 QStringLiteral("[MAV] ArduPilot Detected")};

/// The system that commands go to.
int targetOf(StickRecorder &of)
{
    of.takeSent();
    of.stick.obtainControl();
    const int target = of.takeSent().value(0).mid(TargetAt, 2).toInt(nullptr, 16);
    of.emitted.removeAll(QStringLiteral("sendMessage"));
    return target;
}

/// What kind of autopilot the stick knows: requests go by it.
int kindOf(StickRecorder &of)
{
    of.takeSent();
    of.stick.subscribeToTelemetry();
    of.log.take();
    of.emitted.removeAll(QStringLiteral("sendMessage"));
    switch (of.takeSent().size()) {
    case 15:
        return Px4;
    case 12:
        return ArduPilot;
    default:
        return 0;
    }
}

} // namespace

/// Which heartbeats count, whose messages do, and what is kept for ever.
class TestMavStickDetection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstHeartbeat_isLoggedAndLatched_data();
    void firstHeartbeat_isLoggedAndLatched();
    void heartbeatOfAnythingElse_changesNothing_data();
    void heartbeatOfAnythingElse_changesNothing();
    void anotherSystem_afterwards_isNotHeard();
    void anotherComponent_ofTheTarget_isHeard();
    void anotherComponent_thatIsNoAutopilot_isNotTold();
    void anotherKind_ofTheTarget_changesNoLatch();
    void latch_isToldBeforeTheStatus();
    void beforeDetection_everybodyIsHeard();
    void origin_mayBeThatOfAnotherSystem();
    void origin_ofAnotherSystem_afterDetection_isNotTaken();
    void systemZero_isNotLatched();
    void handedOver_leavesTheKindToTheHeartbeat_data();
    void handedOver_leavesTheKindToTheHeartbeat();
    void handedOver_isFilteredByAtOnce();
};

void TestMavStickDetection::firstHeartbeat_isLoggedAndLatched_data()
{
    QTest::addColumn<quint8>("autopilot");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("PX4") << Px4 << Px4Heard;
    QTest::newRow("ArduPilot") << ArduPilot << ArduPilotHeard;
}

void TestMavStickDetection::firstHeartbeat_isLoggedAndLatched()
{
    QFETCH(quint8, autopilot);
    QFETCH(QStringList, lines);
    StickRecorder of;
    QCOMPARE(targetOf(of), 0);
    of.receive(heartbeatOf(autopilot));
    QCOMPARE(of.log.take(), lines);
    QCOMPARE(of.log.takenTypes(), (QList<QtMsgType>{QtInfoMsg, QtInfoMsg}));
    QCOMPARE(of.takeEmitted(), QStringList{Status}); // nothing is asked for
    QCOMPARE(targetOf(of), 1);
    QCOMPARE(kindOf(of), int(autopilot));
    of.receive(heartbeatOf(autopilot));
    QCOMPARE(of.log.take(), QStringList());
    QCOMPARE(of.emitted, QStringList{Status});
}

void TestMavStickDetection::heartbeatOfAnythingElse_changesNothing_data()
{
    QTest::addColumn<int>("autopilot");
    for (const int autopilot : {0, 1, 2, 4, 8, 11, 13, 20, 128 + 3, 255})
        QTest::addRow("%d", autopilot) << autopilot;
}

void TestMavStickDetection::heartbeatOfAnythingElse_changesNothing()
{
    QFETCH(int, autopilot);
    StickRecorder of;
    of.receive(heartbeatOf(quint8(autopilot), 0xFF));
    QCOMPARE(of.emitted, QStringList());
    QCOMPARE(of.log.take(), QStringList());
    QCOMPARE(targetOf(of), 0);
    QCOMPARE(kindOf(of), 0);
}

void TestMavStickDetection::anotherSystem_afterwards_isNotHeard()
{
    StickRecorder of;
    of.detect(Px4);
    of.receive(heartbeatOf(ArduPilot), {2, 1});
    of.receive(attitudeOf(1), {2, 1});
    of.receive(positionOf(1, 1, 1), {2, 1});
    of.receive(attitudeOf(1), {0, 1});
    QCOMPARE(of.emitted, QStringList());
    QCOMPARE(of.log.take(), QStringList());
    QCOMPARE(targetOf(of), 1);
    QCOMPARE(kindOf(of), int(Px4));
}

void TestMavStickDetection::anotherComponent_ofTheTarget_isHeard()
{
    StickRecorder of;
    of.detect(Px4);
    of.receive(heartbeatOf(Px4), {1, 42});
    of.receive(attitudeOf(1), {1, 0});
    of.receive(positionOf(1, 1, 1), {1, 255});
    QCOMPARE(of.log.take().size(), 1);
    QCOMPARE(of.emitted, (QStringList{Status, QStringLiteral("attitudeChanged"), Origin}));
}

void TestMavStickDetection::anotherComponent_thatIsNoAutopilot_isNotTold()
{
    StickRecorder of;
    of.detect(Px4);
    of.receive(heartbeatOf(8, 0xFF), {1, 154});
    QCOMPARE(of.emitted, QStringList());
}

void TestMavStickDetection::anotherKind_ofTheTarget_changesNoLatch()
{
    StickRecorder of;
    of.detect(Px4);
    of.receive(heartbeatOf(ArduPilot));
    QCOMPARE(of.log.take(), QStringList());
    QCOMPARE(of.emitted, QStringList{Status});
    QCOMPARE(kindOf(of), int(Px4));
}

void TestMavStickDetection::latch_isToldBeforeTheStatus()
{
    StickRecorder of;
    QStringList before;
    int target = 0;
    connect(&of.stick, &IVirtualStick::statusChanged, this, [&] {
        before = of.log.take();
        target = targetOf(of);
    });
    of.receive(heartbeatOf(ArduPilot));
    QCOMPARE(before, ArduPilotHeard);
    QCOMPARE(target, 1);
}

void TestMavStickDetection::beforeDetection_everybodyIsHeard()
{
    StickRecorder of;
    of.receive(attitudeOf(1), {7, 7});
    of.receive(attitudeOf(1), {8, 8});
    of.receive(positionOf(1, 1, 1), {9, 9});
    of.receive(positionOf(1, 1, 1), {10, 10});
    of.log.take();
    QCOMPARE(of.emitted, (QStringList{QStringLiteral("attitudeChanged"), QStringLiteral("attitudeChanged"),
                                      Origin, QStringLiteral("localPositionChanged")}));
}

void TestMavStickDetection::origin_mayBeThatOfAnotherSystem()
{
    StickRecorder of;
    of.receive(positionOf(10000000, 0, 0), {9, 9});
    of.receive(heartbeatOf(Px4));
    of.receive(positionOf(20000000, 0, 0));
    of.log.take();
    QCOMPARE(of.origins, (QList<QList<double>>{{1, 0, 0}}));
    QVERIFY(of.statuses.first().originSet);
    QCOMPARE(of.positions.value(0).x, 111319.49F);
}

void TestMavStickDetection::origin_ofAnotherSystem_afterDetection_isNotTaken()
{
    StickRecorder of;
    of.detect(Px4);
    of.receive(positionOf(10000000, 0, 0), {9, 9});
    of.receive(positionOf(20000000, 0, 0));
    of.log.take();
    QCOMPARE(of.origins, (QList<QList<double>>{{2, 0, 0}}));
}

// 0 says that no target is known: what sends as system 0 cannot become one.
void TestMavStickDetection::systemZero_isNotLatched()
{
    StickRecorder of;
    for (int i = 0; i < 2; ++i) {
        of.receive(heartbeatOf(Px4), {0, 1});
        QCOMPARE(of.log.take().value(0), QStringLiteral("[MAV] Autopilot systemid detected  0"));
    }
    of.receive(heartbeatOf(ArduPilot));
    QCOMPARE(of.log.take(), ArduPilotHeard);
    QCOMPARE(targetOf(of), 1);
    QCOMPARE(kindOf(of), int(ArduPilot));
}

void TestMavStickDetection::handedOver_leavesTheKindToTheHeartbeat_data()
{
    firstHeartbeat_isLoggedAndLatched_data();
}

void TestMavStickDetection::handedOver_leavesTheKindToTheHeartbeat()
{
    QFETCH(quint8, autopilot);
    QFETCH(QStringList, lines);
    StickRecorder of;
    of.stick.setTargetSystemId(1);
    QCOMPARE(targetOf(of), 1);
    QCOMPARE(kindOf(of), 0);
    QCOMPARE(of.log.take(), QStringList());
    of.receive(heartbeatOf(8));
    QCOMPARE(of.emitted, QStringList());
    of.receive(heartbeatOf(autopilot));
    QCOMPARE(of.log.take(), lines);
    QCOMPARE(of.takeEmitted(), QStringList{Status});
    QCOMPARE(targetOf(of), 1);
    QCOMPARE(kindOf(of), int(autopilot));
    of.receive(heartbeatOf(autopilot));
    QCOMPARE(of.log.take(), QStringList());
}

void TestMavStickDetection::handedOver_isFilteredByAtOnce()
{
    StickRecorder of;
    of.stick.setTargetSystemId(1);
    of.receive(heartbeatOf(Px4), {2, 1});
    of.receive(positionOf(0, 0, 0), {2, 1});
    QCOMPARE(of.emitted, QStringList());
    QCOMPARE(of.log.take(), QStringList());
    QCOMPARE(targetOf(of), 1);
}

QTEST_GUILESS_MAIN(TestMavStickDetection)
#include "tst_mavstickdetection.moc"
