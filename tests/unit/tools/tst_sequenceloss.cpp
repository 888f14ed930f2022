// SPDX-License-Identifier: MIT
#include "host/sequenceloss.h"

#include <QtTest>

#include <numeric>
#include <random>
#include <vector>

using Numbers = QVector<int>;

Q_DECLARE_METATYPE(Numbers)

namespace {

constexpr int Window = SequenceLoss::Window;

Numbers range(int first, int count)
{
    Numbers numbers(count);
    std::iota(numbers.begin(), numbers.end(), first);
    return numbers;
}

SequenceLoss counted(const Numbers &numbers)
{
    SequenceLoss loss;
    for (const int number : numbers)
        loss.take(static_cast<quint8>(number));
    return loss;
}

Numbers withSwap(int distance)
{
    Numbers numbers = range(100, 300);
    numbers.move(50, 50 + distance);
    return numbers;
}

} // namespace

class TestSequenceLoss : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void numbers_data();
    void numbers();
    void frameLateByUpToTheWindow_isNoLoss();
    void frameLateByMore_isTakenForALoss();
    void randomLoss_isCountedExactly_data();
    void randomLoss_isCountedExactly();
    void afterASilence_nothingIsLate();
    void newBeginning_costsNothing();
    void swapAtANewBeginning_isNoLoss();
    void offset_isHowFarOffTheNextOne_data();
    void offset_isHowFarOffTheNextOne();
};

void TestSequenceLoss::numbers_data()
{
    QTest::addColumn<Numbers>("numbers");
    QTest::addColumn<int>("received");
    QTest::addColumn<int>("lost");
    QTest::addColumn<int>("duplicates");
    QTest::addColumn<int>("late");
    QTest::newRow("none") << Numbers() << 0 << 0 << 0 << 0;
    QTest::newRow("one, whatever it is") << Numbers{77} << 1 << 0 << 0 << 0;
    QTest::newRow("in order") << range(3, 100) << 100 << 0 << 0 << 0;
    QTest::newRow("four rounds") << range(3, 1024) << 1024 << 0 << 0 << 0;
    QTest::newRow("wrap") << Numbers{254, 255, 0, 1} << 4 << 0 << 0 << 0;
    QTest::newRow("gap") << Numbers{1, 2, 5} << 3 << 2 << 0 << 0;
    QTest::newRow("gap up to the wrap") << Numbers{253, 0} << 2 << 2 << 0 << 0;
    QTest::newRow("gap from the wrap") << Numbers{255, 2} << 2 << 2 << 0 << 0;
    QTest::newRow("gap over the wrap") << Numbers{250, 5} << 2 << 10 << 0 << 0;
    QTest::newRow("the longest gap that is told") << Numbers{0, 256 - Window - 1} << 2 << 222 << 0 << 0;
    QTest::newRow("a whole round is not seen") << Numbers{9, 10, 10 + 256 + 1} << 3 << 0 << 0 << 0;
    QTest::newRow("a round and four") << Numbers{9, 10, 10 + 256 + 5} << 3 << 4 << 0 << 0;
    QTest::newRow("as a real PX4 swaps") << Numbers{125, 126, 128, 127, 129} << 5 << 0 << 0 << 1;
    QTest::newRow("swap at the wrap") << Numbers{254, 0, 255, 1} << 4 << 0 << 0 << 1;
    QTest::newRow("swap at the beginning") << Numbers{128, 127, 129} << 3 << 0 << 0 << 1;
    QTest::newRow("late at the beginning") << Numbers{128, 125, 129} << 3 << 2 << 0 << 1;
    QTest::newRow("three turned round") << Numbers{1, 4, 3, 2, 5} << 5 << 0 << 0 << 2;
    QTest::newRow("late in a gap") << Numbers{1, 5, 3, 6} << 4 << 2 << 0 << 1;
    QTest::newRow("duplicate") << Numbers{1, 2, 2, 3} << 3 << 0 << 1 << 0;
    QTest::newRow("each twice") << Numbers{254, 254, 255, 255, 0, 0} << 3 << 0 << 3 << 0;
    QTest::newRow("duplicate that is late") << Numbers{1, 2, 3, 4, 2, 5} << 5 << 0 << 1 << 0;
    QTest::newRow("duplicate as late as can be") << Numbers{0, Window, 0} << 2 << Window - 1 << 1 << 0;
    QTest::newRow("late one twice") << Numbers{1, 3, 2, 2, 4} << 4 << 0 << 1 << 1;
    QTest::newRow("always the same") << Numbers(100, 7) << 1 << 0 << 99 << 0;
}

