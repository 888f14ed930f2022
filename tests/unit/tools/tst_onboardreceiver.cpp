// SPDX-License-Identifier: MIT
#include "ground/onboardreceiver.h"
#include "support/logcapture.h"

#include <QtTest>

class TestOnboardReceiver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void pong_isHandedOnWithItsVersion();
    void fragments_inAnyOrder_giveThePayload();
    void framesOfOthers_doNothing_data();
    void framesOfOthers_doNothing();
    void malformedFrames_areCounted_data();
    void malformedFrames_areCounted();
    void partOfAPayload_isOpen_untilItIsWhole();

private:
    static QByteArray frame(quint8 type, const QByteArray &body)
    {
        return static_cast<char>(type) + QByteArray(1, static_cast<char>(body.size())) + body;
    }

    std::unique_ptr<OnboardReceiver> receiver;
    QVector<CompletePayload> payloads;
    QVector<PingBody> pongs;
    QVector<OpenPayloads::Part> givenUp;
};

void TestOnboardReceiver::init()
{
    payloads.clear();
    pongs.clear();
    givenUp.clear();
    receiver = std::make_unique<OnboardReceiver>();
    connect(receiver.get(), &OnboardReceiver::payload, this,
            [this](const CompletePayload &payload) { payloads.append(payload); });
    connect(receiver.get(), &OnboardReceiver::pong, this,
            [this](const PingBody &pong) { pongs.append(pong); });
    connect(&receiver->openPayloads(), &OpenPayloads::givenUp, this,
            [this](const OpenPayloads::Part &part) { givenUp.append(part); });
}

void TestOnboardReceiver::pong_isHandedOnWithItsVersion()
{
    LogCapture log;
    receiver->takeFrame(QByteArray::fromHex("040a00a8da769b0100000002a319"));
    QCOMPARE(pongs.size(), 1);
    QCOMPARE(pongs[0].timestampMs, qint64(1767225600000));
    QCOMPARE(int(pongs[0].versionMinor), 2);
}

void TestOnboardReceiver::fragments_inAnyOrder_giveThePayload()
{
    receiver->takeFrame(frame(2, QByteArray::fromHex("0500070003000104") + "lo"));
    QVERIFY(payloads.isEmpty());
    receiver->takeFrame(frame(2, QByteArray::fromHex("0500070000000104") + "hel"));
    QCOMPARE(payloads.size(), 1);
    QCOMPARE(payloads[0].data, QByteArray("hello"));
    QCOMPARE(payloads[0].id, quint16(7));
    QVERIFY(payloads[0].messageId == MessageId{1} && payloads[0].payloadId == PayloadId{4});
}

void TestOnboardReceiver::framesOfOthers_doNothing_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("a ground's payload") << 252;
    QTest::newRow("a ground's ping") << 254;
    QTest::newRow("not in use") << 3;
}

void TestOnboardReceiver::framesOfOthers_doNothing()
{
    QFETCH(int, type);
    receiver->takeFrame(frame(static_cast<quint8>(type), QByteArray::fromHex("0100070000000104") + "x"));
    QVERIFY(payloads.isEmpty() && pongs.isEmpty());
    QCOMPARE(receiver->malformedFrames(), qint64(0));
}

void TestOnboardReceiver::malformedFrames_areCounted_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("one byte") << QByteArray("\x02");
    QTest::newRow("body cut") << QByteArray::fromHex("0205aabbccdd");
    QTest::newRow("pong without a timestamp") << frame(4, "1234567");
    QTest::newRow("fragment without a header") << frame(2, "1234567");
}

void TestOnboardReceiver::malformedFrames_areCounted()
{
    QFETCH(QByteArray, bytes);
    receiver->takeFrame(bytes);
    QCOMPARE(receiver->malformedFrames(), qint64(1));
    QVERIFY(payloads.isEmpty() && pongs.isEmpty());
}

void TestOnboardReceiver::partOfAPayload_isOpen_untilItIsWhole()
{
    receiver->takeFrame(frame(2, QByteArray::fromHex("0500070003000104") + "lo"));
    receiver->takeFrame(frame(2, QByteArray::fromHex("0500080003000104") + "lo"));
    receiver->takeFrame(frame(2, QByteArray::fromHex("0500080000000104") + "hel"));
    receiver->openPayloads().giveUpAll();
    QCOMPARE(givenUp.size(), 1);
    QCOMPARE(givenUp[0].header.id, quint16(7));
    QCOMPARE(givenUp[0].received, qint64(2));
}

QTEST_GUILESS_MAIN(TestOnboardReceiver)
#include "tst_onboardreceiver.moc"
