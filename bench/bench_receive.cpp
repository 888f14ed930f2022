// SPDX-License-Identifier: MIT
// The receive path: from dispatchReceivedData() to the last App signal, beside the bare generated parser on
// the same bytes.
#include "allocationcounter.h"
#include "recordedframes.h"

#include "app/app.h"
#include "autopilot/mavautopilot.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace {

constexpr int ReadSize = 1024; // about what a socket hands over at a time

// What a host has at least: one receiver per telemetry signal.
struct Receivers
{
    Receivers()
    {
        App *app = runningApp();
        QObject::connect(app, &App::roll, &context, [this](float v) { sum += double(v); });
        QObject::connect(app, &App::pitch, &context, [this](float v) { sum += double(v); });
        QObject::connect(app, &App::yaw, &context, [this](float v) { sum += double(v); });
        QObject::connect(app, &App::velocity, &context, [this](double v) { sum += v; });
        QObject::connect(app, &App::gpsCoordinate, &context, [this](GeoCoordinates v) { sum += v.latitude; });
        QObject::connect(app, &App::altitude, &context,
                         [this](ScalarSensorData v) { sum += double(v.value); });
        QObject::connect(app, &App::rawAltimeterValue, &context,
                         [this](ScalarSensorData v) { sum += double(v.value); });
        QObject::connect(app, &App::vehicleLocalPos, &context, [this](Value3d v) { sum += v.x; });
    }
    ~Receivers() { benchmark::DoNotOptimize(sum); }

    QObject context;
    double sum = 0;
};

void report(benchmark::State &state, int frames, std::uint64_t allocationsBefore)
{
    const double total = double(state.iterations()) * frames;
    state.counters["ns_per_frame"] =
        benchmark::Counter(total * 1e-9, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["allocations_per_frame"] = double(heapAllocations() - allocationsBefore) / total;
}

void bareParser(benchmark::State &state, const QByteArray &bytes, int frames)
{
    mavlink::mavlink_message_t message{};
    mavlink::mavlink_status_t status{};
    const std::uint64_t before = heapAllocations();
    for ([[maybe_unused]] auto _ : state) {
        unsigned int sum = 0;
        for (const char byte : bytes)
            if (mavlink::mavlink_parse_char(mavlink::MAVLINK_COMM_0, static_cast<quint8>(byte), &message,
                                            &status) == mavlink::MAVLINK_FRAMING_OK)
                sum += message.msgid;
        benchmark::DoNotOptimize(sum);
    }
    report(state, frames, before);
}

void receivePath(benchmark::State &state, const QByteArray &bytes, int frames)
{
    MavAutopilot autopilot;
    const Receivers receivers;
    QList<QByteArray> reads;
    for (int at = 0; at < bytes.size(); at += ReadSize)
        reads.append(bytes.mid(at, ReadSize));
    const auto dispatchAll = [&] {
        for (const QByteArray &read : qAsConst(reads))
            autopilot.dispatchReceivedData(read);
    };
    autopilot.dispatchReceivedData(recordedFrames().handled); // detects the autopilot, sets clock and origin
    const std::uint64_t before = heapAllocations();
    for ([[maybe_unused]] auto _ : state)
        dispatchAll();
    report(state, frames, before);
}

void BM_ParseHandled(benchmark::State &state)
{
    bareParser(state, recordedFrames().handled, recordedFrames().handledCount);
}

void BM_ReceiveHandled(benchmark::State &state)
{
    receivePath(state, recordedFrames().handled, recordedFrames().handledCount);
}

void BM_ParseIgnored(benchmark::State &state)
{
    bareParser(state, recordedFrames().ignored, recordedFrames().ignoredCount);
}

void BM_ReceiveIgnored(benchmark::State &state)
{
    receivePath(state, recordedFrames().ignored, recordedFrames().ignoredCount);
}

BENCHMARK(BM_ParseHandled)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReceiveHandled)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ParseIgnored)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReceiveIgnored)->Unit(benchmark::kMillisecond);

} // namespace
