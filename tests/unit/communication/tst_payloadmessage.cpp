// SPDX-License-Identifier: MIT
#include "communication/payloadmessage.h"

#include <QBuffer>
#include <QtTest>

#include <algorithm>
#include <memory>

namespace {

constexpr unsigned int UsualSize = 96;
constexpr int UsualChunk = 88;
const QByteArray Header = QByteArray::fromHex("34127856BC9AFE04");

/// Bytes that tell their places, so that a chunk from the wrong one shows.
QByteArray patternOf(int size)
{
    QByteArray data(size, '\0');
    for (int i = 0; i < size; ++i)
        data[i] = static_cast<char>(i * 7 + i / 251);
    return data;
}

CompletePayload payloadOf(int size)
{
    return {0xBEEF, MessageId(17), PayloadId(253), patternOf(size)};
}

PayloadMessageHeader sampleHeader()
{
    return {0x1234, 0x5678, 0x9ABC, MessageId(0xFE), PayloadId(4)};
}

template <class Value>
QByteArray written(const Value &value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << value;
    return bytes;
}

struct Reading
{
    PayloadMessage fragment;
    QDataStream::Status status = QDataStream::Ok;
};

Reading read(const QByteArray &bytes)
{
    Reading reading;
    QDataStream stream(bytes);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream >> reading.fragment;
    reading.status = stream.status();
    return reading;
}

} // namespace

class TestPayloadMessage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void payload_isCutIntoFullChunksAndARest_data();
    void payload_isCutIntoFullChunksAndARest();
    void payloadOf200Bytes_givesTheDocumentedFragments();
    void largestPayload_gives745Fragments();
    void sizeBeyond16Bits_countsModulo65536_data();
    void sizeBeyond16Bits_countsModulo65536();
    void maximumSize_leavesRoomTo16Bits_data();
    void maximumSize_leavesRoomTo16Bits();
    void fragments_outliveThePayload();
    void header_isLittleEndian();
    void header_writesThroughTheSignOfItsFields();
    void fragment_isHeaderAndBareData();
    void fragment_isReadBack_data();
    void fragment_isReadBack();
    void fragment_readTwice_forgetsTheFirst();
    void streamEndingInTheHeader_isReadPastItsEnd_data();
    void streamEndingInTheHeader_isReadPastItsEnd();
    void streamPositionedInside_isReadFromThere();
    void readData_outlivesTheBytes();
};

void TestPayloadMessage::payload_isCutIntoFullChunksAndARest_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {0, 1, 84, 85, 87, 88, 89, 176, 177, 200, 32767, 32768, 65471, 65472, 65473, 65534})
        QTest::addRow("%d", size) << size;
    QTest::newRow("largest") << 65535;
}

void TestPayloadMessage::payload_isCutIntoFullChunksAndARest()
{
    QFETCH(int, size);
    const CompletePayload payload = payloadOf(size);
    const QVector<PayloadMessage> fragments = PayloadMessage::splitDataBlock(payload, UsualSize);
    QCOMPARE(fragments.size(), (size + UsualChunk - 1) / UsualChunk);
    QByteArray joined;
    for (const PayloadMessage &fragment : fragments) {
        QCOMPARE(int(fragment.header.total), size);
        QCOMPARE(fragment.header.id, quint16(0xBEEF));
        QCOMPARE(int(fragment.header.offset), joined.size());
        QCOMPARE(fragment.header.messageId, MessageId(17));
        QCOMPARE(fragment.header.payloadId, PayloadId(253));
        QCOMPARE(fragment.data.size(), std::min(size - joined.size(), UsualChunk));
        joined += fragment.data;
    }
    QCOMPARE(joined, payload.data);
}

void TestPayloadMessage::payloadOf200Bytes_givesTheDocumentedFragments()
{
    const CompletePayload payload{7, MessageId(1), PayloadId(4), patternOf(200)};
    const QVector<PayloadMessage> fragments = PayloadMessage::splitDataBlock(payload, UsualSize);
    QCOMPARE(fragments.size(), 3);
    QCOMPARE(written(fragments[0]), QByteArray::fromHex("C800070000000104") + payload.data.mid(0, 88));
    QCOMPARE(written(fragments[1]), QByteArray::fromHex("C800070058000104") + payload.data.mid(88, 88));
    QCOMPARE(written(fragments[2]), QByteArray::fromHex("C8000700B0000104") + payload.data.mid(176, 24));
}

