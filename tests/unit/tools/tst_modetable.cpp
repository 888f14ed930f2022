// SPDX-License-Identifier: MIT
#include "sim/modetable.h"

#include <QtTest>

class TestModeTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void names_areFound_inAnyCase();
    void numbers_areFound_knownOrNot();
    void otherTexts_areNot();

private:
    const ModeTable table = {{4, QLatin1String("guided")}, {9, QLatin1String("land")}};
};

void TestModeTable::names_areFound_inAnyCase()
{
    QVERIFY(table.find(QStringLiteral("Guided")) == 4U);
    QCOMPARE(table.nameOf(9), QStringLiteral("land"));
    QCOMPARE(table.names(), QStringLiteral("guided, land"));
}

void TestModeTable::numbers_areFound_knownOrNot()
{
    QVERIFY(table.find(QStringLiteral("99")) == 99U);
    QVERIFY(!table.contains(99));
    QVERIFY(table.contains(4));
    QCOMPARE(table.nameOf(99), QStringLiteral("99"));
}

void TestModeTable::otherTexts_areNot()
{
    for (const char *text : {"", "guide", "-1", "4.5", "99999999999"})
        QVERIFY2(!table.find(QLatin1String(text)), text);
}

QTEST_GUILESS_MAIN(TestModeTable)
#include "tst_modetable.moc"
