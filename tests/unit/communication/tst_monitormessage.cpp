// SPDX-License-Identifier: MIT
#include "communication/monitormessage.h"

#include <QtTest>

#include <type_traits>

namespace {

template <class Body>
constexpr bool isWritten =
    std::is_same_v<decltype(std::declval<QDataStream &>() << std::declval<const Body &>()), QDataStream &>;
template <class Body>
constexpr bool isRead =
    std::is_same_v<decltype(std::declval<QDataStream &>() >> std::declval<Body &>()), QDataStream &>;

static_assert(isWritten<VehicleStateHeader> && std::is_aggregate_v<VehicleStateHeader>);
static_assert(isWritten<GprTraceHeader> && std::is_aggregate_v<GprTraceHeader>);
static_assert(isWritten<GprTrace> && std::is_aggregate_v<GprTrace>);
static_assert(isWritten<GprStatus> && std::is_aggregate_v<GprStatus>);
static_assert(isWritten<AltimeterStatus> && std::is_aggregate_v<AltimeterStatus>);
static_assert(isWritten<ScalarSensorStatus> && std::is_aggregate_v<ScalarSensorStatus>);
static_assert(isWritten<TerrainFollowingStatusHeader> && std::is_aggregate_v<TerrainFollowingStatusHeader>);
static_assert(isWritten<GrasshopperHeader> && isRead<GrasshopperHeader> &&
              std::is_aggregate_v<GrasshopperHeader>);
static_assert(isRead<ConfigureTerrainFollowingHeader> &&
              std::is_aggregate_v<ConfigureTerrainFollowingHeader>);
static_assert(isWritten<SettingHeader> && isRead<SettingHeader> && std::is_aggregate_v<SettingHeader>);
static_assert(isWritten<ObstacleAvoidanceHeader> && isRead<ObstacleAvoidanceHeader>);
static_assert(std::is_aggregate_v<ObstacleAvoidanceHeader>);
static_assert(isWritten<FirmwareHeader> && std::is_aggregate_v<FirmwareHeader>);

const VehicleStateHeader vehicleState{1, 2, 3, 255, 1.0F, -2.0F, 0.5F, 1.5, -0.25, 4.0F, -8.0F};
const GprTraceHeader gprTraceHeader{0x1234, 0x56, 0x789A, 0xBC};
const GprTrace gprTrace{gprTraceHeader, QByteArrayLiteral("\x01\x02\xFF")};
const GprStatus gprStatus{1, 2, 0x0304, 5, 6, 7, 8};
const AltimeterStatus altimeterStatus{1.5f, 3};
const ScalarSensorStatus scalarSensorStatus{7, 1.5F, 9};
const TerrainFollowingStatusHeader terrainFollowingStatus{1.5, -0.25, 2, -2, 10, 11};
const GrasshopperHeader grasshopper{1.5F, -2, -2, 7, 8, 0.5F, 4};
const SettingHeader setting{QStringLiteral("abc"), QString(), QString::fromUtf8("\xC3\xA4\xE2\x82\xAC")};
const ObstacleAvoidanceHeader obstacleAvoidance{1.5F, 1, 2, QStringLiteral("ok")};
const FirmwareHeader firmware{1, 0x0203, 0xFFFF, 0};

template <class Body>
void read(QDataStream &stream)
{
    Body body;
    stream >> body;
}

/// What an operator does to the floating-point precision of its stream.
enum class Leaves { Single, Double, AsItWas };

struct Operation
{
    const char *name;
    void (*run)(QDataStream &);
    const char *littleEndian; // what is written, or what is there to read
    const char *bigEndian;
    Leaves precision;
};

const Operation Written[] = {
    {"VehicleStateHeader", [](QDataStream &s) { s << vehicleState; },
     "010203ff0000803f000000c00000003f000000000000f83f000000000000d0bf00008040000000c1",
     "010203ff3f800000c00000003f0000003ff8000000000000bfd000000000000040800000c1000000", Leaves::Single},
    {"GprTraceHeader", [](QDataStream &s) { s << gprTraceHeader; }, "3412569a78bc", "123456789abc",
     Leaves::AsItWas},
    {"GprTrace", [](QDataStream &s) { s << gprTrace; }, "3412569a78bc030000000102ff",
     "123456789abc000000030102ff", Leaves::AsItWas},
    {"GprStatus", [](QDataStream &s) { s << gprStatus; }, "0102040305060708", "0102030405060708",
     Leaves::AsItWas},
    {"AltimeterStatus", [](QDataStream &s) { s << altimeterStatus; }, "0000c03f03", "3fc0000003",
     Leaves::Single},
    {"ScalarSensorStatus", [](QDataStream &s) { s << scalarSensorStatus; }, "070000c03f09", "073fc0000009",
     Leaves::Single},
    {"TerrainFollowingStatusHeader", [](QDataStream &s) { s << terrainFollowingStatus; },
     "000000000000f83f000000000000d0bf000000000000004000000000000000c00a0b",
     "3ff8000000000000bfd00000000000004000000000000000c0000000000000000a0b", Leaves::Single},
    {"GrasshopperHeader", [](QDataStream &s) { s << grasshopper; },
     "0000c03f000000c0feffffff07080000003f00008040", "3fc00000c0000000fffffffe07083f00000040800000",
     Leaves::Single},
    {"SettingHeader", [](QDataStream &s) { s << setting; }, "036162630005c3a4e282ac",
     "036162630005c3a4e282ac", Leaves::AsItWas},
    {"ObstacleAvoidanceHeader", [](QDataStream &s) { s << obstacleAvoidance; }, "0000c03f0102026f6b",
     "3fc000000102026f6b", Leaves::Single},
    {"FirmwareHeader", [](QDataStream &s) { s << firmware; }, "01000302ffff0000", "00010203ffff0000",
     Leaves::AsItWas},
};

const Operation Read[] = {
    {"GrasshopperHeader", read<GrasshopperHeader>, "0000c03f000000c0feffffff0000003f00008040",
     "3fc00000c0000000fffffffe3f00000040800000", Leaves::Single},
    {"ConfigureTerrainFollowingHeader", read<ConfigureTerrainFollowingHeader>,
     "000000000000f83f000000000000d0bf000000000000004000000000000000c0",
     "3ff8000000000000bfd00000000000004000000000000000c000000000000000", Leaves::Single},
    {"SettingHeader", read<SettingHeader>, "036162630005c3a4e282ac", "036162630005c3a4e282ac",
     Leaves::AsItWas},
    {"ObstacleAvoidanceHeader", read<ObstacleAvoidanceHeader>, "000000000000f83f", "3ff8000000000000",
     Leaves::Double},
};

/// Each operation in both byte orders and from both precisions.
template <size_t N>
void addRows(const Operation (&operations)[N])
{
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("little");
    QTest::addColumn<bool>("single");
    for (size_t i = 0; i < N; ++i)
        for (const bool little : {true, false})
            for (const bool single : {true, false})
                QTest::addRow("%s, %s-endian, from %s precision", operations[i].name,
                              little ? "little" : "big", single ? "single" : "double")
                    << int(i) << little << single;
}

/// Runs the operation on the stream and compares what it leaves behind.
void runAndCompare(QDataStream &stream, const Operation &operation, bool little, bool single)
{
    const auto order = little ? QDataStream::LittleEndian : QDataStream::BigEndian;
    const auto before = single ? QDataStream::SinglePrecision : QDataStream::DoublePrecision;
    stream.setByteOrder(order);
    stream.setFloatingPointPrecision(before);
    operation.run(stream);
    QCOMPARE(stream.status(), QDataStream::Ok);
    QCOMPARE(stream.byteOrder(), order);
    const auto expected = operation.precision == Leaves::AsItWas  ? before
                          : operation.precision == Leaves::Single ? QDataStream::SinglePrecision
                                                                  : QDataStream::DoublePrecision;
    QCOMPARE(stream.floatingPointPrecision(), expected);
}

template <class Body>
QByteArray written(const Body &body)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << body;
    return bytes;
}

