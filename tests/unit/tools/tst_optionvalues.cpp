// SPDX-License-Identifier: MIT
#include "sim/optionvalues.h"

#include <QtTest>

class TestOptionValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void amount_isTakenUpToItsLimit();
    void otherTexts_areNoAmount();
    void pair_needsBoth();
};

void TestOptionValues::amount_isTakenUpToItsLimit()
{
    QVERIFY(OptionValues::amount(QStringLiteral("0"), 1) == 0.0);
    QVERIFY(OptionValues::amount(QStringLiteral("1"), 1) == 1.0);
    QVERIFY(OptionValues::amount(QStringLiteral("2.5e1"), 30) == 25.0);
}

void TestOptionValues::otherTexts_areNoAmount()
{
    for (const char *text : {"", "1.01", "-0.1", "nan", "inf", "one", "1 2"})
        QVERIFY2(!OptionValues::amount(QLatin1String(text), 1), text);
}

void TestOptionValues::pair_needsBoth()
{
    const auto pair = OptionValues::pair(QStringLiteral("2.5@10"), 3, 10);
    QVERIFY(pair);
    QCOMPARE(*pair, qMakePair(2.5, 10.0));
    for (const char *text : {"2.5", "2.5@", "@10", "2.5@10@1", "4@10", "2.5@11", "a@b"})
        QVERIFY2(!OptionValues::pair(QLatin1String(text), 3, 10), text);
}

QTEST_GUILESS_MAIN(TestOptionValues)
#include "tst_optionvalues.moc"
