// SPDX-License-Identifier: MIT
#include "host/sendercounters.h"

#include <QtTest>

#include <initializer_list>

using namespace std::chrono_literals;

namespace {

/// A sender on a clock that the test moves.
class Sender
{
public:
    /// Frames, 10 ms apart, of which none tells the time.
    Sender &send(std::initializer_list<int> numbers)
    {
        for (const int number : numbers)
            take(number, std::nullopt);
        return *this;
    }
    Sender &sendRange(int first, int count)
    {
        for (int i = 0; i < count; ++i)
            take(first + i, std::nullopt);
        return *this;
    }
    /// One that tells the time since boot.
    Sender &sendTimed(int number, quint32 bootTimeMs)
    {
        take(number, bootTimeMs);
        return *this;
    }
    Sender &pause(std::chrono::milliseconds time)
    {
        now += time;
        return *this;
    }

    SenderCounters counters;

private:
    void take(int number, std::optional<quint32> bootTimeMs)
    {
        now += 10ms;
        counters.take(static_cast<quint8>(number), bootTimeMs, now);
    }

    std::chrono::milliseconds now{5'000'000};
};

} // namespace

class TestSenderCounters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void jump_ofASenderWithoutTime_isALoss_data();
    void jump_ofASenderWithoutTime_isALoss();
    void jumpBackAfterSilence_isARestart();
    void restartIntoTheWindow_isARestart();
    void numberRepeatedAfterSilence_isADuplicate();
    void timeThatStepsBack_makesTheJumpARestart_data();
    void timeThatStepsBack_makesTheJumpARestart();
    void timeThatGoesOn_makesTheJumpALoss();
    void timeThatGoesOnAfterSilence_makesTheJumpALoss();
    void restart_inTheMiddleOfLosses_isTheFurthestJump();
    void restart_afterAGreaterLoss_isNotTheLoss();
    void restart_afterSilence_leavesTheLossBeforeItALoss();
    void restart_atTheNextNumber_isARestart();
    void timeOfAnOvertakenFrame_isNoStepBack();
    void secondRestart_beforeAnyTime_isCounted();
    void newConnection_costsNothing();
    void newConnection_leavesARestartARestart();
    void percent_isOfWhatWasSent();

private:
    static void check(const Sender &sender, int received, int lost, int restarts)
    {
        QCOMPARE(int(sender.counters.loss().received()), received);
        QCOMPARE(int(sender.counters.loss().lost()), lost);
        QCOMPARE(int(sender.counters.restarts()), restarts);
    }
};

void TestSenderCounters::jump_ofASenderWithoutTime_isALoss_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("pauseMs");
    QTest::addColumn<int>("lost");
    QTest::newRow("ahead") << 150 << 0 << 49;
    QTest::newRow("ahead after a silence") << 150 << 5000 << 49;
    QTest::newRow("back without a silence") << 0 << 989 << 155;
}

void TestSenderCounters::jump_ofASenderWithoutTime_isALoss()
{
    QFETCH(int, number);
    QFETCH(int, pauseMs);
    QFETCH(int, lost);
    Sender sender;
    sender.sendRange(0, 101).pause(std::chrono::milliseconds(pauseMs)).sendRange(number, 20);
    check(sender, 121, lost, 0);
}

void TestSenderCounters::jumpBackAfterSilence_isARestart()
{
    Sender sender;
    sender.sendRange(0, 101).pause(SenderCounters::Silence - 10ms).sendRange(0, 20);
    check(sender, 121, 0, 1);
    sender.pause(1s).send({0, 1, 3});
    check(sender, 124, 1, 2);
    sender.pause(1s).send({2, 3});
    check(sender, 126, 1, 3);
}

void TestSenderCounters::restartIntoTheWindow_isARestart()
{
    Sender sender;
    sender.sendRange(0, 20).pause(1s).sendRange(0, 30);
    check(sender, 50, 0, 1);
    QCOMPARE(sender.counters.loss().duplicates(), qint64(0));
}

void TestSenderCounters::numberRepeatedAfterSilence_isADuplicate()
{
    Sender sender;
    for (int i = 0; i < 10; ++i)
        sender.send({0}).pause(1s);
    check(sender, 1, 0, 0);
    QCOMPARE(sender.counters.loss().duplicates(), qint64(9));
}

