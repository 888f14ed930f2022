// SPDX-License-Identifier: MIT
#include "communication/onboardmessage.h"

#include <QtTest>

#include <algorithm>
#include <type_traits>

namespace {

static_assert(!std::is_copy_constructible_v<OnboardMessage> && !std::is_copy_assignable_v<OnboardMessage>);
static_assert(std::is_same_v<decltype(OnboardMessage::data), unsigned char *>);
static_assert(OnboardTelemetry == 2 && OnboardPong == 4 && OnboardData == 252 && OnboardPing == 254);

/// The same checksum bit by bit, from the polynomial.
quint16 crcBitByBit(const QByteArray &bytes)
{
    unsigned int crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? (crc >> 1) ^ 0x8408U : crc >> 1;
    }
    return static_cast<quint16>(crc);
}

} // namespace

class TestOnboardMessage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void crc_ofTheNineDigits_isTheCheckValue();
    void parse_data();
    void parse();
    void parse_shortInput_leavesNoBody();
    void toByteArray_ofAPongWithoutBody_isTheDocumentedFrame();
    void toByteArray_afterTheBodyChanged_carriesAFreshChecksum();
    void toByteArray_isTheWholeFrame_data();
    void toByteArray_isTheWholeFrame();
    void newMessage_isValidWithAZeroBodyAndItsChecksum_data();
    void newMessage_isValidWithAZeroBodyAndItsChecksum();
    void parse_keepsTypeAndLengthOfABodyCutShort();
    void parse_ofNothing_holdsNothing();
    void parse_copiesTheBody();
    void toByteArray_ofAParsedFrame_mendsTheChecksum();
    void updateCrc_ofNothing_changesNothing();
    void longestBody_survivesTheRoundTrip();
};

void TestOnboardMessage::crc_ofTheNineDigits_isTheCheckValue()
{
    OnboardMessage message(0, 0);
    message.crc = 0xFFFF;
    message.updateCrc("123456789", 9);
    QCOMPARE(message.crc, quint16(0x6F91));
}

void TestOnboardMessage::parse_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("nothing") << QByteArray() << false << 0 << QByteArray();
    QTest::newRow("type only") << QByteArray::fromHex("02") << false << 0 << QByteArray();
    QTest::newRow("empty body") << QByteArray::fromHex("0300") << true << 3 << QByteArray();
    QTest::newRow("body cut short") << QByteArray::fromHex("0205AABBCCDD") << false << 2 << QByteArray();
    QTest::newRow("no checksum") << QByteArray::fromHex("0204AABBCCDD") << true << 2
                                 << QByteArray::fromHex("AABBCCDD");
    QTest::newRow("wrong checksum") << QByteArray::fromHex("0202AABB0000") << true << 2
                                    << QByteArray::fromHex("AABB");
    QTest::newRow("bytes behind") << QByteArray::fromHex("FC01AA0000112233") << true << 252
                                  << QByteArray::fromHex("AA");
}

void TestOnboardMessage::parse()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, valid);
    QFETCH(int, type);
    QFETCH(QByteArray, body);

    const OnboardMessage message(bytes);
    QCOMPARE(message.valid, valid);
    QCOMPARE(int(message.type), type);
    if (valid)
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(message.data), message.length), body);
}

void TestOnboardMessage::parse_shortInput_leavesNoBody()
{
    const OnboardMessage message(QByteArray::fromHex("0205AABBCCDD"));
    QVERIFY(!message.data);
}

void TestOnboardMessage::toByteArray_ofAPongWithoutBody_isTheDocumentedFrame()
{
    OnboardMessage message(OnboardPong, 10);
    const QByteArray frame = message.toByteArray();
    QCOMPARE(frame.size(), 14);
    QCOMPARE(frame.left(12), QByteArray::fromHex("040A") + QByteArray(10, '\0'));

    OnboardMessage sum(0, 0);
    sum.crc = 0xFFFF;
    sum.updateCrc(frame.constData(), 12);
    QCOMPARE(quint8(frame[12]), quint8(sum.crc & 0xFF));
    QCOMPARE(quint8(frame[13]), quint8(sum.crc >> 8));
}

