// SPDX-License-Identifier: MIT
#include "sim/battery.h"

#include <QtTest>

namespace {

void run(Battery *battery, int seconds, bool armed, bool flying)
{
    for (int steps = seconds * 100; steps > 0; --steps)
        battery->step(armed, flying);
}

} // namespace

class TestBattery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void disarmed_itStaysFull();
    void flight_drainsIt();
    void empty_itStaysEmpty();
};

void TestBattery::disarmed_itStaysFull()
{
    Battery battery(12.6);
    run(&battery, 100, false, false);
    QCOMPARE(battery.remaining(), 100);
    QCOMPARE(battery.volts(), 12.6);
    QCOMPARE(battery.amps(), 0.0);
}

void TestBattery::flight_drainsIt()
{
    Battery battery(12.6);
    run(&battery, 60, true, true);
    QVERIFY(qAbs(battery.usedMah() - 28000.0 / 60) < 0.1);
    QCOMPARE(battery.remaining(), 86);
    QVERIFY(battery.volts() < 12.5);
}

void TestBattery::empty_itStaysEmpty()
{
    Battery battery(12.6);
    run(&battery, 600, true, true);
    QCOMPARE(battery.remaining(), 0);
    QVERIFY(qAbs(battery.volts() - 12.6 * 7 / 8) < 1e-9);
}

QTEST_GUILESS_MAIN(TestBattery)
#include "tst_battery.moc"
