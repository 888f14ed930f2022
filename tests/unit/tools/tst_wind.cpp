// SPDX-License-Identifier: MIT
#include "sim/wind.h"

#include <QtTest>

#include <cmath>

class TestWind : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void steady_blowsAwayFromWhereItComes();
    void gusts_stayWithinThreeTenths_andChange();
    void still_hasNoGusts();
};

void TestWind::steady_blowsAwayFromWhereItComes()
{
    const Utils::Vector2d westerly = Wind{5, 270}.steady();
    QVERIFY(qAbs(westerly.x) < 1e-9);
    QCOMPARE(westerly.y, 5.0);
}

void TestWind::gusts_stayWithinThreeTenths_andChange()
{
    const Wind wind = {10, 0};
    double strongest = 0;
    double weakest = 0;
    for (int seconds = 0; seconds < 100; ++seconds) {
        const double gust = wind.gust(std::chrono::seconds(seconds)).x;
        strongest = qMax(strongest, gust);
        weakest = qMin(weakest, gust);
    }
    QVERIFY(strongest > 2 && strongest <= 3);
    QVERIFY(weakest < -2 && weakest >= -3);
}

void TestWind::still_hasNoGusts()
{
    QCOMPARE(std::abs(Wind().gust(std::chrono::seconds(3)).x), 0.0);
}

QTEST_GUILESS_MAIN(TestWind)
#include "tst_wind.moc"
