// SPDX-License-Identifier: MIT
#include "sim/streamschedule.h"

#include <algorithm>

namespace {

constexpr double starvedShare = 0.5;

} // namespace

void StreamSchedule::setRate(quint32 id, double rateHz, SimTime now, Priority priority)
{
    const double leastHz = 1e-6; // once in eleven days is never
    if (!(rateHz >= leastHz)) {
        streams.remove(id);
        return;
    }
    Stream &stream = streams[id];
    stream.priority = priority;
    if (stream.rateHz == rateHz)
        return;
    stream.rateHz = rateHz;
    stream.due = now;
}

void StreamSchedule::changeRate(quint32 id, double rateHz, SimTime now)
{
    setRate(id, rateHz, now, streams.value(id).priority);
}

QVector<quint32> StreamSchedule::takeDue(SimTime now)
{
    QVector<quint32> ids;
    const double factor = scale();
    for (auto stream = streams.begin(); stream != streams.end(); ++stream) {
        if (stream->due > now)
            continue;
        ids.append(stream.key());
        const double rate = stream->rateHz * shareOf(*stream, factor);
        stream->due = std::max(stream->due + fromSeconds(1 / rate), now);
    }
    return ids;
}

void StreamSchedule::noteFrameSize(quint32 id, int bytes)
{
    const auto stream = streams.find(id);
    if (stream != streams.end())
        stream->frameBytes = bytes;
}

double StreamSchedule::scale() const
{
    const double least = 0.01;
    double steady = 0;
    double wanted = 0;
    double scaled = 0;
    for (const Stream &stream : streams) {
        const double bytes = stream.rateHz * stream.frameBytes;
        wanted += bytes;
        if (stream.priority == Priority::Steady)
            steady += bytes;
        else
            scaled += bytes * (stream.priority == Priority::Starved ? starvedShare : 1);
    }
    if (budget <= 0 || wanted <= budget)
        return 1;
    return std::clamp((budget - steady) / scaled, least, 1.0);
}

double StreamSchedule::shareOf(const Stream &stream, double factor)
{
    if (stream.priority == Priority::Steady || factor == 1)
        return 1;
    return stream.priority == Priority::Starved ? factor * starvedShare : factor;
}
