// SPDX-License-Identifier: MIT
#pragma once

#include "ground/groundcommand.h"
#include "ground/payloadgaps.h"

#include <QElapsedTimer>
#include <QTimer>

#include <memory>

/// Pings at 10, 20, 40 … a second, each rate for a while, until one has loss or link and pace allow no more.
/// Each ping is an echo: once to the host and once back; nothing acknowledges a payload. Counts the host's
/// payloads meanwhile.
class BenchCommand : public GroundCommand
{
    Q_OBJECT

public:
    explicit BenchCommand(const Tools &tools);

    void begin() override;
    void reportEnd() override;

    /// What has been measured so far.
    const GroundReport::Benched &benched() const { return result; }

    /// The highest rate that a pace allows, in pings a second.
    static int highestRate(std::chrono::milliseconds pace);

private:
    void beginStep(int pingsPerSecond);
    void sendDue();
    void stopSending();
    void onAnswered();
    void endStep();
    void end(int exitCode);

    GroundReport::Benched result;
    PayloadGaps payloads;
    QElapsedTimer total;

    int rate = 0;
    int wanted = 0; // pings in this step
    std::unique_ptr<PingTracker> pings;
    QElapsedTimer stepTime;
    QTimer ticks;
    QTimer lastWait; // runs when all pings of the step have been sent
};
