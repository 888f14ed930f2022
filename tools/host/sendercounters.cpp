// SPDX-License-Identifier: MIT
#include "host/sendercounters.h"

#include <cstdlib>

void SenderCounters::take(quint8 number, std::optional<quint32> bootTimeMs, Milliseconds now)
{
    const bool afterSilence = lastHeard && now - *lastHeard >= Silence;
    lastHeard = now;
    suspectRestart(number, afterSilence);
    sinceLoss.take(number, !afterSilence);
    if (sinceRestart)
        sinceRestart->take(number);
    judge(bootTimeMs);
}

void SenderCounters::beginAnew()
{
    decide(restartLikelier);
    sinceLoss.beginAnew();
}

double SenderCounters::lossPercent() const
{
    const auto sent = static_cast<double>(loss().received() + loss().lost());
    return sent > 0 ? 100 * static_cast<double>(loss().lost()) / sent : 0;
}

// From here on both are counted, until it is known which it was.
void SenderCounters::suspectRestart(quint8 number, bool afterSilence)
{
    const int offset = sinceLoss.offset(number);
    const bool back = afterSilence && offset < -1; // -1: the newest again
    if (offset == 0 || (sinceRestart && !back && (restartLikelier || std::abs(offset) < jump)))
        return;
    decide(restartLikelier && back);
    sinceRestart = sinceLoss;
    sinceRestart->beginAnew();
    jump = std::abs(offset);
    restartLikelier = back;
}

void SenderCounters::judge(std::optional<quint32> bootTimeMs)
{
    if (bootTimeMs) {
        const bool steppedBack = lastBootTimeMs && *lastBootTimeMs > *bootTimeMs &&
                                 *lastBootTimeMs - *bootTimeMs >= LeastStepBackMs;
        if (steppedBack && !sinceRestart)
            ++restartCount; // at just the number that would have been next
        decide(steppedBack);
        lastBootTimeMs = bootTimeMs;
    } else if (!lastBootTimeMs) {
        decide(restartLikelier);
    }
}

void SenderCounters::decide(bool restarted)
{
    if (sinceRestart && restarted) {
        sinceLoss = *sinceRestart;
        lastBootTimeMs.reset();
        ++restartCount;
    }
    sinceRestart.reset();
    restartLikelier = false;
}
