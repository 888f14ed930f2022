// SPDX-License-Identifier: MIT
#include "autopilot/telemetryrequests.h"

namespace {

namespace msg = mavlink::common::msg;
using mavlink::common::MAV_DATA_STREAM;

constexpr float MicrosecondsPerSecond = 1000000.0F;
constexpr quint8 AutopilotComponent = 1;

struct Interval
{
    mavlink::msgid_t messageId;
    float us;
};

} // namespace

void TelemetryRequests::forPx4(quint8 targetSystem, int rateHz, const Request &request)
{
    const float telemetryIntervalUs = MicrosecondsPerSecond / static_cast<float>(rateHz);
    // GPS2_RAW (124), though GPS_RAW_INT (24) is what we handle: kept, so that the wire stays as it was.
    const Interval intervals[] = {{msg::GPS2_RAW::MSG_ID, telemetryIntervalUs},
                                  {mavlink::standard::msg::GLOBAL_POSITION_INT::MSG_ID, telemetryIntervalUs},
                                  {msg::ATTITUDE::MSG_ID, telemetryIntervalUs},
                                  {msg::SYSTEM_TIME::MSG_ID, MicrosecondsPerSecond},
                                  {msg::DISTANCE_SENSOR::MSG_ID, MicrosecondsPerSecond}};
    for (const Interval &interval : intervals) {
        msg::COMMAND_LONG command{};
        command.target_system = targetSystem;
        command.target_component = AutopilotComponent;
        command.command = static_cast<quint16>(mavlink::ardupilotmega::MAV_CMD::SET_MESSAGE_INTERVAL);
        command.param1 = static_cast<float>(interval.messageId);
        command.param2 = interval.us;
        request(command);
    }
}

void TelemetryRequests::dataStream(quint8 targetSystem, MAV_DATA_STREAM stream, int rateHz,
                                   const Request &request)
{
    msg::REQUEST_DATA_STREAM wanted{};
    wanted.target_system = targetSystem;
    wanted.target_component = AutopilotComponent;
    wanted.req_stream_id = static_cast<quint8>(stream);
    wanted.req_message_rate = static_cast<quint16>(rateHz);
    wanted.start_stop = 1;
    request(wanted);
}

void TelemetryRequests::forArduPilot(quint8 targetSystem, int rateHz, const Request &request)
{
    for (const MAV_DATA_STREAM stream : {MAV_DATA_STREAM::POSITION, MAV_DATA_STREAM::EXTENDED_STATUS,
                                         MAV_DATA_STREAM::EXTRA1, MAV_DATA_STREAM::EXTRA3})
        dataStream(targetSystem, stream, rateHz, request);
}
