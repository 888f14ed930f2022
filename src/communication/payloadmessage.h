// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QtGlobal>

/// Kind of message and kind of payload of the on-board protocol. The host and the ground station assign the
/// numbers; to this library they are opaque.
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

Q_DECLARE_METATYPE(MessageId)
Q_DECLARE_METATYPE(PayloadId)
Q_DECLARE_METATYPE(CompletePayload)
