// SPDX-License-Identifier: MIT
#include "ground/pacedsender.h"
#include "groundfixture.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

using namespace std::chrono_literals;

namespace {

const int patienceMs = 60'000;

/// A sender on a link, ready to start.
struct Rig
{
    explicit Rig(std::chrono::milliseconds pace)
        : sender(&ground, pace)
    {}

    FakeLink link;
    FrameCarrier ground{&link, 255};
    PacedSender sender;
};

} // namespace

class TestPacedSender : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void start_sendsAHeartbeatFirst_evenBeforeWhatWasQueued();
    void send_beforeTheStart_waits();
    void frames_leaveAtThePace_inOrder();
    void heartbeat_comesEachSecond_aheadOfTheQueue();
    void slowPace_alternatesHeartbeatsAndTheQueue();
    void stalledLink_getsOneFrame_untilItHasTakenIt();
    void fullQueue_refusesAFrame();
    void idle_isToldWhenTheLinkHasTakenAll();
    void stop_sendsNothingMore();
};

void TestPacedSender::start_sendsAHeartbeatFirst_evenBeforeWhatWasQueued()
{
    Rig rig(0ms);
    QVERIFY(rig.sender.send("frame"));
    rig.sender.start();
    QTRY_COMPARE_WITH_TIMEOUT(rig.link.messageIds(), (QVector<quint32>{heartbeatId, v2ExtensionId}),
                              patienceMs);
}

void TestPacedSender::send_beforeTheStart_waits()
{
    Rig rig(0ms);
    QVERIFY(rig.sender.send("frame"));
    QVERIFY(rig.link.written.isEmpty());
    QVERIFY(!rig.sender.isIdle());
}

void TestPacedSender::frames_leaveAtThePace_inOrder()
{
    Rig rig(20ms);
    QSignalSpy left(&rig.sender, &PacedSender::frameLeft);
    QElapsedTimer elapsed;
    elapsed.start();
    rig.sender.start();
    const QList<QByteArray> frames{"1", "2", "3", "4", "5"};
    for (const QByteArray &frame : frames)
        QVERIFY(rig.sender.send(frame));
    QTRY_COMPARE_WITH_TIMEOUT(left.count(), 5, patienceMs);
    QVERIFY(elapsed.elapsed() >= 100); // five pauses
    for (int i = 0; i < 5; ++i)
        QCOMPARE(left[i][0].toByteArray(), frames[i]);
}

void TestPacedSender::heartbeat_comesEachSecond_aheadOfTheQueue()
{
    Rig rig(400ms);
    rig.sender.start();
    for (int i = 0; i < 5; ++i)
        QVERIFY(rig.sender.send("frame"));
    QTRY_COMPARE_WITH_TIMEOUT(rig.link.messageIds().count(v2ExtensionId), 5, patienceMs);
    const auto ids = rig.link.messageIds();
    const int second = ids.indexOf(heartbeatId, 1);
    QVERIFY(second > 0 && second < ids.lastIndexOf(v2ExtensionId));
}

void TestPacedSender::slowPace_alternatesHeartbeatsAndTheQueue()
{
    Rig rig(1200ms);
    rig.sender.start();
    QVERIFY(rig.sender.send("1"));
    QVERIFY(rig.sender.send("2"));
    QTRY_COMPARE_WITH_TIMEOUT(rig.link.messageIds(),
                              (QVector<quint32>{heartbeatId, v2ExtensionId, heartbeatId, v2ExtensionId}),
                              patienceMs);
}

void TestPacedSender::stalledLink_getsOneFrame_untilItHasTakenIt()
{
    Rig rig(0ms);
    rig.link.stalled = true;
    rig.sender.start();
    QVERIFY(rig.sender.send("1"));
    QVERIFY(rig.sender.send("2"));
    QCOMPARE(rig.link.written.size(), 1);
    rig.link.drain();
    QTRY_COMPARE_WITH_TIMEOUT(rig.link.written.size(), 2, patienceMs);
    Q_EMIT rig.link.drained(); // some of it
    QCOMPARE(rig.link.written.size(), 2);
    rig.link.drain();
    QTRY_COMPARE_WITH_TIMEOUT(rig.link.written.size(), 3, patienceMs);
}

void TestPacedSender::fullQueue_refusesAFrame()
{
    Rig rig(0ms);
    for (int i = 0; i < PacedSender::queueLimit; ++i)
        QVERIFY(rig.sender.send("frame"));
    QVERIFY(!rig.sender.send("one too many"));
    rig.sender.start();
    QSignalSpy left(&rig.sender, &PacedSender::frameLeft);
    QTRY_VERIFY_WITH_TIMEOUT(rig.sender.isIdle(), patienceMs);
    QVERIFY(rig.link.written.size() >= 1 + PacedSender::queueLimit);
    QVERIFY(rig.sender.send("room again"));
}

void TestPacedSender::idle_isToldWhenTheLinkHasTakenAll()
{
    Rig rig(0ms);
    rig.sender.start();
    rig.link.stalled = true;
    QSignalSpy idle(&rig.sender, &PacedSender::idle);
    QVERIFY(rig.sender.send("frame"));
    QTRY_COMPARE_WITH_TIMEOUT(rig.link.written.size(), 2, patienceMs);
    QVERIFY(!rig.sender.isIdle());
    QCOMPARE(idle.count(), 0);
    rig.link.drain();
    QVERIFY(rig.sender.isIdle());
    QCOMPARE(idle.count(), 1);
}

void TestPacedSender::stop_sendsNothingMore()
{
    Rig rig(0ms);
    rig.link.stalled = true;
    rig.sender.start();
    QVERIFY(rig.sender.send("frame"));
    rig.sender.stop();
    rig.link.drain();
    QCOMPARE(rig.link.messageIds(), QVector<quint32>{heartbeatId});
}

QTEST_GUILESS_MAIN(TestPacedSender)
#include "tst_pacedsender.moc"