// Offsets kept to 16 bits would go round for ever here: 65472 + 88 is 24 then.
void TestPayloadMessage::largestPayload_gives745Fragments()
{
    for (const int size : {65473, 65535}) {
        const QVector<PayloadMessage> fragments = PayloadMessage::splitDataBlock(payloadOf(size), UsualSize);
        QCOMPARE(fragments.size(), 745);
        QCOMPARE(fragments.last().header.offset, quint16(65472));
        QCOMPARE(fragments.last().data.size(), size - 65472);
    }
}

void TestPayloadMessage::sizeBeyond16Bits_countsModulo65536_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("total");
    QTest::newRow("65536") << 65536 << 0;
    QTest::newRow("65537") << 65537 << 1;
    QTest::newRow("65536 + 200") << 65736 << 200;
    QTest::newRow("131071") << 131071 << 65535;
    QTest::newRow("131072") << 131072 << 0;
}

void TestPayloadMessage::sizeBeyond16Bits_countsModulo65536()
{
    QFETCH(int, size);
    QFETCH(int, total);
    const CompletePayload payload = payloadOf(size);
    QByteArray joined;
    for (const PayloadMessage &fragment : PayloadMessage::splitDataBlock(payload, UsualSize)) {
        QCOMPARE(int(fragment.header.total), total);
        QCOMPARE(int(fragment.header.offset), joined.size());
        joined += fragment.data;
    }
    QCOMPARE(joined, payload.data.left(total));
}

void TestPayloadMessage::maximumSize_leavesRoomTo16Bits_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<quint32>("maximum");
    QTest::addColumn<QList<int>>("chunks");
    QTest::newRow("room for nothing") << 200 << 8U << QList<int>();
    QTest::newRow("room for one byte") << 3 << 9U << QList<int>{1, 1, 1};
    QTest::newRow("one byte short of the header") << 65535 << 7U << QList<int>{65535};
    QTest::newRow("nothing at all") << 65535 << 0U << QList<int>{65528, 7};
    QTest::newRow("nothing at all, all in one") << 65528 << 0U << QList<int>{65528};
    QTest::newRow("whole payloads") << 65535 << 65543U << QList<int>{65535};
    QTest::newRow("wraps to nothing") << 200 << 65544U << QList<int>();
    QTest::newRow("wraps to one byte") << 2 << 65545U << QList<int>{1, 1};
    QTest::newRow("largest number") << 65535 << 0xFFFFFFFFU << QList<int>{65527, 8};
}

void TestPayloadMessage::maximumSize_leavesRoomTo16Bits()
{
    QFETCH(int, size);
    QFETCH(quint32, maximum);
    QFETCH(QList<int>, chunks);
    const CompletePayload payload = payloadOf(size);
    QList<int> sizes;
    QByteArray joined;
    for (const PayloadMessage &fragment : PayloadMessage::splitDataBlock(payload, maximum)) {
        QCOMPARE(int(fragment.header.offset), joined.size());
        sizes.append(fragment.data.size());
        joined += fragment.data;
    }
    QCOMPARE(sizes, chunks);
    if (!chunks.isEmpty())
        QCOMPARE(joined, payload.data);
}

void TestPayloadMessage::fragments_outliveThePayload()
{
    QByteArray bytes = patternOf(200);
    const QByteArray original(bytes.constData(), bytes.size());
    auto payload = std::make_unique<CompletePayload>();
    payload->data = QByteArray::fromRawData(bytes.constData(), bytes.size());
    const QVector<PayloadMessage> fragments = PayloadMessage::splitDataBlock(*payload, UsualSize);
    payload.reset();
    bytes.fill('\0');
    QCOMPARE(fragments[0].data + fragments[1].data + fragments[2].data, original);
}

void TestPayloadMessage::header_isLittleEndian()
{
    QCOMPARE(written(sampleHeader()).toHex(), Header.toHex());
    QCOMPARE(int(Header.size()), PayloadMessageHeader::wireSize);
}

void TestPayloadMessage::header_writesThroughTheSignOfItsFields()
{
    const PayloadMessageHeader largest{65535, 65535, 65535, MessageId(255), PayloadId(255)};
    QCOMPARE(written(largest), QByteArray(8, '\xFF'));
    const PayloadMessageHeader half{32768, 32767, 128, MessageId(128), PayloadId(127)};
    QCOMPARE(written(half).toHex(), QByteArray("0080ff7f8000807f"));
    const PayloadMessageHeader back = read(QByteArray(8, '\xFF')).fragment.header;
    QCOMPARE(back.total, quint16(65535));
    QCOMPARE(back.id, quint16(65535));
    QCOMPARE(back.offset, quint16(65535));
    QCOMPARE(back.messageId, MessageId(255));
    QCOMPARE(back.payloadId, PayloadId(255));
}

