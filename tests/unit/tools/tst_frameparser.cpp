// SPDX-License-Identifier: MIT
#include "sim/frameparser.h"

#include "simfixture.h"

#include <QtTest>

namespace {

// From 2/5, encoded by another program than ours.
QByteArray extensionTo255()
{
    return QByteArray::fromHex("fd0d0000000205f80000fb0000ffbe01020304050607085c60");
}

QByteArray extensionTo255WithZerosLeftIn()
{
    return QByteArray::fromHex("fd0a0000090205f80000fb0000ffbe070000000065e6");
}

QByteArray extensionToAllCutInTheHeader()
{
    return QByteArray::fromHex("fd010000000205f80000fbe857");
}

QByteArray data16()
{
    return QByteArray::fromHex("fd050000000205a9000001030102037947");
}

QByteArray version1CommandTo1()
{
    return QByteArray::fromHex(
        "fe210002054c0000803f000000000000000000000000000000000000000000000000900101be006ac3");
}

QByteArray withWrongChecksum(QByteArray frame)
{
    frame.data()[frame.size() - 1] ^= 1;
    return frame;
}

QByteArray ofAnUnknownMessage()
{
    return QByteArray::fromHex("fd030000090101fafaf9010203abcd");
}

} // namespace

class TestFrameParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void goodFrame_isTakenAsItCame_data();
    void goodFrame_isTakenAsItCame();
    void source_isThatOfTheFrame();
    void bytesOneByOne_giveTheSameFrames();
    void rubbishBetweenFrames_isSkipped();
    void badFrame_isCountedAndDropped_data();
    void badFrame_isCountedAndDropped();
    void twoParsers_keepTheirHalvesApart();
    void rubbishWithoutEnd_isNotKept();
};

void TestFrameParser::goodFrame_isTakenAsItCame_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("messageId");
    QTest::addColumn<int>("targetSystem");
    QTest::addColumn<int>("targetComponent");
    QTest::newRow("to a component") << extensionTo255() << 248 << 255 << 190;
    QTest::newRow("zeros left in") << extensionTo255WithZerosLeftIn() << 248 << 255 << 190;
    QTest::newRow("cut before the target") << extensionToAllCutInTheHeader() << 248 << 0 << 0;
    QTest::newRow("without a target") << data16() << 169 << 0 << 0;
    QTest::newRow("version 1") << version1CommandTo1() << 76 << 1 << 190;
    QTest::newRow("heartbeat") << Frames::version2() << 0 << 0 << 0;
    QTest::newRow("version 1 heartbeat") << Frames::version1() << 0 << 0 << 0;
    QTest::newRow("signed") << Frames::signedVersion2() << 0 << 0 << 0;
}

void TestFrameParser::goodFrame_isTakenAsItCame()
{
    QFETCH(QByteArray, frame);
    FrameParser parser;
    const QVector<ReceivedFrame> frames = parser.parse(frame);
    QCOMPARE(frames.size(), 1);
    QCOMPARE(frames[0].bytes, frame);
    QTEST(int(frames[0].messageId), "messageId");
    QTEST(int(frames[0].targetSystem), "targetSystem");
    QTEST(int(frames[0].targetComponent), "targetComponent");
    QCOMPARE(parser.badFrames(), qint64(0));
}

void TestFrameParser::source_isThatOfTheFrame()
{
    FrameParser parser;
    const QVector<ReceivedFrame> frames = parser.parse(data16() + Frames::version1());
    QCOMPARE(frames.size(), 2);
    QCOMPARE(int(frames[0].system), 2);
    QCOMPARE(int(frames[0].component), 5);
    QCOMPARE(int(frames[1].system), 1);
    QCOMPARE(int(frames[1].component), 1);
}

void TestFrameParser::bytesOneByOne_giveTheSameFrames()
{
    const QByteArray stream = extensionTo255() + Frames::signedVersion2() + version1CommandTo1();
    FrameParser parser;
    QByteArray got;
    for (const char byte : stream) {
        const QVector<ReceivedFrame> frames = parser.parse(QByteArray(1, byte));
        for (const ReceivedFrame &frame : frames)
            got += frame.bytes;
    }
    QCOMPARE(got, stream);
}

void TestFrameParser::rubbishBetweenFrames_isSkipped()
{
    FrameParser parser;
    const QVector<ReceivedFrame> frames = parser.parse("0 0 0 " + data16() + "\r\n" + extensionTo255());
    QCOMPARE(frames.size(), 2);
    QCOMPARE(frames[0].bytes, data16());
    QCOMPARE(frames[1].bytes, extensionTo255());
}

void TestFrameParser::badFrame_isCountedAndDropped_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("wrong checksum") << withWrongChecksum(extensionTo255());
    QTest::newRow("version 1, wrong checksum") << withWrongChecksum(Frames::version1());
    QTest::newRow("unknown message") << ofAnUnknownMessage();
}

void TestFrameParser::badFrame_isCountedAndDropped()
{
    QFETCH(QByteArray, frame);
    FrameParser parser;
    const QVector<ReceivedFrame> frames = parser.parse(frame + data16());
    QCOMPARE(frames.size(), 1);
    QCOMPARE(frames[0].bytes, data16());
    QCOMPARE(parser.badFrames(), qint64(1));
}

void TestFrameParser::twoParsers_keepTheirHalvesApart()
{
    FrameParser one;
    FrameParser other;
    QVERIFY(one.parse(extensionTo255().left(12)).isEmpty());
    QVERIFY(other.parse(data16().left(12)).isEmpty());
    QCOMPARE(one.parse(extensionTo255().mid(12)).value(0).bytes, extensionTo255());
    QCOMPARE(other.parse(data16().mid(12)).value(0).bytes, data16());
}

void TestFrameParser::rubbishWithoutEnd_isNotKept()
{
    FrameParser parser;
    QVERIFY(parser.parse(QByteArray(1'000'000, 'x')).isEmpty());
    QCOMPARE(parser.parse(data16()).size(), 1);
    QCOMPARE(parser.badFrames(), qint64(0));
}

QTEST_GUILESS_MAIN(TestFrameParser)
#include "tst_frameparser.moc"
