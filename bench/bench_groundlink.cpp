// SPDX-License-Identifier: MIT
// The ground link: a 64 KiB payload from the host's call to the frames that are handed over, beside the
// generated library alone; and fragments back to a payload, beside copies into a map.
#include "allocationcounter.h"

#include "app/app.h"
#include "autopilot/mavautopilot.h"
#include "communication/mavcommunicator.h"
#include "communication/onboardmessagedispatcher.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <malloc.h>
#include <random>
#include <vector>

namespace {

using mavlink::common::msg::V2_EXTENSION;

constexpr PayloadId AtOnce{254};
constexpr int PayloadSize = 65535;

CompletePayload largestPayload()
{
    std::mt19937 random(1); // zeros at the end of a message would be trimmed
    QByteArray data(PayloadSize, Qt::Uninitialized);
    std::generate(data.begin(), data.end(), [&random] { return static_cast<char>(random() | 1U); });
    return {7, MessageId{1}, AtOnce, data};
}

void report(benchmark::State &state, size_t fragments, std::uint64_t allocationsBefore)
{
    const double total = double(state.iterations()) * double(fragments);
    state.counters["ns_per_frame"] =
        benchmark::Counter(total * 1e-9, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["allocations_per_frame"] = double(heapAllocations() - allocationsBefore) / total;
    state.SetBytesProcessed(state.iterations() * PayloadSize);
}

/// The messages that the largest payload makes.
std::vector<V2_EXTENSION> extensionsOf(const CompletePayload &payload)
{
    runningApp()->updateSetting("MAV", "V2_EXTENSION", true);
    MavCommunicator communicator(20);
    std::vector<V2_EXTENSION> messages;
    QObject::connect(&communicator, &MavCommunicator::sendMavlinkMessage, &communicator,
                     [&messages](const mavlink::Message &message) {
                         messages.push_back(static_cast<const V2_EXTENSION &>(message));
                     });
    communicator.sendData(payload);
    return messages;
}

void BM_CarryGenerated(benchmark::State &state)
{
    const std::vector<V2_EXTENSION> messages = extensionsOf(largestPayload());
    std::array<quint8, MAVLINK_MAX_PACKET_LEN> frame;
    const std::uint64_t before = heapAllocations();
    for ([[maybe_unused]] auto _ : state) {
        for (const V2_EXTENSION &message : messages) {
            mavlink::mavlink_message_t wire;
            mavlink::MsgMap map(wire);
            message.serialize(map);
            mavlink::mavlink_finalize_message_chan(&wire, 2, 5, mavlink::MAVLINK_COMM_0, message.MIN_LENGTH,
                                                   message.LENGTH, message.CRC_EXTRA);
            benchmark::DoNotOptimize(mavlink::mavlink_msg_to_send_buffer(frame.data(), &wire));
            benchmark::ClobberMemory();
        }
    }
    report(state, messages.size(), before);
}

// Handed over to the driver's connection, which is not open and takes it no further.
void BM_CarryPayload(benchmark::State &state)
{
    const CompletePayload payload = largestPayload();
    const size_t fragments = extensionsOf(payload).size();
    MavAutopilot autopilot;
    ICommunicator *communicator = autopilot.communicator();
    const std::uint64_t before = heapAllocations();
    for ([[maybe_unused]] auto _ : state)
        communicator->sendData(payload);
    report(state, fragments, before);
}

QVector<PayloadMessage> fragments(bool shuffled)
{
    QVector<PayloadMessage> all = PayloadMessage::splitDataBlock(largestPayload(), 96);
    if (shuffled)
        std::shuffle(all.begin(), all.end(), std::mt19937(2));
    return all;
}

void copyToMap(benchmark::State &state, bool shuffled)
{
    const QVector<PayloadMessage> all = fragments(shuffled);
    const std::uint64_t before = heapAllocations();
    for ([[maybe_unused]] auto _ : state) {
        QMap<quint16, QByteArray> chunks;
        for (const PayloadMessage &fragment : all)
            chunks.insert(fragment.header.offset,
                          QByteArray(fragment.data.constData(), fragment.data.size()));
        benchmark::DoNotOptimize(chunks);
    }
    report(state, static_cast<size_t>(all.size()), before);
}

void reassemble(benchmark::State &state, bool shuffled)
{
    const QVector<PayloadMessage> all = fragments(shuffled);
    OnboardMessageDispatcher dispatcher;
    const std::uint64_t before = heapAllocations();
    for ([[maybe_unused]] auto _ : state) {
        QSharedPointer<CompletePayload> payload;
        for (const PayloadMessage &fragment : all)
            payload = dispatcher.putMessage(fragment);
        if (!payload || payload->data.size() != PayloadSize)
            state.SkipWithError("the payload is not complete");
    }
    report(state, static_cast<size_t>(all.size()), before);
}

/// From the frames as the carrier takes them out of V2_EXTENSION.
void receiveFrames(benchmark::State &state, bool shuffled)
{
    std::vector<QByteArray> frames;
    for (const V2_EXTENSION &message : extensionsOf(largestPayload())) {
        QByteArray frame(reinterpret_cast<const char *>(message.payload.data()) + 1, message.payload[0]);
        frame[0] = static_cast<char>(OnboardData);
        frames.push_back(frame);
    }
    if (shuffled)
        std::shuffle(frames.begin(), frames.end(), std::mt19937(2));
    MavCommunicator communicator(20);
    int payloads = 0;
    QObject::connect(&communicator, &ICommunicator::receivedData, &communicator, [&payloads] { ++payloads; });
    const std::uint64_t before = heapAllocations();
    for ([[maybe_unused]] auto _ : state)
        for (const QByteArray &frame : frames)
            communicator.parseIncomingData(frame);
    if (payloads != static_cast<int>(state.iterations()))
        state.SkipWithError("payloads are missing");
    report(state, frames.size(), before);
}

/// What a ground that opens payloads for ever and completes none makes us hold: of each, the smallest
/// fragments that count, all but one.
void BM_HostileGround(benchmark::State &state)
{
    OnboardMessageDispatcher dispatcher;
    const size_t before = ::mallinfo2().uordblks;
    size_t most = 0;
    PayloadMessage fragment{{PayloadSize, 0, 0, MessageId{1}, AtOnce}, QByteArray(1, 'x')};
    for ([[maybe_unused]] auto _ : state) {
        for (fragment.header.offset = 0; fragment.header.offset < PayloadSize - 1; ++fragment.header.offset) {
            fragment.data = QByteArray(1, 'x');
            dispatcher.putMessage(fragment);
        }
        ++fragment.header.id;
        most = std::max(most, ::mallinfo2().uordblks - before);
    }
    state.counters["held_bytes"] = double(most);
}

BENCHMARK(BM_CarryGenerated);
BENCHMARK(BM_CarryPayload);
BENCHMARK_CAPTURE(copyToMap, ordered, false)->Name("BM_CopyToMapOrdered");
BENCHMARK_CAPTURE(copyToMap, shuffled, true)->Name("BM_CopyToMapShuffled");
BENCHMARK_CAPTURE(reassemble, ordered, false)->Name("BM_ReassembleOrdered");
BENCHMARK_CAPTURE(reassemble, shuffled, true)->Name("BM_ReassembleShuffled");
BENCHMARK_CAPTURE(receiveFrames, ordered, false)->Name("BM_ReceiveFramesOrdered");
BENCHMARK_CAPTURE(receiveFrames, shuffled, true)->Name("BM_ReceiveFramesShuffled");
BENCHMARK(BM_HostileGround)->Iterations(25)->Repetitions(1);

} // namespace