void TestOnboardMessage::toByteArray_afterTheBodyChanged_carriesAFreshChecksum()
{
    OnboardMessage message(2, 3);
    const QByteArray before = message.toByteArray();
    message.data[1] = 0x55;
    const QByteArray after = message.toByteArray();
    QVERIFY(before.right(2) != after.right(2));
    const quint16 sent = message.crc;
    message.calcCrc();
    QCOMPARE(message.crc, sent);
}

void TestOnboardMessage::toByteArray_isTheWholeFrame_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("frame");
    const auto row = [](const char *title, int type, const char *body, const char *frame) {
        QTest::newRow(title) << type << QByteArray::fromHex(body) << QByteArray::fromHex(frame);
    };
    row("pong of zeros", 4, "00000000000000000000", "040a00000000000000000000df8d");
    row("no body", 2, "", "020008c3");
    row("one byte", 254, "00", "fe0100c4bc");
    row("high bytes", 252, "ff8001", "fc03ff800165a6");
}

void TestOnboardMessage::toByteArray_isTheWholeFrame()
{
    QFETCH(int, type);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, frame);
    OnboardMessage message(static_cast<quint8>(type), static_cast<quint8>(body.size()));
    std::copy(body.cbegin(), body.cend(), message.data);
    QCOMPARE(message.toByteArray().toHex(), frame.toHex());
    QCOMPARE(message.crc, crcBitByBit(frame.left(frame.size() - 2)));
}

void TestOnboardMessage::newMessage_isValidWithAZeroBodyAndItsChecksum_data()
{
    QTest::addColumn<int>("length");
    for (const int length : {0, 1, 10, 96, 127, 128, 255})
        QTest::addRow("%d", length) << length;
}

void TestOnboardMessage::newMessage_isValidWithAZeroBodyAndItsChecksum()
{
    QFETCH(int, length);
    const OnboardMessage message(200, static_cast<quint8>(length));
    QVERIFY(message.valid);
    QCOMPARE(int(message.type), 200);
    QCOMPARE(int(message.length), length);
    const QByteArray body(length, '\0');
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(message.data), length), body);
    QCOMPARE(message.crc, crcBitByBit('\xC8' + QByteArray(1, static_cast<char>(length)) + body));
}

void TestOnboardMessage::parse_keepsTypeAndLengthOfABodyCutShort()
{
    const OnboardMessage message(QByteArray::fromHex("0205AABBCCDD"));
    QVERIFY(!message.valid);
    QCOMPARE(int(message.type), 2);
    QCOMPARE(int(message.length), 5);
}

void TestOnboardMessage::parse_ofNothing_holdsNothing()
{
    for (const QByteArray &bytes : {QByteArray(), QByteArray("\x02")}) {
        const OnboardMessage message(bytes);
        QVERIFY(!message.valid);
        QVERIFY(!message.data);
    }
}

void TestOnboardMessage::parse_copiesTheBody()
{
    QByteArray bytes = QByteArray::fromHex("FC02AABB");
    const OnboardMessage message(bytes);
    bytes.fill('\0');
    QCOMPARE(int(message.data[0]), 0xAA);
    QCOMPARE(int(message.data[1]), 0xBB);
}

void TestOnboardMessage::toByteArray_ofAParsedFrame_mendsTheChecksum()
{
    OnboardMessage message(QByteArray::fromHex("fc03ff80010000"));
    QCOMPARE(message.toByteArray().toHex(), QByteArray("fc03ff800165a6"));
}

void TestOnboardMessage::updateCrc_ofNothing_changesNothing()
{
    OnboardMessage message(2, 0);
    const quint16 before = message.crc;
    message.updateCrc(nullptr, 0);
    QCOMPARE(message.crc, before);
}

void TestOnboardMessage::longestBody_survivesTheRoundTrip()
{
    OnboardMessage message(2, 255);
    for (int i = 0; i < 255; ++i)
        message.data[i] = static_cast<unsigned char>(i);
    const OnboardMessage parsed(message.toByteArray());
    QVERIFY(parsed.valid);
    QCOMPARE(int(parsed.length), 255);
    QVERIFY(std::equal(message.data, message.data + 255, parsed.data));
}

QTEST_GUILESS_MAIN(TestOnboardMessage)
#include "tst_onboardmessage.moc"