void TestSequenceLoss::numbers()
{
    QFETCH(Numbers, numbers);
    const SequenceLoss loss = counted(numbers);
    QTEST(int(loss.received()), "received");
    QTEST(int(loss.lost()), "lost");
    QTEST(int(loss.duplicates()), "duplicates");
    QTEST(int(loss.late()), "late");
}

void TestSequenceLoss::frameLateByUpToTheWindow_isNoLoss()
{
    for (int distance = 1; distance <= Window; ++distance) {
        const SequenceLoss loss = counted(withSwap(distance));
        QCOMPARE(loss.received(), qint64(300));
        QCOMPARE(loss.lost(), qint64(0));
        QCOMPARE(loss.duplicates(), qint64(0));
        QCOMPARE(loss.late(), qint64(1));
    }
}

void TestSequenceLoss::frameLateByMore_isTakenForALoss()
{
    const SequenceLoss loss = counted(withSwap(Window + 1));
    QCOMPARE(loss.received(), qint64(300));
    QCOMPARE(loss.lost(), qint64(256)); // a gap to it, and one back
}

void TestSequenceLoss::randomLoss_isCountedExactly_data()
{
    QTest::addColumn<int>("percent");
    QTest::newRow("1 %") << 1;
    QTest::newRow("10 %") << 10;
    QTest::newRow("50 %") << 50;
    QTest::newRow("90 %") << 90;
}

// Of what is lost at the ends nothing can be known.
void TestSequenceLoss::randomLoss_isCountedExactly()
{
    QFETCH(int, percent);
    std::mt19937 generator(20261122);
    SequenceLoss loss;
    qint64 received = 0;
    qint64 lost = 0;
    qint64 lostSinceTheLast = 0;
    for (int i = 0; i < 100'000; ++i) {
        if (generator() % 100 < static_cast<unsigned>(percent)) {
            ++lostSinceTheLast;
            continue;
        }
        loss.take(static_cast<quint8>(i));
        lost += received++ > 0 ? lostSinceTheLast : 0;
        lostSinceTheLast = 0;
    }
    QVERIFY(lost > 0);
    QCOMPARE(loss.received(), received);
    QCOMPARE(loss.lost(), lost);
    QCOMPARE(loss.duplicates(), qint64(0));
}

void TestSequenceLoss::afterASilence_nothingIsLate()
{
    SequenceLoss loss = counted({1, 2, 3, 4});
    loss.take(2, false);
    QCOMPARE(loss.lost(), qint64(253));
    loss.take(2, false);
    QCOMPARE(loss.lost(), qint64(253));
    QCOMPARE(loss.duplicates(), qint64(1));
}

void TestSequenceLoss::newBeginning_costsNothing()
{
    SequenceLoss loss = counted({1, 2, 5});
    loss.beginAnew();
    for (const quint8 number : {200, 201, 203})
        loss.take(number);
    QCOMPARE(loss.received(), qint64(6));
    QCOMPARE(loss.lost(), qint64(3));
}

void TestSequenceLoss::swapAtANewBeginning_isNoLoss()
{
    SequenceLoss loss = counted(range(0, 100));
    loss.beginAnew();
    for (const quint8 number : {200, 198, 199, 201})
        loss.take(number);
    QCOMPARE(loss.received(), qint64(104));
    QCOMPARE(loss.lost(), qint64(0));
}

void TestSequenceLoss::offset_isHowFarOffTheNextOne_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("offset");
    const auto row = [](const char *name, int number, int offset) {
        QTest::newRow(name) << number << offset;
    };
    row("next", 201, 0);
    row("one lost", 202, 1);
    row("newest again", 200, -1);
    row("before the newest", 199, -2);
    row("over the wrap", 3, 58);
    row("furthest ahead", (201 + 128) % 256, 128);
    row("furthest back", (201 + 129) % 256, -127);
}

void TestSequenceLoss::offset_isHowFarOffTheNextOne()
{
    QFETCH(int, number);
    QCOMPARE(SequenceLoss().offset(static_cast<quint8>(number)), 0);
    QTEST(counted({199, 200}).offset(static_cast<quint8>(number)), "offset");
}

QTEST_GUILESS_MAIN(TestSequenceLoss)
#include "tst_sequenceloss.moc"
