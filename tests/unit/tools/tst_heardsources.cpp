// SPDX-License-Identifier: MIT
#include "sim/heardsources.h"

#include <QtTest>

class TestHeardSources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nobodyHeard_isEmpty();
    void heardComponent_isKnown_othersAreNot();
    void componentZero_standsForAnyOfTheSystem();
};

void TestHeardSources::nobodyHeard_isEmpty()
{
    const HeardSources heard;
    QVERIFY(heard.isEmpty());
    QVERIFY(!heard.hasSystem(255));
    QVERIFY(!heard.hasComponent(255, 0));
}

void TestHeardSources::heardComponent_isKnown_othersAreNot()
{
    HeardSources heard;
    heard.add(255, 190);
    heard.add(2, 5);
    QVERIFY(!heard.isEmpty());
    QVERIFY(heard.hasSystem(255) && heard.hasSystem(2) && !heard.hasSystem(1));
    QVERIFY(heard.hasComponent(255, 190) && heard.hasComponent(2, 5));
    QVERIFY(!heard.hasComponent(255, 5) && !heard.hasComponent(2, 190));
}

void TestHeardSources::componentZero_standsForAnyOfTheSystem()
{
    HeardSources heard;
    heard.add(255, 190);
    QVERIFY(heard.hasComponent(255, 0));
    QVERIFY(!heard.hasComponent(2, 0));
}

QTEST_GUILESS_MAIN(TestHeardSources)
#include "tst_heardsources.moc"