/// Reads a body from the bytes over what it holds; returns how many bytes that took.
template <class Body>
qint64 readInto(Body &body, const QByteArray &bytes)
{
    QDataStream stream(bytes);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream >> body;
    return stream.device()->pos();
}

} // namespace

class TestMonitorMessage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void write_yieldsTheLayout_data() { addRows(Written); }
    void write_yieldsTheLayout();
    void read_takesExactlyTheLayout_data() { addRows(Read); }
    void read_takesExactlyTheLayout();
    void read_fillsTheFieldsInOrder();
    void bodies_bindInStreamOrder();
    void altimeterStatus_isTheDocumentedFiveBytes();
    void gprTrace_withoutSamples_carriesALengthOfNought();
    void terrainFollowingStatus_floatBehindIt_takesFourBytes();
    void grasshopper_writtenAndReadBack_isShiftedByTheTwoBytes();
    void obstacleAvoidance_read_leavesTheOtherFieldsAndDoublePrecision();
    void string_lengthIsTakenToEightBits_data();
    void string_lengthIsTakenToEightBits();
    void string_of255Bytes_survivesTheRoundTrip();
    void string_of256Bytes_readsAsUnchanged();
    void string_of300Bytes_desynchronisesTheReader();
    void string_ofLengthNought_keepsTheOldValue();
    void string_cutShort_keepsWhatIsThere();
    void string_ofBrokenUtf8_isReplaced();
    void shortBody_leavesNoughtInTheNumbers();
    void shortConfiguration_leavesNoughtAndSinglePrecision();
    void nothingToRead_leavesTheStrings();
    void stringWithoutItsBytes_isEmpty();
};

