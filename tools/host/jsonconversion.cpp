// SPDX-License-Identifier: MIT
#include "host/jsonconversion.h"

#include <QHash>

#include <chrono>
#include <cmath>
#include <limits>

namespace {

using Converter = QCborValue (*)(const void *);

QCborValue number(float value)
{
    return toJson(static_cast<double>(value));
}

template <typename T>
QCborValue convert(const void *value)
{
    return toJson(*static_cast<const T *>(value));
}

template <typename T>
QCborValue convertInteger(const void *value)
{
    return static_cast<qint64>(*static_cast<const T *>(value));
}

template <typename T>
QCborValue convertAsIs(const void *value)
{
    return *static_cast<const T *>(value);
}

// CBOR values hold signed 64-bit integers; what is larger goes as a double.
QCborValue convertUnsigned64(const void *value)
{
    const quint64 number = *static_cast<const quint64 *>(value);
    if (number > quint64(std::numeric_limits<qint64>::max()))
        return QCborValue(double(number));
    return QCborValue(qint64(number));
}

QHash<int, Converter> basicConverters()
{
    return {{QMetaType::Bool, convertAsIs<bool>},
            {QMetaType::QString, convertAsIs<QString>},
            {QMetaType::QByteArray, convert<QByteArray>},
            {QMetaType::Float, [](const void *value) { return number(*static_cast<const float *>(value)); }},
            {QMetaType::Double, convert<double>},
            {QMetaType::SChar, convertInteger<signed char>},
            {QMetaType::UChar, convertInteger<quint8>},
            {QMetaType::Short, convertInteger<qint16>},
            {QMetaType::UShort, convertInteger<quint16>},
            {QMetaType::Int, convertInteger<qint32>},
            {QMetaType::UInt, convertInteger<quint32>},
            {QMetaType::LongLong, convertInteger<qint64>},
            {QMetaType::ULongLong, convertUnsigned64}};
}

QHash<int, Converter> allConverters()
{
    QHash<int, Converter> all = basicConverters();
    all.insert(qMetaTypeId<MessageId>(), convert<MessageId>);
    all.insert(qMetaTypeId<PayloadId>(), convert<PayloadId>);
    all.insert(qMetaTypeId<ScalarSensorData>(), convert<ScalarSensorData>);
    all.insert(qMetaTypeId<GeoCoordinates>(), convert<GeoCoordinates>);
    all.insert(qMetaTypeId<Value3d>(), convert<Value3d>);
    all.insert(qMetaTypeId<MissionStatus>(), convert<MissionStatus>);
    all.insert(qMetaTypeId<AlgorithmStatus>(), convert<AlgorithmStatus>);
    all.insert(qMetaTypeId<PayloadConnectedData>(), convert<PayloadConnectedData>);
    all.insert(qMetaTypeId<TextToGround>(), convert<TextToGround>);
    all.insert(qMetaTypeId<CompletePayload>(), convert<CompletePayload>);
    all.insert(qMetaTypeId<VehicleState>(), convert<VehicleState>);
    all.insert(qMetaTypeId<Navigate::Attitude>(), convert<Navigate::Attitude>);
    all.insert(qMetaTypeId<Navigate::VehicleLocalPosition>(), convert<Navigate::VehicleLocalPosition>);
    all.insert(qMetaTypeId<Navigate::VehicleStatus>(), convert<Navigate::VehicleStatus>);
    all.insert(qMetaTypeId<Navigate::VehicleGpsPosition>(), convert<Navigate::VehicleGpsPosition>);
    return all;
}

} // namespace

QCborValue toJson(double value)
{
    return std::isfinite(value) ? QCborValue(value) : QCborValue(QCborValue::Null);
}

QCborValue toJson(MessageId value)
{
    return static_cast<int>(value);
}

QCborValue toJson(PayloadId value)
{
    return static_cast<int>(value);
}

QCborValue toJson(const QByteArray &value)
{
    return QString::fromLatin1(value.toHex());
}

QCborMap toJson(const ScalarSensorData &value)
{
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    const qint64 timeMs = duration_cast<milliseconds>(value.time.time_since_epoch()).count();
    return {{QStringLiteral("value"), number(value.value)},
            {QStringLiteral("status"), value.status},
            {QStringLiteral("time"), timeMs}};
}

