// SPDX-License-Identifier: MIT
#pragma once

#include "app/export.h"

#include <QByteArray>
#include <QDataStream>
#include <QMetaType>
#include <QVector>
#include <QtGlobal>

/// Kind of message and kind of payload of the on-board protocol. The host and the ground station assign the
/// numbers; to this library they are opaque, but for the few by which payloads are scheduled
/// (FragmentedCommunicator).
enum class MessageId : quint8 {};
enum class PayloadId : quint8 {};

/// A whole payload of the on-board protocol.
struct CompletePayload
{
    quint16 id = 0;        ///< Sequence number chosen by the sender.
    MessageId messageId{}; ///< Kind of message.
    PayloadId payloadId{}; ///< Kind of payload.
    QByteArray data;       ///< The payload bytes, at most 65535 of them.
};

/// What stands at the head of a fragment, little-endian:
///
///     offset   width  field
///     0        2      total size of the payload, bytes
///     2        2      payload id
///     4        2      offset of the fragment's data in the payload, bytes
///     6        1      MessageId
///     7        1      PayloadId
struct PayloadMessageHeader
{
    static constexpr int wireSize = 8; ///< Bytes.

    quint16 total = 0;
    quint16 id = 0;
    quint16 offset = 0;
    MessageId messageId{};
    PayloadId payloadId{};
};

/// One fragment of a payload: the whole body of one frame (OnboardMessage). The data has no length of its
/// own: it is what follows the header.
struct NOFLAILSTEN_EXPORT PayloadMessage
{
    PayloadMessageHeader header;
    QByteArray data;

    /// Cuts a payload into fragments of at most maxMessageSize bytes, header included, in ascending order of
    /// offset.
    ///
    /// The payload's size counts modulo 65536, so 65536 bytes give nothing and 65537 bytes one fragment of
    /// one byte; an empty payload gives nothing. The room for data is taken to 16 bits too: a maximum of 8
    /// gives nothing, one below 8 leaves room for 65528 bytes and more.
    static QVector<PayloadMessage> splitDataBlock(const CompletePayload &payload,
                                                  unsigned int maxMessageSize);
};

/// The wire form; the caller sets the stream to little-endian. Reading takes all that is left of the stream
/// for the data; a stream that ends in the header leaves its state at ReadPastEnd.
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const PayloadMessageHeader &header);
NOFLAILSTEN_EXPORT QDataStream &operator>>(QDataStream &stream, PayloadMessageHeader &header);
NOFLAILSTEN_EXPORT QDataStream &operator<<(QDataStream &stream, const PayloadMessage &fragment);
NOFLAILSTEN_EXPORT QDataStream &operator>>(QDataStream &stream, PayloadMessage &fragment);

Q_DECLARE_METATYPE(MessageId)
Q_DECLARE_METATYPE(PayloadId)
Q_DECLARE_METATYPE(CompletePayload)
