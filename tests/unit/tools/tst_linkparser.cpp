// SPDX-License-Identifier: MIT
#include "host/linkparser.h"

#include "autopilot/support/goldenframes.h"

#include <QtTest>

namespace {

QByteArray heartbeat()
{
    return QByteArray::fromHex(Golden::Px4Heartbeat);
}

QByteArray heartbeatMavlink1()
{
    return QByteArray::fromHex(Golden::Px4HeartbeatMavlink1);
}

QByteArray signedHeartbeat()
{
    return QByteArray::fromHex(Golden::OwnHeartbeatSigned);
}

QByteArray withByte(QByteArray frame, int index, int value)
{
    frame[index] = static_cast<char>(value);
    return frame;
}

QByteArray withFlippedBit(QByteArray frame, int index)
{
    frame[index] = static_cast<char>(frame[index] ^ 0x10);
    return frame;
}

/// A message of MAVLink 2 with a checksum that is right for some message of this id.
QByteArray frameWithId(quint32 id, quint8 checksumExtra = 99)
{
    QByteArray frame = QByteArray::fromHex("fd0300002a0101000000616263");
    for (int i = 0; i < 3; ++i)
        frame[7 + i] = static_cast<char>(id >> 8 * i);
    quint16 checksum = mavlink::crc_calculate(reinterpret_cast<const quint8 *>(frame.constData()) + 1,
                                              static_cast<quint16>(frame.size() - 1));
    mavlink::crc_accumulate(checksumExtra, &checksum);
    return frame + static_cast<char>(checksum & 0xff) + static_cast<char>(checksum >> 8);
}

/// Wrong, but right for an unknown message of the same bytes.
QByteArray withForeignChecksum(QByteArray frame)
{
    const int end = frame.size() - 2;
    quint16 checksum =
        static_cast<quint16>(static_cast<quint8>(frame[end]) | static_cast<quint8>(frame[end + 1]) << 8);
    mavlink::crc_accumulate(7, &checksum);
    frame[end] = static_cast<char>(checksum & 0xff);
    frame[end + 1] = static_cast<char>(checksum >> 8);
    return frame;
}

struct Counts
{
    int frames = 0;
    int bad = 0;
    int unknown = 0;
};

Counts feed(LinkParser &parser, const QByteArray &bytes)
{
    Counts counts;
    for (const char byte : bytes) {
        const LinkParser::Outcome outcome = parser.take(static_cast<quint8>(byte));
        counts.frames += outcome == LinkParser::Outcome::Frame ? 1 : 0;
        counts.bad += outcome == LinkParser::Outcome::BadChecksum ? 1 : 0;
        counts.unknown += outcome == LinkParser::Outcome::UnknownId ? 1 : 0;
    }
    return counts;
}

} // namespace

class TestLinkParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stream_data();
    void stream();
    void goodFrame_isTheMessage();
    void unknownMessage_tellsItsSender();
    void unknownMessage_whateverItsChecksumExtra_isTold();
    void wrongChecksums_ofAnUnknownId_areMostlyTold();
    void begunFrame_isNotJudged();
};