void TestMonitorMessage::write_yieldsTheLayout()
{
    QFETCH(int, index);
    QFETCH(bool, little);
    QFETCH(bool, single);
    const Operation &operation = Written[index];
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    runAndCompare(stream, operation, little, single);
    QCOMPARE(bytes.toHex(), QByteArray(little ? operation.littleEndian : operation.bigEndian));
}

void TestMonitorMessage::read_takesExactlyTheLayout()
{
    QFETCH(int, index);
    QFETCH(bool, little);
    QFETCH(bool, single);
    const Operation &operation = Read[index];
    const QByteArray body = QByteArray::fromHex(little ? operation.littleEndian : operation.bigEndian);
    QDataStream stream(body + QByteArray(16, '\0'));
    runAndCompare(stream, operation, little, single);
    QCOMPARE(stream.device()->pos(), qint64(body.size()));
}

void TestMonitorMessage::read_fillsTheFieldsInOrder()
{
    GrasshopperHeader hopper{9, 9, 9, 9, 8, 9, 9};
    readInto(hopper, QByteArray::fromHex(Read[0].littleEndian));
    const auto [float1, float2, int1, byte1, byte2, float3, float4] = hopper;
    QCOMPARE(float1, 1.5F);
    QCOMPARE(float2, -2.0F);
    QCOMPARE(int1, -2);
    QCOMPARE(byte1, quint8(9));
    QCOMPARE(byte2, quint8(8));
    QCOMPARE(float3, 0.5F);
    QCOMPARE(float4, 4.0F);

    ConfigureTerrainFollowingHeader configuration;
    readInto(configuration, QByteArray::fromHex(Read[1].littleEndian));
    const auto [double1, double2, double3, double4] = configuration;
    QCOMPARE(double1, 1.5);
    QCOMPARE(double2, -0.25);
    QCOMPARE(double3, 2.0);
    QCOMPARE(double4, -2.0);

    SettingHeader header;
    readInto(header, QByteArray::fromHex(Read[2].littleEndian));
    const auto [string1, string2, string3] = header;
    QCOMPARE(string1, QStringLiteral("abc"));
    QCOMPARE(string2, QString());
    QCOMPARE(string3, setting.string3);
}

void TestMonitorMessage::bodies_bindInStreamOrder()
{
    const auto [b1, b2, b3, b4, f1, f2, f3, d1, d2, f4, f5] = vehicleState;
    QCOMPARE(int(b1) + int(b2) + int(b3) + int(b4), 261);
    QCOMPARE(f1 + f2 + f3 + f4 + f5, -4.5F);
    QCOMPARE(d1 + d2, 1.25);
    const auto [word1, byte1, word2, byte2] = gprTraceHeader;
    QCOMPARE(int(word1) + int(byte1) + int(word2) + int(byte2), 0x1234 + 0x56 + 0x789A + 0xBC);
    const auto [header, samples] = gprTrace;
    QCOMPARE(header.word1, word1);
    QCOMPARE(samples.size(), 3);
    const auto [s1, s2, s3, s4, s5, s6, s7] = gprStatus;
    QCOMPARE(int(s1) + int(s2) + int(s3) + int(s4) + int(s5) + int(s6) + int(s7), 0x304 + 29);
    const auto [value, status] = altimeterStatus;
    QCOMPARE(value, 1.5F);
    QCOMPARE(status, quint8(3));
    const auto [before, reading, behind] = scalarSensorStatus;
    QCOMPARE(reading + float(before + behind), 17.5F);
    const auto [t1, t2, t3, t4, t5, t6] = terrainFollowingStatus;
    QCOMPARE(t1 + t2 + t3 + t4 + t5 + t6, 22.25);
    const auto [distance, o1, o2, action] = obstacleAvoidance;
    QCOMPARE(distance + float(o1 + o2), 4.5F);
    QCOMPARE(action, QStringLiteral("ok"));
    const auto [w1, w2, w3, w4] = firmware;
    QCOMPARE(int(w1) + int(w2) + int(w3) + int(w4), 1 + 0x203 + 0xFFFF);
}

