// SPDX-License-Identifier: MIT
#include "communication/monitormessage.h"

namespace {

void singlePrecision(QDataStream &stream)
{
    stream.setFloatingPointPrecision(QDataStream::SinglePrecision);
}

void doublePrecision(QDataStream &stream)
{
    stream.setFloatingPointPrecision(QDataStream::DoublePrecision);
}

void writeString(QDataStream &stream, const QString &string)
{
    const QByteArray utf8 = string.toUtf8();
    stream << static_cast<quint8>(utf8.size());
    stream.writeRawData(utf8.constData(), utf8.size());
}

void readString(QDataStream &stream, QString &string)
{
    quint8 length = 0;
    stream >> length;
    if (length == 0)
        return;
    QByteArray utf8(length, '\0');
    const int read = stream.readRawData(utf8.data(), length);
    utf8.truncate(qMax(read, 0));
    string = QString::fromUtf8(utf8);
}

} // namespace

QDataStream &operator<<(QDataStream &stream, const VehicleStateHeader &body)
{
    stream << body.byte1 << body.byte2 << body.byte3 << body.byte4;
    singlePrecision(stream);
    stream << body.float1 << body.float2 << body.float3;
    doublePrecision(stream);
    stream << body.double1 << body.double2;
    singlePrecision(stream);
    return stream << body.float4 << body.float5;
}

QDataStream &operator<<(QDataStream &stream, const GprTraceHeader &body)
{
    return stream << body.word1 << body.byte1 << body.word2 << body.byte2;
}

QDataStream &operator<<(QDataStream &stream, const GprTrace &body)
{
    return stream << body.header << body.samples;
}

QDataStream &operator<<(QDataStream &stream, const GprStatus &body)
{
    return stream << body.byte1 << body.byte2 << body.word1 << body.byte3 << body.byte4 << body.byte5
                  << body.byte6;
}

QDataStream &operator<<(QDataStream &stream, const AltimeterStatus &body)
{
    singlePrecision(stream);
    return stream << body.value << body.status;
}

QDataStream &operator<<(QDataStream &stream, const ScalarSensorStatus &body)
{
    singlePrecision(stream);
    return stream << body.byte1 << body.value << body.byte2;
}

QDataStream &operator<<(QDataStream &stream, const TerrainFollowingStatusHeader &body)
{
    doublePrecision(stream);
    stream << body.double1 << body.double2 << body.double3 << body.double4;
    singlePrecision(stream);
    return stream << body.byte1 << body.byte2;
}

QDataStream &operator<<(QDataStream &stream, const GrasshopperHeader &body)
{
    singlePrecision(stream);
    return stream << body.float1 << body.float2 << body.int1 << body.byte1 << body.byte2 << body.float3
                  << body.float4;
}

QDataStream &operator>>(QDataStream &stream, GrasshopperHeader &body)
{
    singlePrecision(stream);
    return stream >> body.float1 >> body.float2 >> body.int1 >> body.float3 >> body.float4;
}

QDataStream &operator>>(QDataStream &stream, ConfigureTerrainFollowingHeader &body)
{
    doublePrecision(stream);
    stream >> body.double1 >> body.double2 >> body.double3 >> body.double4;
    singlePrecision(stream);
    return stream;
}

QDataStream &operator<<(QDataStream &stream, const SettingHeader &body)
{
    writeString(stream, body.string1);
    writeString(stream, body.string2);
    writeString(stream, body.string3);
    return stream;
}

QDataStream &operator>>(QDataStream &stream, SettingHeader &body)
{
    readString(stream, body.string1);
    readString(stream, body.string2);
    readString(stream, body.string3);
    return stream;
}

QDataStream &operator<<(QDataStream &stream, const ObstacleAvoidanceHeader &body)
{
    singlePrecision(stream);
    stream << body.value << body.byte1 << body.byte2;
    writeString(stream, body.string1);
    return stream;
}

QDataStream &operator>>(QDataStream &stream, ObstacleAvoidanceHeader &body)
{
    doublePrecision(stream);
    double value = 0;
    stream >> value;
    body.value = static_cast<float>(value);
    return stream;
}

QDataStream &operator<<(QDataStream &stream, const FirmwareHeader &body)
{
    return stream << body.word1 << body.word2 << body.word3 << body.word4;
}
