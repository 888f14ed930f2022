// SPDX-License-Identifier: MIT
#include "ground/altimeterreading.h"

namespace {

constexpr quint16 AltimeterTag = 7;
constexpr int AltimeterSize = 7; // bytes

} // namespace

std::optional<AltimeterStatus> readAltimeterStatus(const CompletePayload &payload)
{
    if (payload.messageId != MessageId{1} || payload.payloadId != PayloadId{4} ||
        payload.data.size() != AltimeterSize)
        return std::nullopt;
    QDataStream stream(payload.data);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream.setFloatingPointPrecision(QDataStream::SinglePrecision);
    quint16 tag = 0;
    AltimeterStatus status;
    stream >> tag >> status.value >> status.status;
    if (tag != AltimeterTag)
        return std::nullopt;
    return status;
}
