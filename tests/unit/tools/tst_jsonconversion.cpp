// SPDX-License-Identifier: MIT
#include "host/jsonconversion.h"

#include "host/jsontext.h"

#include <QtTest>

#include <cmath>
#include <limits>

using namespace std::chrono_literals;

namespace {

constexpr auto Reading = std::chrono::steady_clock::time_point(1234567ms);
constexpr float NotANumber = std::numeric_limits<float>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

template <typename T>
void addRow(const char *name, const T &value, const char *json)
{
    QTest::newRow(name) << QVariant::fromValue(value) << QByteArray(json);
}

} // namespace

class TestJsonConversion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void byMetaType_data();
    void byMetaType();
    void byMetaType_ofATypeWithoutForm_isNull();
    void singlePrecision_readsBackExactly_data();
    void singlePrecision_readsBackExactly();
};

void TestJsonConversion::byMetaType_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("json");

    addRow("true", true, "true");
    addRow("quint8", quint8(200), "200");
    addRow("quint16", quint16(65535), "65535");
    addRow("quint32", quint32(4294967295U), "4294967295");
    addRow("quint64", quint64(1) << 40, "1099511627776");
    addRow("int", -7, "-7");
    addRow("float", 1.5F, "1.5");
    addRow("float, infinite", -std::numeric_limits<float>::infinity(), "null");
    addRow("double", 0.1, "0.1");
    addRow("double, large", 1e300, "1e+300");
    addRow("zero", 0.0F, "0");
    addRow("negative zero", -0.0F, "-0");
    addRow("double, not a number", double(NAN), "null");
    addRow("text", QStringLiteral("a\"b\u00b0"), "\"a\\\"b\u00b0\"");
    addRow("bytes", QByteArray::fromHex("00FFab"), "\"00ffab\"");
    addRow("message id", MessageId{250}, "250");
    addRow("payload id", PayloadId{4}, "4");
    addRow("reading", ScalarSensorData{1.5F, 2, Reading}, R"({"value":1.5,"status":2,"time":1234567})");
    addRow("no reading", ScalarSensorData{NotANumber, 4, {}}, R"({"value":null,"status":4,"time":0})");
    addRow("coordinates", GeoCoordinates{47.3977419, -8.5}, R"({"latitude":47.3977419,"longitude":-8.5})");
    addRow("vector", Value3d{1, -2.25, Infinity}, R"({"x":1,"y":-2.25,"z":null})");
    addRow("mission", MissionStatus{3, 4000000000U}, R"({"state":3,"waypoint":4000000000})");
    addRow("algorithm", AlgorithmStatus{1, 2}, R"({"algorithm":1,"state":2})");
    addRow("payload", PayloadConnectedData{5, true}, R"({"payload":5,"connected":true})");
    addRow("text to the ground", TextToGround{QStringLiteral("[TCP] x"), TextToGround::Error},
           R"({"text":"[TCP] x","type":1})");
    addRow("complete payload", CompletePayload{7, MessageId{1}, PayloadId{4}, QByteArray::fromHex("BEEF")},
           R"({"id":7,"messageId":1,"payloadId":4,"data":"beef"})");
    addRow("vehicle state", VehicleState{9, 10000, 1, 2, 3, 4, 5, 6, NotANumber},
           R"({"satellites":9,"hdop":10000,"latitude":1,"longitude":2,"altitude":3,)"
           R"("roll":4,"pitch":5,"yaw":6,"velocity":null})");
    addRow("attitude", Navigate::Attitude{12, 1, 2, 3, NotANumber, NotANumber, 0.5F},
           R"({"timestamp":12,"roll":1,"pitch":2,"yaw":3,"extra1":null,"extra2":null,"extra3":0.5})");
    addRow("local position", Navigate::VehicleLocalPosition{1, 2, 3, 4, 5, 6, 7, 8, 9},
           R"({"timestamp":1,"x":2,"y":3,"z":4,"vx":5,"vy":6,"vz":7,"extra1":8,"extra2":9})");
    addRow("vehicle status", Navigate::VehicleStatus{-1, true, false, true, false},
           R"({"timestamp":-1,"armed":true,"guided":false,"active":true,"originSet":false})");
    addRow("global position", Navigate::VehicleGpsPosition{1, 2, 3, 4},
           R"({"timestamp":1,"latitude":2,"longitude":3,"altitude":4})");
}

void TestJsonConversion::byMetaType()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, json);
    QCOMPARE(toJsonText(toJson(value.userType(), value.constData())), json);
}

void TestJsonConversion::byMetaType_ofATypeWithoutForm_isNull()
{
    const QPoint point;
    QVERIFY(toJson(QMetaType::QPoint, &point).isNull());
}

void TestJsonConversion::singlePrecision_readsBackExactly_data()
{
    QTest::addColumn<float>("value");
    QTest::newRow("tenth") << 0.1F;
    QTest::newRow("third") << 1.0F / 3.0F;
    QTest::newRow("largest") << std::numeric_limits<float>::max();
    QTest::newRow("smallest normal") << std::numeric_limits<float>::min();
}

void TestJsonConversion::singlePrecision_readsBackExactly()
{
    QFETCH(float, value);
    const QByteArray text = toJsonText(toJson(QMetaType::Float, &value));
    QCOMPARE(text.toDouble(), double(value));
}

QTEST_GUILESS_MAIN(TestJsonConversion)
#include "tst_jsonconversion.moc"
