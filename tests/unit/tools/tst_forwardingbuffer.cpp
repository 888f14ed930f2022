// SPDX-License-Identifier: MIT
#include "sim/forwardingbuffer.h"

#include <QtTest>

using namespace std::chrono_literals;
using Time = ForwardingBuffer::Time;

namespace {

struct Arrivals
{
    int count;
    Time gap;
    Time first; // after the start of a round
};

// How many of the frames pass, with a round every 7 ms.
int countPassed(const Arrivals &arrivals)
{
    ForwardingBuffer buffer(0ms);
    Time nextRound = ForwardingBuffer::roundPeriod;
    int passed = 0;
    for (int i = 0; i < arrivals.count; ++i) {
        const Time now = arrivals.first + i * arrivals.gap;
        for (; nextRound <= now; nextRound += ForwardingBuffer::roundPeriod)
            buffer.takeRound(nextRound);
        passed += buffer.push("frame", now) ? 1 : 0;
    }
    return passed;
}

} // namespace

Q_DECLARE_METATYPE(Time)

class TestForwardingBuffer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void round_takesEverythingInOrder();
    void thirdFrame_ofAnySize_isLost();
    void framesInARow_passAsMeasured_data();
    void framesInARow_passAsMeasured();
    void roundsSleptThrough_countAsHavingBeen();
    void longSleep_leavesRoomForAHundredRounds();
};

void TestForwardingBuffer::round_takesEverythingInOrder()
{
    ForwardingBuffer buffer(0ms);
    QVERIFY(buffer.push("a", 1ms));
    QVERIFY(buffer.push("b", 2ms));
    QCOMPARE(buffer.takeRound(7ms), (QVector<QByteArray>{"a", "b"}));
    QVERIFY(buffer.takeRound(14ms).isEmpty());
}

void TestForwardingBuffer::thirdFrame_ofAnySize_isLost()
{
    ForwardingBuffer buffer(0ms);
    QVERIFY(buffer.push(QByteArray(280, 'x'), 1ms));
    QVERIFY(buffer.push(QByteArray(280, 'x'), 1ms));
    QVERIFY(!buffer.push("x", 1ms));
    QCOMPARE(buffer.takeRound(7ms).size(), 2);
    QVERIFY(buffer.push("x", 8ms));
}

void TestForwardingBuffer::framesInARow_passAsMeasured_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<Time>("gap");
    QTest::addColumn<int>("fewest");
    QTest::addColumn<int>("most");
    QTest::newRow("3 back to back") << 3 << Time(0) << 2 << 3;
    QTest::newRow("100 back to back") << 100 << Time(0) << 2 << 3;
    QTest::newRow("50, 1 ms apart") << 50 << Time(1ms) << 14 << 20;
    QTest::newRow("50, 2 ms apart") << 50 << Time(2ms) << 25 << 30;
    QTest::newRow("50, 3 ms apart") << 50 << Time(3ms) << 38 << 44;
    QTest::newRow("50, 5 ms apart") << 50 << Time(5ms) << 50 << 50;
}

void TestForwardingBuffer::framesInARow_passAsMeasured()
{
    QFETCH(int, count);
    QFETCH(Time, gap);
    QFETCH(int, fewest);
    QFETCH(int, most);
    for (Time first = 0ms; first < ForwardingBuffer::roundPeriod; first += 100us) {
        const int passed = countPassed({count, gap, first});
        QVERIFY2(passed >= fewest && passed <= most, qPrintable(QString::number(passed)));
    }
}

void TestForwardingBuffer::roundsSleptThrough_countAsHavingBeen()
{
    ForwardingBuffer buffer(0ms);
    for (int i = 0; i < 6; ++i)
        QVERIFY(buffer.push("x", 21ms));
    QVERIFY(!buffer.push("x", 21ms));
    QCOMPARE(buffer.takeRound(22ms).size(), 6);
    for (int i = 0; i < 6; ++i)
        QVERIFY(buffer.push("x", 23ms));
    QVERIFY(!buffer.push("x", 23ms));
    buffer.takeRound(29ms);
    QVERIFY(buffer.push("x", 30ms) && buffer.push("x", 30ms) && !buffer.push("x", 30ms));
}

void TestForwardingBuffer::longSleep_leavesRoomForAHundredRounds()
{
    ForwardingBuffer buffer(0ms);
    int passed = 0;
    while (buffer.push("x", 1h))
        ++passed;
    QCOMPARE(passed, 200);
}

QTEST_GUILESS_MAIN(TestForwardingBuffer)
#include "tst_forwardingbuffer.moc"
