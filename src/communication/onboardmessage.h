// SPDX-License-Identifier: MIT
#pragma once

#include "app/export.h"

#include <QByteArray>
#include <QtGlobal>

#include <memory>

/// Frame types in use; the numbers are the protocol's. Other types parse, and are ignored by the
/// communicators.
enum OnboardMessageId : quint8 {
    OnboardTelemetry = 2, ///< Vehicle to ground: one payload fragment.
    OnboardPong = 4,      ///< Answer to a ping.
    OnboardData = 252,    ///< Ground to vehicle: one payload fragment with data for the host.
    OnboardPing = 254     ///< Ground to vehicle: ping.
};

/// One frame of the on-board protocol:
///
///     offset   width  field
///     0        1      type
///     1        1      length N of the body, 0 to 255
///     2        N      body
///     2 + N    2      CRC-16/MCRF4XX of type, length and body, little-endian
///
/// The checksum is written but not looked at on receipt: the MAVLink frame around it has one already.
class NOFLAILSTEN_EXPORT OnboardMessage
{
public:
    /// A frame to send, with a body of zeros. The caller fills `data` and calls calcCrc().
    OnboardMessage(unsigned char type, unsigned char length);
    /// Parses a received frame. Anything shorter than its header and the body it announces leaves `valid`
    /// false and `data` null; a missing or wrong checksum and whatever follows do not matter.
    explicit OnboardMessage(const QByteArray &bytes);
    ~OnboardMessage();
    OnboardMessage(const OnboardMessage &) = delete;
    OnboardMessage &operator=(const OnboardMessage &) = delete;

    /// Computes the checksum of type, length and body anew.
    void calcCrc();
    /// Folds bytes into the checksum.
    void updateCrc(const void *bytes, unsigned int size);
    /// The frame as it goes on the wire; computes the checksum first.
    QByteArray toByteArray();

    quint8 type = 0;
    quint8 length = 0;             ///< Bytes in the body.
    unsigned char *data = nullptr; ///< The body, owned; null after a failed parse.
    quint16 crc = 0;
    bool valid = false; ///< Built, or parsed successfully.

private:
    std::unique_ptr<unsigned char[]> body;
};
