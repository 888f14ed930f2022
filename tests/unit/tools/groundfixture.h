// SPDX-License-Identifier: MIT
#pragma once

#include "ground/framecarrier.h"
#include "link/link.h"

#include <QVector>

/// A link whose far end is the test: keeps what was written, and takes it at once or only when told to.
class FakeLink : public Link
{
public:
    bool open(QString *) override { return true; }
    QString address() const override { return QStringLiteral("fake"); }
    void write(const QByteArray &bytes) override
    {
        written.append(bytes);
        queued = stalled ? queued + bytes.size() : 0;
    }
    qint64 queuedBytes() const override { return queued; }
    void finish() override { Q_EMIT finished(); }

    void drain()
    {
        queued = 0;
        Q_EMIT drained();
    }

    /// Ids of the messages written, oldest first.
    QVector<quint32> messageIds() const
    {
        QVector<quint32> ids;
        for (const QByteArray &frame : written)
            ids.append(static_cast<quint8>(frame[7]) | static_cast<quint32>(static_cast<quint8>(frame[8]))
                                                           << 8);
        return ids;
    }

    QVector<QByteArray> written;
    qint64 queued = 0;
    bool stalled = false;
};

constexpr quint32 heartbeatId = 0;
constexpr quint32 v2ExtensionId = 248;

/// A MAVLink 2 frame as the vehicle sends it.
inline QByteArray vehicleFrame(const mavlink::Message &message)
{
    mavlink::mavlink_message_t raw = {};
    mavlink::mavlink_status_t state = {};
    mavlink::MsgMap map(raw);
    message.serialize(map);
    const auto info = message.get_message_info();
    mavlink::mavlink_finalize_message_buffer(&raw, 2, 5, &state, static_cast<uint8_t>(info.min_length),
                                             static_cast<uint8_t>(info.length), info.crc_extra);
    uint8_t bytes[MAVLINK_MAX_PACKET_LEN];
    const int size = mavlink::mavlink_msg_to_send_buffer(bytes, &raw);
    return QByteArray(reinterpret_cast<const char *>(bytes), size);
}
