// SPDX-License-Identifier: MIT
#include "sim/replayclock.h"

#include <QtTest>

using namespace std::chrono_literals;

class TestReplayClock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void untilStarted_standsAtZero();
    void speed_multipliesTime_data();
    void speed_multipliesTime();
    void pause_holdsTimeUntilResumed();
    void resume_ofARunningClock_changesNothing();
    void restart_setsBackToZero();
    void wait_isRoundedUp();
    void wait_forThePast_isZero();
    void wait_atATinySpeed_isAnHour();
    void hugeSpeed_reachesEverythingAtOnce();

private:
    ReplayClock makeClock(double speed)
    {
        return ReplayClock(speed, [this] { return now; });
    }

    std::chrono::nanoseconds now{12345s};
};

void TestReplayClock::untilStarted_standsAtZero()
{
    const ReplayClock clock = makeClock(1);
    now += 10s;
    QVERIFY(clock.hasReached(0us));
    QVERIFY(!clock.hasReached(1us));
}

void TestReplayClock::speed_multipliesTime_data()
{
    QTest::addColumn<double>("speed");
    QTest::addColumn<int>("reachedUs");
    QTest::newRow("as recorded") << 1.0 << 2'000'000;
    QTest::newRow("twice as fast") << 2.0 << 4'000'000;
    QTest::newRow("slower") << 0.25 << 500'000;
}

void TestReplayClock::speed_multipliesTime()
{
    QFETCH(double, speed);
    QFETCH(int, reachedUs);
    ReplayClock clock = makeClock(speed);
    clock.restart();
    now += 2s;
    QVERIFY(clock.hasReached(std::chrono::microseconds(reachedUs)));
    QVERIFY(!clock.hasReached(std::chrono::microseconds(reachedUs + 1)));
}

void TestReplayClock::pause_holdsTimeUntilResumed()
{
    ReplayClock clock = makeClock(2);
    clock.restart();
    now += 1s;
    clock.pause();
    now += 100s;
    clock.pause();
    QVERIFY(clock.hasReached(2s));
    QVERIFY(!clock.hasReached(2s + 1us));
    clock.resume();
    now += 1s;
    QVERIFY(clock.hasReached(4s));
    QVERIFY(!clock.hasReached(4s + 1us));
}

void TestReplayClock::resume_ofARunningClock_changesNothing()
{
    ReplayClock clock = makeClock(1);
    clock.restart();
    now += 1s;
    clock.resume();
    QVERIFY(clock.hasReached(1s));
}

void TestReplayClock::restart_setsBackToZero()
{
    ReplayClock clock = makeClock(1);
    clock.restart();
    now += 5s;
    clock.restart();
    QVERIFY(!clock.hasReached(1us));
}

void TestReplayClock::wait_isRoundedUp()
{
    ReplayClock clock = makeClock(2);
    clock.restart();
    QVERIFY(clock.timeUntil(4001us) == 3ms);
    QVERIFY(clock.timeUntil(4000us) == 2ms);
    QVERIFY(clock.timeUntil(1us) == 1ms);
}

void TestReplayClock::wait_forThePast_isZero()
{
    ReplayClock clock = makeClock(1);
    clock.restart();
    now += 1s;
    QVERIFY(clock.timeUntil(10us) == 0ms);
}

void TestReplayClock::wait_atATinySpeed_isAnHour()
{
    ReplayClock clock = makeClock(1e-300);
    clock.restart();
    QVERIFY(clock.timeUntil(1us) == 1h);
}

void TestReplayClock::hugeSpeed_reachesEverythingAtOnce()
{
    ReplayClock clock = makeClock(1e308);
    clock.restart();
    now += 1ns;
    QVERIFY(clock.hasReached(std::chrono::microseconds::max()));
    QVERIFY(clock.timeUntil(std::chrono::microseconds::max()) == 0ms);
}

QTEST_GUILESS_MAIN(TestReplayClock)
#include "tst_replayclock.moc"
