// SPDX-License-Identifier: MIT
#include "ground/pingframe.h"

#include <QtTest>

class TestPingFrame : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void makePing_givesTheFrameOfTheProtocol();
    void read_takesTheVersion_andWhatIsMissingAsIn01_data();
    void read_takesTheVersion_andWhatIsMissingAsIn01();
    void read_ofLessThanATimestamp_givesNothing();
};

void TestPingFrame::makePing_givesTheFrameOfTheProtocol()
{
    QCOMPARE(PingBody::makePing(1767225600000).toHex(), QByteArray("fe0a00a8da769b01000000023cd6"));
}

void TestPingFrame::read_takesTheVersion_andWhatIsMissingAsIn01_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("major");
    QTest::addColumn<int>("minor");
    QTest::newRow("both") << QByteArray::fromHex("040a00a8da769b0100000304") << 3 << 4;
    QTest::newRow("both and more") << QByteArray::fromHex("040b00a8da769b010000030405") << 3 << 4;
    QTest::newRow("no minor") << QByteArray::fromHex("040900a8da769b01000003") << 3 << 1;
    QTest::newRow("none") << QByteArray::fromHex("040800a8da769b010000") << 0 << 1;
}

void TestPingFrame::read_takesTheVersion_andWhatIsMissingAsIn01()
{
    QFETCH(QByteArray, frame);
    const auto body = PingBody::read(OnboardMessage(frame));
    QVERIFY(body);
    QCOMPARE(body->timestampMs, qint64(1767225600000));
    QTEST(int(body->versionMajor), "major");
    QTEST(int(body->versionMinor), "minor");
}

void TestPingFrame::read_ofLessThanATimestamp_givesNothing()
{
    QVERIFY(!PingBody::read(OnboardMessage(QByteArray::fromHex("040700a8da769b0100"))));
    QVERIFY(!PingBody::read(OnboardMessage(QByteArray::fromHex("0400"))));
}

QTEST_GUILESS_MAIN(TestPingFrame)
#include "tst_pingframe.moc"