void TestMonitorMessage::altimeterStatus_isTheDocumentedFiveBytes()
{
    QCOMPARE(written(AltimeterStatus{1.5f, 3}).toHex(' '), QByteArray("00 00 c0 3f 03"));
}

void TestMonitorMessage::gprTrace_withoutSamples_carriesALengthOfNought()
{
    QCOMPARE(written(GprTrace{gprTraceHeader, QByteArrayLiteral("")}).toHex(),
             QByteArray("3412569a78bc00000000"));
}

void TestMonitorMessage::terrainFollowingStatus_floatBehindIt_takesFourBytes()
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << terrainFollowingStatus;
    QCOMPARE(bytes.size(), 34);
    stream << 1.5F;
    QCOMPARE(bytes.size(), 38);
    stream << TerrainFollowingStatusHeader();
    QCOMPARE(bytes.size(), 72);
}

void TestMonitorMessage::grasshopper_writtenAndReadBack_isShiftedByTheTwoBytes()
{
    const QByteArray bytes = written(grasshopper);
    QCOMPARE(bytes.size(), 22);
    GrasshopperHeader back;
    QCOMPARE(readInto(back, bytes), qint64(20));
    QCOMPARE(back.int1, -2);
    QCOMPARE(written(back).mid(14).toHex(), QByteArray("07080000003f0000"));
}

void TestMonitorMessage::obstacleAvoidance_read_leavesTheOtherFieldsAndDoublePrecision()
{
    const QByteArray bytes = QByteArray::fromHex("000000000000f83f"
                                                 "0000000000000440");
    QDataStream stream(bytes);
    stream.setByteOrder(QDataStream::LittleEndian);
    ObstacleAvoidanceHeader body{9, 7, 8, QStringLiteral("old")};
    stream >> body;
    QCOMPARE(stream.device()->pos(), qint64(8));
    QCOMPARE(body.value, 1.5F);
    QCOMPARE(body.byte1, quint8(7));
    QCOMPARE(body.byte2, quint8(8));
    QCOMPARE(body.string1, QStringLiteral("old"));
    float next = 0;
    stream >> next;
    QCOMPARE(stream.device()->pos(), qint64(16));
    QCOMPARE(next, 2.5F);
}

void TestMonitorMessage::string_lengthIsTakenToEightBits_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("lengthByte");
    QTest::newRow("0") << 0 << 0;
    QTest::newRow("1") << 1 << 1;
    QTest::newRow("127") << 127 << 127;
    QTest::newRow("128") << 128 << 128;
    QTest::newRow("255") << 255 << 255;
    QTest::newRow("256") << 256 << 0;
    QTest::newRow("300") << 300 << 44;
    QTest::newRow("65536") << 65536 << 0;
}

namespace {

/// A text of this many UTF-8 bytes, of two-byte characters and perhaps one of a single byte.
QString textOf(int bytes)
{
    return QString(bytes / 2, QChar(0xE9)) + QString(bytes % 2, QLatin1Char('a'));
}

} // namespace

void TestMonitorMessage::string_lengthIsTakenToEightBits()
{
    QFETCH(int, size);
    QFETCH(int, lengthByte);
    const QString text = textOf(size);
    const QByteArray utf8 = text.toUtf8();
    QCOMPARE(utf8.size(), size);
    const QByteArray field = static_cast<char>(lengthByte) + utf8;
    QCOMPARE(written(SettingHeader{text, text, text}), field + field + field);
    QCOMPARE(written(ObstacleAvoidanceHeader{0, 0, 0, text}), QByteArray(6, '\0') + field);
}

void TestMonitorMessage::string_of255Bytes_survivesTheRoundTrip()
{
    const SettingHeader sent{textOf(255), QString(), QStringLiteral("x")};
    SettingHeader back;
    QCOMPARE(readInto(back, written(sent)), qint64(256 + 1 + 2));
    QCOMPARE(back.string1, sent.string1);
    QCOMPARE(back.string2, QString());
    QCOMPARE(back.string3, QStringLiteral("x"));
}