void TestPayloadMessage::fragment_isHeaderAndBareData()
{
    QCOMPARE(written(PayloadMessage{sampleHeader(), QByteArray("\0\xFFx", 3)}),
             Header + QByteArray("\0\xFFx", 3));
    QCOMPARE(written(PayloadMessage{sampleHeader(), QByteArray()}), Header);
}

void TestPayloadMessage::fragment_isReadBack_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("no data") << QByteArray();
    QTest::newRow("one zero") << QByteArray(1, '\0');
    QTest::newRow("88 bytes") << patternOf(88);
    QTest::newRow("as much as a frame holds") << patternOf(247);
    QTest::newRow("zeros at the end") << patternOf(80) + QByteArray(8, '\0');
    QTest::newRow("64 KB") << patternOf(65535);
}

void TestPayloadMessage::fragment_isReadBack()
{
    QFETCH(QByteArray, data);
    const Reading reading = read(Header + data);
    QCOMPARE(reading.status, QDataStream::Ok);
    QCOMPARE(reading.fragment.header.total, quint16(0x1234));
    QCOMPARE(reading.fragment.header.id, quint16(0x5678));
    QCOMPARE(reading.fragment.header.offset, quint16(0x9ABC));
    QCOMPARE(reading.fragment.header.messageId, MessageId(0xFE));
    QCOMPARE(reading.fragment.header.payloadId, PayloadId(4));
    QCOMPARE(reading.fragment.data, data);
}

void TestPayloadMessage::fragment_readTwice_forgetsTheFirst()
{
    QDataStream stream(Header);
    stream.setByteOrder(QDataStream::LittleEndian);
    PayloadMessage fragment{{}, "of another"};
    stream >> fragment;
    QVERIFY(fragment.data.isEmpty());
    stream >> fragment;
    QCOMPARE(stream.status(), QDataStream::ReadPastEnd);
    QCOMPARE(fragment.header.total, quint16(0));
    QCOMPARE(fragment.header.payloadId, PayloadId(0));
}

void TestPayloadMessage::streamEndingInTheHeader_isReadPastItsEnd_data()
{
    QTest::addColumn<int>("size");
    for (int size = 0; size < Header.size(); ++size)
        QTest::addRow("%d", size) << size;
}

void TestPayloadMessage::streamEndingInTheHeader_isReadPastItsEnd()
{
    QFETCH(int, size);
    const Reading reading = read(Header.left(size));
    QCOMPARE(reading.status, QDataStream::ReadPastEnd);
    const PayloadMessageHeader &header = reading.fragment.header;
    QCOMPARE(header.total, quint16(size >= 2 ? 0x1234 : 0));
    QCOMPARE(header.id, quint16(size >= 4 ? 0x5678 : 0));
    QCOMPARE(header.offset, quint16(size >= 6 ? 0x9ABC : 0));
    QCOMPARE(header.messageId, MessageId(size >= 7 ? 0xFE : 0));
    QCOMPARE(header.payloadId, PayloadId(0));
    QVERIFY(reading.fragment.data.isEmpty());
}

void TestPayloadMessage::streamPositionedInside_isReadFromThere()
{
    QByteArray bytes = "ab" + Header + "data";
    QBuffer buffer(&bytes);
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    QCOMPARE(buffer.read(2), QByteArray("ab"));
    QDataStream stream(&buffer);
    stream.setByteOrder(QDataStream::LittleEndian);
    PayloadMessage fragment;
    stream >> fragment;
    QCOMPARE(fragment.header.total, quint16(0x1234));
    QCOMPARE(fragment.data, QByteArray("data"));
}

void TestPayloadMessage::readData_outlivesTheBytes()
{
    QByteArray bytes = Header + patternOf(88);
    const PayloadMessage fragment = read(QByteArray::fromRawData(bytes.constData(), bytes.size())).fragment;
    bytes.fill('\0');
    QCOMPARE(fragment.data, patternOf(88));
}

QTEST_GUILESS_MAIN(TestPayloadMessage)
#include "tst_payloadmessage.moc"