void TestSenderCounters::timeThatStepsBack_makesTheJumpARestart_data()
{
    QTest::addColumn<int>("last");
    QTest::newRow("43 and then 0, as a real ArduPilot") << 43;
    QTest::newRow("183 and then 0, as a real PX4") << 183;
    QTest::newRow("a loss of three, by the numbers alone") << 252;
    QTest::newRow("a loss of one, by the numbers alone") << 254;
    QTest::newRow("duplicates, by the numbers alone") << 10;
}

// The first frames after a boot tell no time.
void TestSenderCounters::timeThatStepsBack_makesTheJumpARestart()
{
    QFETCH(int, last);
    Sender sender;
    sender.sendTimed(last - 1, 60'000).send({last}).send({0, 1, 2, 3, 4, 5});
    sender.sendTimed(6, 1500).send({7});
    check(sender, 10, 0, 1);
    QCOMPARE(sender.counters.loss().duplicates(), qint64(0));
}

void TestSenderCounters::timeThatGoesOn_makesTheJumpALoss()
{
    Sender sender;
    sender.sendTimed(42, 60'000).send({43, 0}).sendTimed(1, 60'020);
    check(sender, 4, 212, 0);
}

void TestSenderCounters::timeThatGoesOnAfterSilence_makesTheJumpALoss()
{
    Sender sender;
    sender.sendTimed(42, 60'000).send({43}).pause(2s).send({0});
    check(sender, 3, 0, 1); // as far as one can know
    sender.sendTimed(1, 62'020);
    check(sender, 4, 212, 0);
}

void TestSenderCounters::restart_inTheMiddleOfLosses_isTheFurthestJump()
{
    Sender sender;
    sender.sendTimed(40, 60'000).send({42, 43}).send({0, 1, 3, 4}).sendTimed(5, 100);
    check(sender, 8, 2, 1);
}

void TestSenderCounters::restart_afterAGreaterLoss_isNotTheLoss()
{
    Sender sender;
    sender.sendTimed(0, 60'000).send({100}).sendTimed(101, 60'020).send({110}).sendTimed(111, 50);
    check(sender, 5, 99, 1);
}

void TestSenderCounters::restart_afterSilence_leavesTheLossBeforeItALoss()
{
    Sender sender;
    sender.sendTimed(100, 60'000).send({110}).pause(2s).send({0});
    check(sender, 3, 9, 1);
}

void TestSenderCounters::restart_atTheNextNumber_isARestart()
{
    Sender sender;
    sender.sendTimed(254, 60'000).send({255}).sendTimed(0, 100);
    check(sender, 3, 0, 1);
}

void TestSenderCounters::timeOfAnOvertakenFrame_isNoStepBack()
{
    Sender sender;
    sender.sendTimed(1, 60'000).sendTimed(3, 60'100).sendTimed(2, 59'101).sendTimed(4, 60'150);
    check(sender, 4, 0, 0);
    sender.sendTimed(5, 59'150);
    check(sender, 5, 0, 1);
}

void TestSenderCounters::secondRestart_beforeAnyTime_isCounted()
{
    Sender sender;
    sender.sendTimed(100, 60'000).pause(2s).send({0, 1, 2}).pause(2s).send({0, 1});
    check(sender, 6, 0, 2);
    sender.sendTimed(2, 300);
    check(sender, 7, 0, 2);
}

void TestSenderCounters::newConnection_costsNothing()
{
    Sender sender;
    sender.sendTimed(1, 60'000).send({3});
    sender.counters.beginAnew();
    sender.pause(3s).send({90}).sendTimed(91, 63'000);
    check(sender, 4, 1, 0);
}

void TestSenderCounters::newConnection_leavesARestartARestart()
{
    Sender sender;
    sender.sendTimed(100, 60'000).pause(2s).send({0, 1});
    sender.counters.beginAnew();
    check(sender, 3, 0, 1);
    sender.send({90}).sendTimed(91, 5000);
    check(sender, 5, 0, 1);
}

void TestSenderCounters::percent_isOfWhatWasSent()
{
    Sender sender;
    QCOMPARE(sender.counters.lossPercent(), 0.0);
    sender.send({1, 3, 4});
    QCOMPARE(sender.counters.lossPercent(), 25.0);
}

QTEST_GUILESS_MAIN(TestSenderCounters)
#include "tst_sendercounters.moc"
