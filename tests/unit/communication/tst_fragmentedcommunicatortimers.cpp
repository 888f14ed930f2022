// SPDX-License-Identifier: MIT
#include "communication/recordingcarrier.h"
#include "support/logcapture.h"

#include <QElapsedTimer>
#include <QtTest>

namespace {

constexpr int DropPeriodMs = 5000;

CompletePayload queuedPayload(int id)
{
    return payloadOf(7, 100, static_cast<quint16>(id));
}

CompletePayload urgentPayload(int id)
{
    return payloadOf(254, 100, static_cast<quint16>(id));
}

} // namespace

/// The queue: pacing, dropping, and the two timers. Time passes when the test says so, but for the last two.
class TestFragmentedCommunicatorTimers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void start_runsBothTimersCoarse();
    void start_twice_keepsTheTimers();
    void start_withOneTimerRunning_startsTheOther();
    void startingATimerAgain_replacesIt();
    void stoppingATimer_leavesTheOther();
    void stop_endsBothTimers();
    void stop_dropsTheQueue();
    void destruction_stops();
    void restart_beginsEmptyWithTheSamePeriod();
    void tick_sendsTheOldestAlone();
    void tick_withoutAQueue_sendsNothing();
    void tick_withAnEmptyPayload_usesItUp();
    void dropTick_emptiesTheQueue();
    void dropTick_leavesUrgentPayloadsAlone();
    void payloadAfterADropTick_isSent();
    void otherTimers_areIgnored();
    void queue_hasNoLimit();
    void withoutStart_queuedPayloadsWaitForOne();
    void realTimer_paces();
    void realTimer_drops();
};

void TestFragmentedCommunicatorTimers::start_runsBothTimersCoarse()
{
    const LogCapture log;
    RecordingCarrier carrier(37);
    QVERIFY(carrier.timers().isEmpty());
    carrier.start();
    const auto timers = carrier.timers();
    QCOMPARE(timers.size(), 2);
    QCOMPARE(timers[0].interval, 37);
    QCOMPARE(timers[0].timerType, Qt::CoarseTimer);
    QCOMPARE(timers[1].interval, DropPeriodMs);
    QCOMPARE(timers[1].timerType, Qt::CoarseTimer);
}

void TestFragmentedCommunicatorTimers::start_twice_keepsTheTimers()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    const auto before = carrier.timers();
    carrier.start();
    const auto after = carrier.timers();
    QCOMPARE(after.size(), 2);
    QCOMPARE(after[0].timerId, before[0].timerId);
    QCOMPARE(after[1].timerId, before[1].timerId);
}

void TestFragmentedCommunicatorTimers::start_withOneTimerRunning_startsTheOther()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.startDropQueueTimer();
    const int dropTimer = carrier.timers().at(0).timerId;
    carrier.start();
    QCOMPARE(carrier.timers().size(), 2);
    QCOMPARE(carrier.timers().at(1).timerId, dropTimer);
}

void TestFragmentedCommunicatorTimers::startingATimerAgain_replacesIt()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    QVERIFY(QMetaObject::invokeMethod(&carrier, "startTelemetryTimer"));
    QVERIFY(QMetaObject::invokeMethod(&carrier, "startDropQueueTimer"));
    QCOMPARE(carrier.timers().size(), 2);
    carrier.sendData(queuedPayload(1));
    carrier.tick(); // the new one is known
    QCOMPARE(carrier.take().size(), 2);
}

void TestFragmentedCommunicatorTimers::stoppingATimer_leavesTheOther()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    carrier.stopTelemetryTimer();
    carrier.stopTelemetryTimer();
    QCOMPARE(carrier.timers().size(), 1);
    QCOMPARE(carrier.timers().at(0).interval, DropPeriodMs);
    carrier.start();
    carrier.stopDropQueueTimer();
    carrier.stopDropQueueTimer();
    QCOMPARE(carrier.timers().size(), 1);
    QCOMPARE(carrier.timers().at(0).interval, 20);
}

void TestFragmentedCommunicatorTimers::stop_endsBothTimers()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.stop();
    carrier.start();
    carrier.stop();
    QVERIFY(carrier.timers().isEmpty());
    carrier.stop();
    QVERIFY(carrier.timers().isEmpty());
}

void TestFragmentedCommunicatorTimers::stop_dropsTheQueue()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    carrier.sendData(queuedPayload(1));
    carrier.stop();
    carrier.start();
    carrier.tick();
    QCOMPARE(carrier.take(), QList<QByteArray>());
}

// No timer survives: nothing is left to call the dead object.
void TestFragmentedCommunicatorTimers::destruction_stops()
{
    const LogCapture log;
    int events = 0;
    {
        RecordingCarrier carrier(0);
        carrier.onTimer = [&](int) { ++events; };
        carrier.start();
        carrier.sendData(queuedPayload(1));
        QCOMPARE(carrier.timers().size(), 2);
    }
    QCoreApplication::processEvents();
    QCOMPARE(events, 0);
}

void TestFragmentedCommunicatorTimers::restart_beginsEmptyWithTheSamePeriod()
{
    const LogCapture log;
    RecordingCarrier carrier(42);
    for (int round = 0; round < 3; ++round) {
        carrier.start();
        QCOMPARE(carrier.timers().size(), 2);
        QCOMPARE(carrier.timers().at(0).interval, 42);
        carrier.tick();
        QCOMPARE(carrier.take(), QList<QByteArray>());
        carrier.sendData(queuedPayload(round));
        carrier.sendData(queuedPayload(round));
        carrier.tick();
        QCOMPARE(carrier.take(), onboardFrames(queuedPayload(round)));
        carrier.stop();
    }
}

