// SPDX-License-Identifier: MIT
#include "ground/payloadgaps.h"

#include <QtTest>

class TestPayloadGaps : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ids_giveTheMissingOnes_data();
    void ids_giveTheMissingOnes();
};

void TestPayloadGaps::ids_giveTheMissingOnes_data()
{
    QTest::addColumn<QVector<int>>("ids");
    QTest::addColumn<int>("missing");
    QTest::newRow("none") << QVector<int>{} << 0;
    QTest::newRow("first") << QVector<int>{700} << 0;
    QTest::newRow("in a row") << QVector<int>{7, 8, 9} << 0;
    QTest::newRow("a gap") << QVector<int>{7, 10, 11, 13} << 3;
    QTest::newRow("wrapped") << QVector<int>{65534, 65535, 0, 2} << 1;
    QTest::newRow("overtaken") << QVector<int>{7, 9, 8, 10} << 0;
    QTest::newRow("twice") << QVector<int>{7, 7, 8} << 0;
    QTest::newRow("started again") << QVector<int>{5000, 0, 1, 3} << 1;
    QTest::newRow("far ahead") << QVector<int>{0, 1000, 1001} << 0;
}

void TestPayloadGaps::ids_giveTheMissingOnes()
{
    QFETCH(QVector<int>, ids);
    PayloadGaps gaps;
    for (const int id : qAsConst(ids))
        gaps.add(static_cast<quint16>(id));
    QCOMPARE(gaps.count(), qint64(ids.size()));
    QFETCH(int, missing);
    QCOMPARE(gaps.missing(), qint64(missing));
}

QTEST_GUILESS_MAIN(TestPayloadGaps)
#include "tst_payloadgaps.moc"
