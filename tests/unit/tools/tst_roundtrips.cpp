// SPDX-License-Identifier: MIT
#include "ground/roundtrips.h"

#include <QtTest>

#include <cmath>

using namespace std::chrono_literals;

class TestRoundTrips : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void none_areNotNumbers();
    void oddCount_hasTheMiddleOneAsMedian();
    void evenCount_hasTheMeanOfTheMiddleTwoAsMedian();
    void beyondTheLimit_theMedianForgets_theExtremesDoNot();
};

void TestRoundTrips::none_areNotNumbers()
{
    const RoundTrips times;
    QVERIFY(std::isnan(times.minMs()) && std::isnan(times.medianMs()) && std::isnan(times.maxMs()));
}

void TestRoundTrips::oddCount_hasTheMiddleOneAsMedian()
{
    RoundTrips times;
    for (const auto time : {9ms, 1ms, 2ms})
        times.add(time);
    QCOMPARE(times.minMs(), 1.0);
    QCOMPARE(times.medianMs(), 2.0);
    QCOMPARE(times.maxMs(), 9.0);
}

void TestRoundTrips::evenCount_hasTheMeanOfTheMiddleTwoAsMedian()
{
    RoundTrips times;
    for (const auto time : {4ms, 1ms, 2ms, 100ms})
        times.add(time);
    QCOMPARE(times.medianMs(), 3.0);
}

void TestRoundTrips::beyondTheLimit_theMedianForgets_theExtremesDoNot()
{
    RoundTrips times;
    times.add(1ms);
    for (size_t i = 0; i < RoundTrips::limit; ++i)
        times.add(5ms);
    QCOMPARE(times.minMs(), 1.0);
    QCOMPARE(times.medianMs(), 5.0);
}

QTEST_GUILESS_MAIN(TestRoundTrips)
#include "tst_roundtrips.moc"
