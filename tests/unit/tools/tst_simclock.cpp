// SPDX-License-Identifier: MIT
#include "sim/simclock.h"

#include <QtTest>

using namespace std::chrono_literals;

class TestSimClock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void steps_comeWithTime();
    void speed_multipliesThem();
    void partsOfSteps_areNotLost();
    void longSleep_isLeftOut();

private:
    std::chrono::nanoseconds now{0};
    const SimClock::Source source = [this] { return now; };
};

void TestSimClock::steps_comeWithTime()
{
    SimClock clock(1, source);
    QCOMPARE(clock.takeSteps(), 0);
    now += 50ms;
    QCOMPARE(clock.takeSteps(), 5);
    QCOMPARE(clock.takeSteps(), 0);
}

void TestSimClock::speed_multipliesThem()
{
    SimClock clock(20, source);
    now += 5ms;
    QCOMPARE(clock.takeSteps(), 10);
}

void TestSimClock::partsOfSteps_areNotLost()
{
    SimClock clock(0.5, source);
    int steps = 0;
    for (int i = 0; i < 1000; ++i) {
        now += 7ms;
        steps += clock.takeSteps();
    }
    QVERIFY(steps == 350 || steps == 349); // floating point
}

void TestSimClock::longSleep_isLeftOut()
{
    SimClock clock(2, source);
    now += 1h;
    QCOMPARE(clock.takeSteps(), 200);
}

QTEST_GUILESS_MAIN(TestSimClock)
#include "tst_simclock.moc"
