// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

namespace mavlink {

/// A copy of a message of any kind, as it would go on the wire. Serialises like the original.
///
/// mavlink::Message is abstract, so Qt cannot copy one into a queued signal and drops the signal with a
/// warning. Registered as the meta-type "mavlink::Message", this is what it copies instead.
class NOFLAILSTEN_EXPORT MessageCopy final : public Message
{
public:
    MessageCopy();
    explicit MessageCopy(const Message &original);

    /// Makes references to mavlink::Message fit for queued signals. Thread-safe; once is enough.
    static void registerMetaType();

    std::string get_name() const override;
    Info get_message_info() const override { return info; }
    /// The bytes, in hex: the names of the fields are known to the original alone.
    std::string to_yaml() const override;
    void serialize(MsgMap &map) const override;
    void deserialize(MsgMap &map) override;

private:
    Info info;
    std::array<uint8_t, MAVLINK_MAX_PAYLOAD_LEN> payload{};
};

} // namespace mavlink