void TestMonitorMessage::string_of256Bytes_readsAsUnchanged()
{
    SettingHeader back{QStringLiteral("old"), QString(), QString()};
    readInto(back, written(SettingHeader{textOf(256), QStringLiteral("b"), QStringLiteral("c")}));
    QCOMPARE(back.string1, QStringLiteral("old"));
    QVERIFY(back.string2 != QStringLiteral("b")); // the bytes of the first string are taken for it
}

void TestMonitorMessage::string_of300Bytes_desynchronisesTheReader()
{
    SettingHeader back;
    readInto(back, written(SettingHeader{textOf(300), QStringLiteral("b"), QStringLiteral("c")}));
    QCOMPARE(back.string1, textOf(44));
    QVERIFY(back.string2 != QStringLiteral("b"));
    QVERIFY(back.string3 != QStringLiteral("c"));
}

void TestMonitorMessage::string_ofLengthNought_keepsTheOldValue()
{
    SettingHeader body{QStringLiteral("old"), QStringLiteral("older"), QStringLiteral("oldest")};
    QCOMPARE(readInto(body, QByteArray::fromHex("00026162"
                                                "00")),
             qint64(5));
    QCOMPARE(body.string1, QStringLiteral("old"));
    QCOMPARE(body.string2, QStringLiteral("ab"));
    QCOMPARE(body.string3, QStringLiteral("oldest"));
}

void TestMonitorMessage::string_cutShort_keepsWhatIsThere()
{
    SettingHeader body{QStringLiteral("old"), QStringLiteral("older"), QStringLiteral("oldest")};
    readInto(body, QByteArray::fromHex("056162"));
    QCOMPARE(body.string1, QStringLiteral("ab"));
    QCOMPARE(body.string2, QStringLiteral("older"));
    QCOMPARE(body.string3, QStringLiteral("oldest"));
}

void TestMonitorMessage::string_ofBrokenUtf8_isReplaced()
{
    SettingHeader body;
    readInto(body, QByteArray::fromHex("03FF6180"
                                       "0000"));
    QCOMPARE(body.string1, QString(QChar(0xFFFD)) + QLatin1Char('a') + QChar(0xFFFD));
}

void TestMonitorMessage::shortBody_leavesNoughtInTheNumbers()
{
    GrasshopperHeader body{9, 9, 9, 9, 9, 9, 9};
    readInto(body, QByteArray::fromHex("0000c03f000000c0feff"));
    QCOMPARE(body.float1, 1.5F);
    QCOMPARE(body.float2, -2.0F);
    QCOMPARE(body.int1, 0);
    QCOMPARE(body.byte1, quint8(9));
    QCOMPARE(body.float3, 0.0F);
    QCOMPARE(body.float4, 0.0F);

    ObstacleAvoidanceHeader obstacle{9, 7, 8, QString()};
    readInto(obstacle, QByteArray::fromHex("0000c03f"));
    QCOMPARE(obstacle.value, 0.0F);
}

void TestMonitorMessage::shortConfiguration_leavesNoughtAndSinglePrecision()
{
    ConfigureTerrainFollowingHeader body{9, 9, 9, 9};
    QDataStream stream(QByteArray::fromHex("000000000000f83f0000"));
    stream.setByteOrder(QDataStream::LittleEndian);
    stream >> body;
    QCOMPARE(body.double1, 1.5);
    QCOMPARE(body.double2, 0.0);
    QCOMPARE(body.double3, 0.0);
    QCOMPARE(body.double4, 0.0);
    QCOMPARE(stream.status(), QDataStream::ReadPastEnd);
    QCOMPARE(stream.floatingPointPrecision(), QDataStream::SinglePrecision);
}

void TestMonitorMessage::nothingToRead_leavesTheStrings()
{
    SettingHeader body{QStringLiteral("old"), QStringLiteral("older"), QStringLiteral("oldest")};
    QCOMPARE(readInto(body, QByteArray()), qint64(0));
    QCOMPARE(body.string1, QStringLiteral("old"));
    QCOMPARE(body.string2, QStringLiteral("older"));
    QCOMPARE(body.string3, QStringLiteral("oldest"));
}

void TestMonitorMessage::stringWithoutItsBytes_isEmpty()
{
    SettingHeader body{QStringLiteral("old"), QStringLiteral("older"), QStringLiteral("oldest")};
    QCOMPARE(readInto(body, QByteArray::fromHex("05")), qint64(1));
    QCOMPARE(body.string1, QString());
    QCOMPARE(body.string2, QStringLiteral("older"));
}

QTEST_GUILESS_MAIN(TestMonitorMessage)
#include "tst_monitormessage.moc"
