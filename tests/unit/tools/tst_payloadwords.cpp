// SPDX-License-Identifier: MIT
#include "common/payloadwords.h"

#include <QtTest>

class TestPayloadWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void printableBytes_areAText_data();
    void printableBytes_areAText();
    void otherBytes_areNoText_data();
    void otherBytes_areNoText();
    void rangeStatus_data();
    void rangeStatus();
};

void TestPayloadWords::printableBytes_areAText_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("ASCII") << QByteArray("hello world");
    QTest::newRow("two bytes a character") << QByteArray("gr\xc3\xbc\xc3\x9f");
    QTest::newRow("four bytes a character") << QByteArray("\xf0\x9f\x9a\x81");
}

void TestPayloadWords::printableBytes_areAText()
{
    QFETCH(QByteArray, bytes);
    QCOMPARE(PayloadWords::text(bytes), std::make_optional(QString::fromUtf8(bytes)));
}

void TestPayloadWords::otherBytes_areNoText_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("none") << QByteArray();
    QTest::newRow("NUL in it") << QByteArray("ab\0cd", 5);
    QTest::newRow("line end") << QByteArray("ab\n");
    QTest::newRow("escape") << QByteArray("\x1b[2J");
    QTest::newRow("no UTF-8") << QByteArray("\xff\xfe");
    QTest::newRow("cut short") << QByteArray("\xc3");
}

void TestPayloadWords::otherBytes_areNoText()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(!PayloadWords::text(bytes));
}

void TestPayloadWords::rangeStatus_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("words");
    QTest::newRow("0") << 0 << "in range";
    QTest::newRow("1") << 1 << "above the maximum";
    QTest::newRow("2") << 2 << "below the minimum";
    QTest::newRow("3") << 3 << "status 3";
    QTest::newRow("4") << 4 << "no reading yet";
}

void TestPayloadWords::rangeStatus()
{
    QFETCH(int, status);
    QTEST(PayloadWords::rangeStatus(status), "words");
}

QTEST_GUILESS_MAIN(TestPayloadWords)
#include "tst_payloadwords.moc"
