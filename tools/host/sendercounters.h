// SPDX-License-Identifier: MIT
#pragma once

#include "host/sequenceloss.h"

#include <chrono>
#include <optional>

/// Counts the frames of one sender, and tells its restarts from losses. A sender that has restarted begins at
/// any number, by its sequence alone a loss of up to 255 frames.
///
/// Of a sender that tells its time since boot, the time decides: if it has stepped back, the number that was
/// furthest off since the last time that was told began a new count; if not, frames were lost. Until the next
/// time is told, and of a sender that tells none, a jump back after a silence is taken for a restart, and any
/// other jump for a loss.
class SenderCounters
{
public:
    using Milliseconds = std::chrono::milliseconds;

    /// As long as a reboot is silent at least; nothing comes late after it.
    static constexpr Milliseconds Silence{1000};
    /// A time that has stepped back by less comes from a frame that was overtaken.
    static constexpr quint32 LeastStepBackMs = 1000;

    /// A frame has come. @param bootTimeMs what it says of the time since the sender's boot.
    /// @param now monotonic.
    void take(quint8 number, std::optional<quint32> bootTimeMs, Milliseconds now);
    /// The connection is a new one: nothing is known of what was sent meanwhile.
    void beginAnew();

    const SequenceLoss &loss() const { return restartLikelier ? *sinceRestart : sinceLoss; }
    qint64 restarts() const { return restartCount + (restartLikelier ? 1 : 0); }
    /// In percent of what was sent, as far as that is known.
    double lossPercent() const;

private:
    void suspectRestart(quint8 number, bool afterSilence);
    void judge(std::optional<quint32> bootTimeMs);
    void decide(bool restarted);

    SequenceLoss sinceLoss;                   // if what is missing was lost
    std::optional<SequenceLoss> sinceRestart; // if the sender has restarted where the numbers jumped
    int jump = 0;                             // how far
    bool restartLikelier = false;
    std::optional<quint32> lastBootTimeMs;
    std::optional<Milliseconds> lastHeard;
    qint64 restartCount = 0;
};
