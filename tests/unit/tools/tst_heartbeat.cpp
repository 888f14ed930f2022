// SPDX-License-Identifier: MIT
#include "sim/heartbeat.h"

#include <QtTest>

Q_DECLARE_METATYPE(AutopilotKind)

class TestHeartbeat : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void frame_isThatOfTheRealOne_data();
    void frame_isThatOfTheRealOne();
    void sequence_countsUpPerLink();
};

// The frames with sequence number 0 by another encoder, from the fields of recorded heartbeats.
void TestHeartbeat::frame_isThatOfTheRealOne_data()
{
    QTest::addColumn<AutopilotKind>("autopilot");
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("ArduPilot") << AutopilotKind::ArduPilot
                               << QByteArray::fromHex("fd090000000101000000000000000203510303e292");
    QTest::newRow("PX4") << AutopilotKind::Px4
                         << QByteArray::fromHex("fd09000000010100000000000403020c1d03032dc7");
}

void TestHeartbeat::frame_isThatOfTheRealOne()
{
    QFETCH(AutopilotKind, autopilot);
    mavlink::mavlink_status_t state = {};
    QTEST(heartbeatFrame(autopilot, &state), "frame");
}

void TestHeartbeat::sequence_countsUpPerLink()
{
    mavlink::mavlink_status_t one = {};
    mavlink::mavlink_status_t other = {};
    heartbeatFrame(AutopilotKind::Px4, &one);
    QCOMPARE(int(heartbeatFrame(AutopilotKind::Px4, &one)[4]), 1);
    QCOMPARE(int(heartbeatFrame(AutopilotKind::Px4, &other)[4]), 0);
}

QTEST_GUILESS_MAIN(TestHeartbeat)
#include "tst_heartbeat.moc"
