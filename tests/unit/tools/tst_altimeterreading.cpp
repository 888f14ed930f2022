// SPDX-License-Identifier: MIT
#include "ground/altimeterreading.h"

#include <QtTest>

class TestAltimeterReading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void altimeterStatus_isRead();
    void otherPayloads_areNot_data();
    void otherPayloads_areNot();
};

void TestAltimeterReading::altimeterStatus_isRead()
{
    const auto status =
        readAltimeterStatus({0, MessageId{1}, PayloadId{4}, QByteArray::fromHex("07000000c03f03")});
    QVERIFY(status);
    QCOMPARE(status->value, 1.5f);
    QCOMPARE(int(status->status), 3);
}

void TestAltimeterReading::otherPayloads_areNot_data()
{
    QTest::addColumn<int>("message");
    QTest::addColumn<int>("payload");
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("message") << 2 << 4 << QByteArray("07000000c03f03");
    QTest::newRow("payload") << 1 << 5 << QByteArray("07000000c03f03");
    QTest::newRow("tag") << 1 << 4 << QByteArray("08000000c03f03");
    QTest::newRow("too short") << 1 << 4 << QByteArray("07000000c03f");
    QTest::newRow("too long") << 1 << 4 << QByteArray("07000000c03f0300");
}

void TestAltimeterReading::otherPayloads_areNot()
{
    QFETCH(int, message);
    QFETCH(int, payload);
    QFETCH(QByteArray, hex);
    QVERIFY(!readAltimeterStatus({0, MessageId(message), PayloadId(payload), QByteArray::fromHex(hex)}));
}

QTEST_GUILESS_MAIN(TestAltimeterReading)
#include "tst_altimeterreading.moc"