QCborMap toJson(const GeoCoordinates &value)
{
    return {{QStringLiteral("latitude"), toJson(value.latitude)},
            {QStringLiteral("longitude"), toJson(value.longitude)}};
}

QCborMap toJson(const Value3d &value)
{
    return {{QStringLiteral("x"), toJson(value.x)},
            {QStringLiteral("y"), toJson(value.y)},
            {QStringLiteral("z"), toJson(value.z)}};
}

QCborMap toJson(const MissionStatus &value)
{
    return {{QStringLiteral("state"), value.state}, {QStringLiteral("waypoint"), qint64(value.waypoint)}};
}

QCborMap toJson(const AlgorithmStatus &value)
{
    return {{QStringLiteral("algorithm"), value.algorithm}, {QStringLiteral("state"), value.state}};
}

QCborMap toJson(const PayloadConnectedData &value)
{
    return {{QStringLiteral("payload"), value.payload}, {QStringLiteral("connected"), value.connected}};
}

QCborMap toJson(const TextToGround &value)
{
    return {{QStringLiteral("text"), value.text}, {QStringLiteral("type"), int(value.type)}};
}

QCborMap toJson(const CompletePayload &value)
{
    return {{QStringLiteral("id"), value.id},
            {QStringLiteral("messageId"), toJson(value.messageId)},
            {QStringLiteral("payloadId"), toJson(value.payloadId)},
            {QStringLiteral("data"), toJson(value.data)}};
}

QCborMap toJson(const VehicleState &value)
{
    return {{QStringLiteral("satellites"), value.satellites},
            {QStringLiteral("hdop"), value.hdop},
            {QStringLiteral("latitude"), toJson(value.latitude)},
            {QStringLiteral("longitude"), toJson(value.longitude)},
            {QStringLiteral("altitude"), number(value.altitude)},
            {QStringLiteral("roll"), number(value.roll)},
            {QStringLiteral("pitch"), number(value.pitch)},
            {QStringLiteral("yaw"), number(value.yaw)},
            {QStringLiteral("velocity"), number(value.velocity)}};
}

QCborMap toJson(const Navigate::Attitude &value)
{
    return {{QStringLiteral("timestamp"), toJson(value.timestamp)},
            {QStringLiteral("roll"), number(value.roll)},
            {QStringLiteral("pitch"), number(value.pitch)},
            {QStringLiteral("yaw"), number(value.yaw)},
            {QStringLiteral("extra1"), number(value.extra1)},
            {QStringLiteral("extra2"), number(value.extra2)},
            {QStringLiteral("extra3"), number(value.extra3)}};
}

QCborMap toJson(const Navigate::VehicleLocalPosition &value)
{
    return {{QStringLiteral("timestamp"), toJson(value.timestamp)},
            {QStringLiteral("x"), number(value.x)},
            {QStringLiteral("y"), number(value.y)},
            {QStringLiteral("z"), number(value.z)},
            {QStringLiteral("vx"), number(value.vx)},
            {QStringLiteral("vy"), number(value.vy)},
            {QStringLiteral("vz"), number(value.vz)},
            {QStringLiteral("extra1"), toJson(value.extra1)},
            {QStringLiteral("extra2"), number(value.extra2)}};
}

QCborMap toJson(const Navigate::VehicleStatus &value)
{
    return {{QStringLiteral("timestamp"), toJson(value.timestamp)},
            {QStringLiteral("armed"), value.armed},
            {QStringLiteral("guided"), value.guided},
            {QStringLiteral("active"), value.active},
            {QStringLiteral("originSet"), value.originSet}};
}

QCborMap toJson(const Navigate::VehicleGpsPosition &value)
{
    return {{QStringLiteral("timestamp"), toJson(value.timestamp)},
            {QStringLiteral("latitude"), toJson(value.latitude)},
            {QStringLiteral("longitude"), toJson(value.longitude)},
            {QStringLiteral("altitude"), toJson(value.altitude)}};
}

QCborValue toJson(int metaType, const void *value)
{
    static const QHash<int, Converter> converters = allConverters();
    const Converter converter = converters.value(metaType);
    return converter ? converter(value) : QCborValue(QCborValue::Null);
}
