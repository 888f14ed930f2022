// SPDX-License-Identifier: MIT
#include "host/linkcounters.h"

#include "host/detectedautopilot.h"

using mavlink::mavlink_message_t;
using mavlink::common::msg::ATTITUDE;
using mavlink::common::msg::SYSTEM_TIME;
using mavlink::standard::msg::GLOBAL_POSITION_INT;

namespace {

template <typename Message>
quint32 bootTimeOf(const mavlink_message_t &message)
{
    Message timed;
    mavlink::MsgMap map(&message);
    timed.deserialize(map);
    return timed.time_boot_ms;
}

/// From messages that autopilots send often.
std::optional<quint32> bootTimeMs(const mavlink_message_t &message)
{
    switch (message.msgid) {
    case SYSTEM_TIME::MSG_ID:
        return bootTimeOf<SYSTEM_TIME>(message);
    case ATTITUDE::MSG_ID:
        return bootTimeOf<ATTITUDE>(message);
    case GLOBAL_POSITION_INT::MSG_ID:
        return bootTimeOf<GLOBAL_POSITION_INT>(message);
    default:
        return std::nullopt;
    }
}

LinkCounters::SenderId senderIdOf(const mavlink_message_t &message)
{
    return {message.sysid, message.compid};
}

bool operator==(const LinkCounters::SenderId &one, const LinkCounters::SenderId &other)
{
    return one.system == other.system && one.component == other.component;
}

} // namespace

void LinkCounters::take(const QByteArray &bytes, Milliseconds now)
{
    byteCount += bytes.size();
    for (const char byte : bytes) {
        switch (parser.take(static_cast<quint8>(byte))) {
        case LinkParser::Outcome::Nothing:
            break;
        case LinkParser::Outcome::Frame:
            takeFrame(now);
            break;
        case LinkParser::Outcome::BadChecksum:
            ++badCount;
            break;
        case LinkParser::Outcome::UnknownId:
            takeUnknown(now);
            break;
        }
    }
}

void LinkCounters::takeFrame(Milliseconds now)
{
    ++frameCount;
    const mavlink_message_t &message = parser.message();
    const SenderId id = senderIdOf(message);
    if (DetectedAutopilot::kindIn(message) != mavlink::minimal::MAV_AUTOPILOT::INVALID) {
        if (!autopilotId)
            autopilotId = id;
        if (*autopilotId == id)
            lastHeartbeat = now;
    }
    if (SenderCounters *sender = senderOf(id))
        sender->take(message.seq, bootTimeMs(message), now);
    else
        ++otherCount;
}

// They came, so they are not lost; but they make nobody a sender, as their checksum says too little for that.
void LinkCounters::takeUnknown(Milliseconds now)
{
    ++unknownCount;
    const auto sender = counters.find(senderIdOf(parser.message()));
    if (sender != counters.end())
        sender->second.take(parser.message().seq, std::nullopt, now);
}

void LinkCounters::beginAnew()
{
    for (auto &sender : counters)
        sender.second.beginAnew();
}

const SenderCounters *LinkCounters::autopilot() const
{
    const auto found = autopilotId ? counters.find(*autopilotId) : counters.end();
    return found != counters.end() ? &found->second : nullptr;
}

std::optional<LinkCounters::Milliseconds> LinkCounters::heartbeatAge(Milliseconds now) const
{
    return lastHeartbeat ? std::make_optional(now - *lastHeartbeat) : std::nullopt;
}

SenderCounters *LinkCounters::senderOf(const SenderId &id)
{
    const auto found = counters.find(id);
    if (found != counters.end())
        return &found->second;
    const bool isAutopilot = autopilotId && *autopilotId == id;
    return isAutopilot || counters.size() < MaxSenders ? &counters[id] : nullptr;
}
