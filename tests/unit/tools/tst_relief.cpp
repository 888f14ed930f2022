// SPDX-License-Identifier: MIT
#include "sim/relief.h"

#include <QtTest>

class TestRelief : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void origin_isLevelAndZero();
    void hills_areGentleAndLow();
};

void TestRelief::origin_isLevelAndZero()
{
    QCOMPARE(groundHeightM(0, 0), 0.0);
    QVERIFY(qAbs(groundHeightM(1, 1)) < 0.01);
}

void TestRelief::hills_areGentleAndLow()
{
    double highest = 0;
    double steepest = 0;
    for (int north = -200; north <= 200; ++north) {
        for (int east = -200; east <= 200; ++east) {
            const double height = groundHeightM(north, east);
            highest = qMax(highest, qAbs(height));
            steepest = qMax(steepest, qAbs(groundHeightM(north + 1, east) - height));
        }
    }
    QVERIFY(highest > 1 && highest <= 2);
    QVERIFY(steepest < 0.15);
}

QTEST_GUILESS_MAIN(TestRelief)
#include "tst_relief.moc"