void TestLinkParser::stream_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("bad");
    QTest::addColumn<int>("unknown");
    QTest::addColumn<int>("stray");
    QTest::addColumn<int>("begun");
    const auto row = [](const char *name, const QByteArray &bytes, const Counts &counts, int stray,
                        int begun = 0) {
        QTest::newRow(name) << bytes << counts.frames << counts.bad << counts.unknown << stray << begun;
    };
    const QByteArray damaged = withFlippedBit(heartbeat(), 12);
    const QByteArray foreignFlags = QByteArray::fromHex("fd09fd");
    row("nothing", {}, {}, 0);
    row("MAVLink 2", heartbeat(), {1, 0, 0}, 0);
    row("MAVLink 1", heartbeatMavlink1(), {1, 0, 0}, 0);
    row("signed", signedHeartbeat(), {1, 0, 0}, 0);
    row("stray bytes of a boot", "0 0 0 ", {}, 6);
    row("stray bytes before, between and after", "ab" + heartbeat() + 'c' + heartbeat() + "de", {2, 0, 0}, 5);
    row("damaged", damaged, {0, 1, 0}, 0);
    row("damaged, then a good one", damaged + heartbeat(), {1, 1, 0}, 0);
    row("damaged start marker", withByte(heartbeat(), 0, 0x7d) + heartbeat(), {1, 0, 0}, heartbeat().size());
    row("begun with foreign flags", foreignFlags + "xy", {}, 5);
    row("begun with foreign flags, the last a marker", foreignFlags + heartbeat(), {1, 0, 0}, 3);
    row("cut short: the next one is a part of it", heartbeat().left(15) + heartbeat() + heartbeat(),
        {1, 1, 0}, 15);
    row("longer than it is", withByte(heartbeat(), 1, 15) + heartbeat() + heartbeat(), {1, 1, 0}, 15);
    row("signed and damaged: the signature is stray", withFlippedBit(signedHeartbeat(), 12), {0, 1, 0}, 13);
    row("damaged up to a last byte that begins the next one, read as one", withByte(damaged, 20, 0xfd),
        {0, 1, 0}, 0, 1);
    row("and swallows the next one's marker", withByte(damaged, 20, 0xfd) + heartbeat(), {0, 1, 0},
        1 + heartbeat().size());
    row("of which the next one may lack its marker", withByte(damaged, 20, 0xfd) + heartbeat().mid(1),
        {1, 1, 0}, 0);
    row("known message with a checksum as of an unknown one", withForeignChecksum(heartbeat()), {0, 1, 0}, 0);
    row("unknown message", QByteArray::fromHex(Golden::Unknown), {0, 0, 1}, 0);
    row("unknown message whose last byte is a marker", QByteArray::fromHex(Golden::UnknownEndingInMarker),
        {0, 0, 1}, 0, 1);
    row("unknown message, then a good one", frameWithId(9999) + heartbeat(), {1, 0, 1}, 0);
    row("damaged unknown message", withFlippedBit(frameWithId(9999), 11), {0, 1, 0}, 0);
    row("id damaged to an unknown one", withFlippedBit(heartbeat(), 8), {0, 1, 0}, 0);
    row("begun", heartbeat().left(7), {}, 0, 7);
}

void TestLinkParser::stream()
{
    QFETCH(QByteArray, bytes);
    LinkParser parser;
    const Counts counts = feed(parser, bytes);
    QTEST(counts.frames, "frames");
    QTEST(counts.bad, "bad");
    QTEST(counts.unknown, "unknown");
    QTEST(int(parser.strayBytes()), "stray");
    QTEST(parser.bytesOfBegunFrame(), "begun");
}

void TestLinkParser::goodFrame_isTheMessage()
{
    LinkParser parser;
    feed(parser, heartbeat());
    QCOMPARE(int(parser.message().msgid), 0);
    QCOMPARE(int(parser.message().seq), 7);
    QCOMPARE(int(parser.message().sysid), 1);
    QCOMPARE(int(parser.message().compid), 1);
}

void TestLinkParser::unknownMessage_tellsItsSender()
{
    LinkParser parser;
    feed(parser, frameWithId(9999));
    QCOMPARE(int(parser.message().seq), 42);
    QCOMPARE(int(parser.message().sysid), 1);
    QCOMPARE(int(parser.message().compid), 1);
}

void TestLinkParser::unknownMessage_whateverItsChecksumExtra_isTold()
{
    for (int extra = 0; extra < 256; ++extra) {
        LinkParser parser;
        QCOMPARE(feed(parser, frameWithId(9999, static_cast<quint8>(extra))).unknown, 1);
    }
}

void TestLinkParser::wrongChecksums_ofAnUnknownId_areMostlyTold()
{
    int taken = 0;
    const int end = frameWithId(9999).size() - 2;
    for (int checksum = 0; checksum < 65536; ++checksum) {
        LinkParser parser;
        QByteArray frame = withByte(frameWithId(9999), end, checksum & 0xff);
        frame[end + 1] = static_cast<char>(checksum >> 8);
        taken += feed(parser, frame).unknown;
    }
    QCOMPARE(taken, 256);
}

void TestLinkParser::begunFrame_isNotJudged()
{
    LinkParser parser;
    feed(parser, heartbeat().left(20));
    QCOMPARE(parser.strayBytes(), qint64(0));
    QCOMPARE(feed(parser, heartbeat().mid(20)).frames, 1);
}

QTEST_GUILESS_MAIN(TestLinkParser)
#include "tst_linkparser.moc"
