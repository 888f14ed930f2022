// SPDX-License-Identifier: MIT
#include "communication/payloadmessage.h"

#include <QIODevice>

#include <algorithm>

QVector<PayloadMessage> PayloadMessage::splitDataBlock(const CompletePayload &payload,
                                                       unsigned int maxMessageSize)
{
    const auto total = static_cast<quint16>(payload.data.size());
    const auto chunk = static_cast<quint16>(maxMessageSize - PayloadMessageHeader::wireSize);
    QVector<PayloadMessage> fragments;
    if (total == 0 || chunk == 0)
        return fragments;
    fragments.reserve((total + chunk - 1) / chunk);
    // Wider than the field: near 65535 the offset after the last one does not fit it.
    for (int offset = 0; offset < total; offset += chunk) {
        fragments.append(
            {{total, payload.id, static_cast<quint16>(offset), payload.messageId, payload.payloadId},
             payload.data.mid(offset, std::min<int>(total - offset, chunk))});
    }
    return fragments;
}

QDataStream &operator<<(QDataStream &stream, const PayloadMessageHeader &header)
{
    return stream << static_cast<qint16>(header.total) << static_cast<qint16>(header.id)
                  << static_cast<qint16>(header.offset) << static_cast<quint8>(header.messageId)
                  << static_cast<quint8>(header.payloadId);
}

QDataStream &operator>>(QDataStream &stream, PayloadMessageHeader &header)
{
    qint16 total = 0;
    qint16 id = 0;
    qint16 offset = 0;
    quint8 messageId = 0;
    quint8 payloadId = 0;
    stream >> total >> id >> offset >> messageId >> payloadId;
    header = {static_cast<quint16>(total), static_cast<quint16>(id), static_cast<quint16>(offset),
              MessageId{messageId}, PayloadId{payloadId}};
    return stream;
}

QDataStream &operator<<(QDataStream &stream, const PayloadMessage &fragment)
{
    stream << fragment.header;
    stream.writeRawData(fragment.data.constData(), fragment.data.size());
    return stream;
}

QDataStream &operator>>(QDataStream &stream, PayloadMessage &fragment)
{
    stream >> fragment.header;
    fragment.data = stream.device()->readAll();
    return stream;
}
