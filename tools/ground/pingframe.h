// SPDX-License-Identifier: MIT
#pragma once

#include "communication/onboardmessage.h"

#include <QByteArray>

#include <optional>

/// What a ping and a pong say:
///
///     offset   width  field
///     0        8      milliseconds since 1970-01-01 UTC, little-endian, signed; a pong echoes its ping's
///     8        1      protocol version, major
///     9        1      protocol version, minor
///
/// A version may be missing, or its minor alone; what is missing counts as in 0.1.
struct PingBody
{
    qint64 timestampMs = 0;
    quint8 versionMajor = 0;
    quint8 versionMinor = 1;

    /// Nothing when the body is too short for the timestamp. The frame has to be valid.
    [[nodiscard]] static std::optional<PingBody> read(const OnboardMessage &frame);
    /// The frame of a ping with this timestamp and our version, 0.2.
    static QByteArray makePing(qint64 timestampMs);
};