void TestFragmentedCommunicatorTimers::tick_sendsTheOldestAlone()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    for (int id = 1; id <= 3; ++id)
        carrier.sendData(queuedPayload(id));
    QCOMPARE(carrier.take(), QList<QByteArray>());
    for (int id = 1; id <= 3; ++id) {
        carrier.tick();
        QCOMPARE(carrier.take(), onboardFrames(queuedPayload(id)));
    }
    carrier.tick();
    QCOMPARE(carrier.take(), QList<QByteArray>());
}

void TestFragmentedCommunicatorTimers::tick_withoutAQueue_sendsNothing()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    carrier.tick();
    carrier.dropTick();
    QCOMPARE(carrier.take(), QList<QByteArray>());
}

void TestFragmentedCommunicatorTimers::tick_withAnEmptyPayload_usesItUp()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    carrier.sendData(payloadOf(7, 0));
    carrier.sendData(queuedPayload(2));
    carrier.tick();
    QCOMPARE(carrier.take(), QList<QByteArray>());
    carrier.tick();
    QCOMPARE(carrier.take(), onboardFrames(queuedPayload(2)));
}

void TestFragmentedCommunicatorTimers::dropTick_emptiesTheQueue()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    for (int id = 1; id <= 3; ++id)
        carrier.sendData(queuedPayload(id));
    carrier.tick();
    QCOMPARE(carrier.take(), onboardFrames(queuedPayload(1)));
    carrier.dropTick();
    carrier.tick();
    QCOMPARE(carrier.take(), QList<QByteArray>());
    QCOMPARE(carrier.timers().size(), 2);
}

void TestFragmentedCommunicatorTimers::dropTick_leavesUrgentPayloadsAlone()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    carrier.sendData(queuedPayload(1));
    carrier.sendData(urgentPayload(2)); // overtakes
    QCOMPARE(carrier.take(), onboardFrames(urgentPayload(2)));
    carrier.dropTick();
    carrier.sendData(urgentPayload(3));
    QCOMPARE(carrier.take(), onboardFrames(urgentPayload(3)));
}

void TestFragmentedCommunicatorTimers::payloadAfterADropTick_isSent()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    carrier.sendData(queuedPayload(1));
    carrier.dropTick();
    carrier.sendData(queuedPayload(2));
    carrier.tick();
    QCOMPARE(carrier.take(), onboardFrames(queuedPayload(2)));
}

void TestFragmentedCommunicatorTimers::otherTimers_areIgnored()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.sendData(queuedPayload(1));
    carrier.fire(-1 - 1);
    carrier.fire(123456);
    carrier.start();
    carrier.fire(carrier.timers().at(0).timerId + carrier.timers().at(1).timerId + 1000);
    QCOMPARE(carrier.take(), QList<QByteArray>());
    carrier.tick();
    QCOMPARE(carrier.take(), onboardFrames(queuedPayload(1)));
}

void TestFragmentedCommunicatorTimers::queue_hasNoLimit()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    constexpr int count = 20000;
    for (int id = 0; id < count; ++id)
        carrier.sendData(queuedPayload(id));
    for (int id = 0; id < count; ++id) {
        carrier.tick();
        if (carrier.take() != onboardFrames(queuedPayload(id)))
            QFAIL(qPrintable(QString::number(id)));
    }
    carrier.tick();
    QCOMPARE(carrier.take(), QList<QByteArray>());
}

void TestFragmentedCommunicatorTimers::withoutStart_queuedPayloadsWaitForOne()
{
    const LogCapture log;
    RecordingCarrier carrier(1);
    carrier.sendData(queuedPayload(1));
    QCoreApplication::processEvents();
    QCOMPARE(carrier.take(), QList<QByteArray>());
    carrier.start();
    carrier.tick();
    QCOMPARE(carrier.take(), onboardFrames(queuedPayload(1)));
}

void TestFragmentedCommunicatorTimers::realTimer_paces()
{
    const LogCapture log;
    RecordingCarrier carrier(1);
    for (int id = 1; id <= 20; ++id)
        carrier.sendData(queuedPayload(id));
    QList<QList<QByteArray>> ticks; // what left on each
    carrier.onTimer = [&](int) { ticks.append(carrier.take()); };
    carrier.start();
    QTRY_VERIFY_WITH_TIMEOUT(ticks.size() > 20, 4500);
    for (int i = 0; i < 20; ++i)
        QCOMPARE(ticks[i], onboardFrames(queuedPayload(i + 1)));
    QVERIFY(ticks[20].isEmpty());
}

// The telemetry timer ticks only when the test says so.
void TestFragmentedCommunicatorTimers::realTimer_drops()
{
    const LogCapture log;
    RecordingCarrier carrier(1000 * 3600);
    carrier.start();
    const int telemetryTimer = carrier.timers().at(1).timerId;
    carrier.sendData(queuedPayload(1));
    QElapsedTimer sinceStart;
    sinceStart.start();
    qint64 droppedAfterMs = 0;
    carrier.onTimer = [&](int) { droppedAfterMs = sinceStart.elapsed(); };
    QTRY_VERIFY_WITH_TIMEOUT(droppedAfterMs != 0, 20000);
    QVERIFY2(droppedAfterMs > 4700, qPrintable(QString::number(droppedAfterMs))); // coarse: within 5 per cent
    carrier.fire(telemetryTimer);
    QCOMPARE(carrier.take(), QList<QByteArray>());
}

QTEST_GUILESS_MAIN(TestFragmentedCommunicatorTimers)
#include "tst_fragmentedcommunicatortimers.moc"
