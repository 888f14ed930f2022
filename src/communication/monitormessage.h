// SPDX-License-Identifier: MIT
#pragma once

#include "app/export.h"

#include <QByteArray>
#include <QDataStream>
#include <QString>

// Bodies of the payloads that host and ground station exchange, as fixed sequences of numbers and strings.
// What the numbers mean is the host's business; they are declared in stream order, with the widths of the
// stream.
//
// The caller creates the stream and sets it to little-endian; the operators leave the byte order alone. They
// switch the floating-point precision themselves (float: 4 bytes, double: 8 bytes) and leave single precision
// set, unless said otherwise. A string is one length byte (the size of its UTF-8 form modulo 256) and all the
// UTF-8 bytes; a length byte of 0 leaves the target string as it was. The state of the stream is not checked.

/// Written; 40 bytes.
struct VehicleStateHeader
{
    quint8 byte1 = 0;
    quint8 byte2 = 0;
    quint8 byte3 = 0;
    quint8 byte4 = 0;
    float float1 = 0;
    float float2 = 0;
    float float3 = 0;
    double double1 = 0;
    double double2 = 0;
    float float4 = 0;
    float float5 = 0;
};

/// Written; 6 bytes.
struct GprTraceHeader
{
    quint16 word1 = 0;
    quint8 byte1 = 0;
    quint16 word2 = 0;
    quint8 byte2 = 0;
};

/// Written: the header, the number of sample bytes in 32 bits, the samples.
struct GprTrace
{
    GprTraceHeader header;
    QByteArray samples;
};

/// Written; 8 bytes.
struct GprStatus
{
    quint8 byte1 = 0;
    quint8 byte2 = 0;
    quint16 word1 = 0;
    quint8 byte3 = 0;
    quint8 byte4 = 0;
    quint8 byte5 = 0;
    quint8 byte6 = 0;
};

/// Written; 5 bytes.
struct AltimeterStatus
{
    float value = 0;   ///< Metres.
    quint8 status = 0; ///< As in ScalarSensorData.
};

/// Written; 6 bytes.
struct ScalarSensorStatus
{
    quint8 byte1 = 0;
    float value = 0;
    quint8 byte2 = 0;
};

/// Written; 34 bytes.
struct TerrainFollowingStatusHeader
{
    double double1 = 0;
    double double2 = 0;
    double double3 = 0;
    double double4 = 0;
    quint8 byte1 = 0;
    quint8 byte2 = 0;
};

/// Written as 22 bytes, read as 20: the two bytes are not part of the read form.
struct GrasshopperHeader
{
    float float1 = 0;
    float float2 = 0;
    qint32 int1 = 0;
    quint8 byte1 = 0;
    quint8 byte2 = 0;
    float float3 = 0;
    float float4 = 0;
};

/// Read; 32 bytes.
struct ConfigureTerrainFollowingHeader
{
    double double1 = 0;
    double double2 = 0;
    double double3 = 0;
    double double4 = 0;
};

/// Written and read: three strings.
struct SettingHeader
{
    QString string1;
    QString string2;
    QString string3;
};

/// Written: float, two bytes, string. Read: the float alone, from an 8-byte double, and the stream is left in
/// double precision.
struct ObstacleAvoidanceHeader
{
    float value = 0;
    quint8 byte1 = 0;
    quint8 byte2 = 0;
    QString string1;
};

/// Written; 8 bytes.
struct FirmwareHeader
{
    quint16 word1 = 0;
    quint16 word2 = 0;
    quint16 word3 = 0;
    quint16 word4 = 0;
};

NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const VehicleStateHeader &body);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const GprTraceHeader &body);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const GprTrace &body);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const GprStatus &body);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const AltimeterStatus &body);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const ScalarSensorStatus &body);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const TerrainFollowingStatusHeader &body);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const GrasshopperHeader &body);
NOFLAILSTEN_EXPORT QDataStream &operator>>(QDataStream &stream, GrasshopperHeader &body);
NOFLAILSTEN_EXPORT QDataStream &operator>>(QDataStream &stream, ConfigureTerrainFollowingHeader &body);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const SettingHeader &body);
NOFLAILSTEN_EXPORT QDataStream &operator>>(QDataStream &stream, SettingHeader &body);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const ObstacleAvoidanceHeader &body);
NOFLAILSTEN_EXPORT QDataStream &operator>>(QDataStream &stream, ObstacleAvoidanceHeader &body);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const FirmwareHeader &body);
