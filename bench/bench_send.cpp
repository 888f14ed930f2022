// SPDX-License-Identifier: MIT
// The send path: a HEARTBEAT from the message object to the bytes that are handed over, beside the generated
// library alone.
#include "allocationcounter.h"

#include "app/app.h"
#include "autopilot/mavautopilot.h"

#include <benchmark/benchmark.h>

#include <array>

namespace {

mavlink::minimal::msg::HEARTBEAT heartbeat()
{
    mavlink::minimal::msg::HEARTBEAT message{};
    message.type = 18;
    message.autopilot = 8;
    message.system_status = 4;
    return message;
}

void report(benchmark::State &state, std::uint64_t allocationsBefore)
{
    state.counters["ns_per_frame"] = benchmark::Counter(
        double(state.iterations()) * 1e-9, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["allocations_per_frame"] =
        double(heapAllocations() - allocationsBefore) / double(state.iterations());
}

void BM_SendGenerated(benchmark::State &state)
{
    const auto message = heartbeat();
    std::array<quint8, MAVLINK_MAX_PACKET_LEN> frame;
    const std::uint64_t before = heapAllocations();
    for ([[maybe_unused]] auto _ : state) {
        mavlink::mavlink_message_t wire;
        mavlink::MsgMap map(wire);
        message.serialize(map);
        mavlink::mavlink_finalize_message_chan(&wire, 2, 5, mavlink::MAVLINK_COMM_0, message.MIN_LENGTH,
                                               message.LENGTH, message.CRC_EXTRA);
        benchmark::DoNotOptimize(mavlink::mavlink_msg_to_send_buffer(frame.data(), &wire));
        benchmark::ClobberMemory();
    }
    report(state, before);
}

// Handed over to the driver's connection, which is not open and takes it no further.
void BM_SendMessage(benchmark::State &state)
{
    MavAutopilot autopilot;
    const auto message = heartbeat();
    const std::uint64_t before = heapAllocations();
    for ([[maybe_unused]] auto _ : state)
        autopilot.sendMessage(message);
    report(state, before);
}

BENCHMARK(BM_SendGenerated);
BENCHMARK(BM_SendMessage);

} // namespace
