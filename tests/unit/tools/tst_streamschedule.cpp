// SPDX-License-Identifier: MIT
#include "sim/streamschedule.h"

#include <QtTest>

using namespace std::chrono_literals;

namespace {

/// How often each message is due in a time.
QMap<quint32, int> run(StreamSchedule *schedule, SimTime from, SimTime to)
{
    QMap<quint32, int> counts;
    for (SimTime now = from; now < to; now += simStep) {
        const QVector<quint32> due = schedule->takeDue(now);
        for (const quint32 id : due)
            ++counts[id];
    }
    return counts;
}

} // namespace

class TestStreamSchedule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rates_areKept();
    void zeroRate_endsAStream();
    void sameRateAgain_doesNotStartAnew();
    void lateStreams_areNotMadeUpFor();
    void budget_scalesStreams_butSteadyOnes();
    void budget_leavesStarvedStreamsHalfOfIt();
    void frameSizes_count();
    void changedRate_keepsThePriority();
};

void TestStreamSchedule::rates_areKept()
{
    StreamSchedule schedule;
    schedule.setRate(1, 8, 0s);
    schedule.setRate(2, 30, 0s);
    schedule.setRate(3, 0.5, 0s);
    const QMap<quint32, int> counts = run(&schedule, 0s, 100s);
    QCOMPARE(counts[1], 800);
    QVERIFY(qAbs(counts[2] - 3000) <= 1);
    QCOMPARE(counts[3], 50);
    QCOMPARE(schedule.scale(), 1.0);
}

void TestStreamSchedule::zeroRate_endsAStream()
{
    StreamSchedule schedule;
    schedule.setRate(1, 10, 0s);
    schedule.setRate(1, 0, 0s);
    QVERIFY(run(&schedule, 0s, 1s).isEmpty());
    QCOMPARE(schedule.rateOf(1), 0.0);
}

void TestStreamSchedule::sameRateAgain_doesNotStartAnew()
{
    StreamSchedule schedule;
    schedule.setRate(1, 1, 0s);
    QCOMPARE(schedule.takeDue(0s).size(), 1);
    schedule.setRate(1, 1, 500ms);
    QVERIFY(schedule.takeDue(500ms).isEmpty());
    schedule.setRate(1, 2, 600ms);
    QCOMPARE(schedule.takeDue(600ms).size(), 1);
}

void TestStreamSchedule::lateStreams_areNotMadeUpFor()
{
    StreamSchedule schedule;
    schedule.setRate(1, 10, 0s);
    QCOMPARE(schedule.takeDue(10s).size(), 1);
    QVERIFY(run(&schedule, 10s + simStep, 11s)[1] <= 11);
}

void TestStreamSchedule::budget_scalesStreams_butSteadyOnes()
{
    StreamSchedule schedule(1000);
    schedule.setRate(1, 10, 0s, StreamSchedule::Priority::Steady);
    schedule.setRate(2, 20, 0s);
    schedule.setRate(3, 40, 0s);
    for (const quint32 id : {1, 2, 3})
        schedule.noteFrameSize(id, 40);
    QCOMPARE(schedule.scale(), 0.25);
    const QMap<quint32, int> counts = run(&schedule, 0s, 100s);
    QCOMPARE(counts[1], 1000);
    QVERIFY(qAbs(counts[2] - 500) <= 1);
    QVERIFY(qAbs(counts[3] - 1000) <= 1);
}

void TestStreamSchedule::budget_leavesStarvedStreamsHalfOfIt()
{
    StreamSchedule schedule(1000);
    schedule.setRate(1, 40, 0s);
    schedule.setRate(2, 20, 0s, StreamSchedule::Priority::Starved);
    for (const quint32 id : {1, 2})
        schedule.noteFrameSize(id, 40);
    QCOMPARE(schedule.scale(), 0.5);
    const QMap<quint32, int> counts = run(&schedule, 0s, 100s);
    QVERIFY(qAbs(counts[1] - 2000) <= 1);
    QVERIFY(qAbs(counts[2] - 500) <= 1);
    schedule.setRate(1, 10, 100s);
    schedule.setRate(2, 10, 100s, StreamSchedule::Priority::Starved);
    QCOMPARE(run(&schedule, 100s, 200s)[2], 1000);
}

void TestStreamSchedule::frameSizes_count()
{
    StreamSchedule schedule(1000);
    schedule.setRate(1, 10, 0s);
    schedule.noteFrameSize(1, 100);
    QCOMPARE(schedule.scale(), 1.0);
    schedule.noteFrameSize(1, 200);
    QCOMPARE(schedule.scale(), 0.5);
}

void TestStreamSchedule::changedRate_keepsThePriority()
{
    StreamSchedule schedule(1);
    schedule.setRate(1, 10, 0s, StreamSchedule::Priority::Steady);
    schedule.changeRate(1, 20, 0s);
    QCOMPARE(run(&schedule, 0s, 10s)[1], 200);
}

QTEST_GUILESS_MAIN(TestStreamSchedule)
#include "tst_streamschedule.moc"
