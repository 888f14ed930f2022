// SPDX-License-Identifier: MIT
#include "ground/pingframe.h"

#include <QtEndian>

namespace {

constexpr int TimestampSize = 8;
constexpr quint8 OwnMajor = 0;
constexpr quint8 OwnMinor = 2;

} // namespace

std::optional<PingBody> PingBody::read(const OnboardMessage &frame)
{
    if (frame.length < TimestampSize)
        return std::nullopt;
    PingBody body;
    body.timestampMs = qFromLittleEndian<qint64>(frame.data);
    if (frame.length > TimestampSize)
        body.versionMajor = frame.data[TimestampSize];
    if (frame.length > TimestampSize + 1)
        body.versionMinor = frame.data[TimestampSize + 1];
    return body;
}

QByteArray PingBody::makePing(qint64 timestampMs)
{
    OnboardMessage frame(OnboardPing, TimestampSize + 2);
    qToLittleEndian(timestampMs, frame.data);
    frame.data[TimestampSize] = OwnMajor;
    frame.data[TimestampSize + 1] = OwnMinor;
    return frame.toByteArray();
}
