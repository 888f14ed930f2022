// SPDX-License-Identifier: MIT
#include "sim/px4unknownmessages.h"

#include "sim/telemetry.h"

#include <QtEndian>

namespace {

/// A message that begins with the time, of which our dialects know neither the fields nor the checksum seed.
OutgoingMessage unknown(quint32 id, int length, const Aircraft &aircraft)
{
    const quint8 seed = 42;
    QByteArray payload(length, '\1');
    if (length >= 4)
        qToLittleEndian(Telemetry::bootMs(aircraft), payload.data());
    return {id, payload, static_cast<quint8>(length), seed};
}

} // namespace

std::optional<OutgoingMessage> Px4UnknownMessages::make(quint32 id, const Aircraft &aircraft)
{
    switch (id) {
    case LinkStatus:
        return unknown(id, 22, aircraft);
    case TimeEstimate:
        return unknown(id, 20, aircraft);
    case EventSequence:
        return unknown(id, 1, aircraft);
    case AvailableModes:
        return unknown(id, 8, aircraft);
    default:
        return std::nullopt;
    }
}

OutgoingMessage Px4UnknownMessages::event(quint32 number, const Aircraft &aircraft)
{
    OutgoingMessage message = unknown(Event, 14, aircraft);
    qToLittleEndian(number, message.payload.data());
    return message;
}
