// SPDX-License-Identifier: MIT
#pragma once

#include "link/link.h"
#include "mavlink/mavlink.h"

#include <QByteArray>
#include <QMap>

/// Frames of MAVLink 2 from any source, sequence number 0.
namespace Frames {

struct Source
{
    quint8 system;
    quint8 component;
};

inline QByteArray encode(const mavlink::Message &message, Source source)
{
    mavlink::mavlink_message_t wire = {};
    mavlink::mavlink_status_t state = {};
    mavlink::MsgMap map(wire);
    message.serialize(map);
    const mavlink::Message::Info info = message.get_message_info();
    mavlink::mavlink_finalize_message_buffer(&wire, source.system, source.component, &state,
                                             static_cast<quint8>(info.min_length),
                                             static_cast<quint8>(info.length), info.crc_extra);
    quint8 frame[MAVLINK_MAX_PACKET_LEN];
    const int size = mavlink::mavlink_msg_to_send_buffer(frame, &wire);
    return QByteArray(reinterpret_cast<const char *>(frame), size);
}

inline QByteArray heartbeat(Source source)
{
    return encode(mavlink::minimal::msg::HEARTBEAT{}, source);
}

inline QByteArray extension(Source source, quint8 targetSystem, quint8 targetComponent = 0)
{
    mavlink::common::msg::V2_EXTENSION message = {};
    message.message_type = 251;
    message.target_system = targetSystem;
    message.target_component = targetComponent;
    message.payload.fill(7);
    return encode(message, source);
}

inline QByteArray data96(Source source)
{
    mavlink::ardupilotmega::msg::DATA96 message = {};
    message.len = 96;
    message.data.fill(7);
    return encode(message, source);
}

} // namespace Frames

/// A link whose clients the test plays. Keeps what each client is sent.
class FakeLink : public Link
{
public:
    bool open(QString *) override { return true; }
    QString address() const override { return QStringLiteral("fake"); }
    void write(const QByteArray &) override {}
    void writeTo(int client, const QByteArray &bytes) override { sent[client].append(bytes); }
    qint64 queuedBytes() const override { return 0; }
    qint64 queuedBytesOf(int client) const override { return queued.value(client); }
    void finish() override {}

    void join(int client = 0) { Q_EMIT clientJoined(client); }
    void leave(int client = 0) { Q_EMIT clientLeft(client); }
    void receive(const QByteArray &bytes, int client = 0) { Q_EMIT received(bytes, client); }
    /// What a client was sent since the last call.
    QList<QByteArray> take(int client = 0) { return sent.take(client); }

    QMap<int, qint64> queued;

private:
    QMap<int, QList<QByteArray>> sent;
};
