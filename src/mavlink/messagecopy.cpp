// SPDX-License-Identifier: MIT
#include "mavlink/messagecopy.h"

#include <QByteArray>
#include <QMetaType>

#include <cstring>
#include <new>

namespace mavlink {

namespace {

void *construct(void *where, const void *original)
{
    if (!original)
        return new (where) MessageCopy;
    return new (where) MessageCopy(*static_cast<const Message *>(original));
}

void destruct(void *copy)
{
    static_cast<MessageCopy *>(copy)->~MessageCopy();
}

} // namespace

MessageCopy::MessageCopy()
    : info{MSG_ID, LENGTH, MIN_LENGTH, CRC_EXTRA}
{}

MessageCopy::MessageCopy(const Message &original)
    : info(original.get_message_info())
{
    mavlink_message_t wire;
    MsgMap map(wire);
    original.serialize(map);
    std::memcpy(payload.data(), _MAV_PAYLOAD(&wire), info.length);
}

void MessageCopy::registerMetaType()
{
    static const int id = QMetaType::registerNormalizedType(
        "mavlink::Message", destruct, construct, sizeof(MessageCopy),
        QMetaType::NeedsConstruction | QMetaType::NeedsDestruction, nullptr);
    Q_UNUSED(id)
}

std::string MessageCopy::get_name() const
{
    return "MESSAGE_" + std::to_string(info.id);
}

std::string MessageCopy::to_yaml() const
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(payload.data()),
                                                     static_cast<int>(info.length));
    return get_name() + ":\n  payload: " + bytes.toHex().toStdString() + '\n';
}

void MessageCopy::serialize(MsgMap &map) const
{
    map.reset(info.id, static_cast<uint8_t>(info.length));
    for (size_t i = 0; i < info.length; ++i)
        map << payload[i];
}

void MessageCopy::deserialize(MsgMap &map)
{
    for (size_t i = 0; i < info.length; ++i)
        map >> payload[i];
}

} // namespace mavlink
