// SPDX-License-Identifier: MIT
#include "sim/streamschedule.h"

#include <algorithm>

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
        const double rate = stream->rateHz * (stream->priority == Priority::Scaled ? factor : 1);
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
    double scaled = 0;
    for (const Stream &stream : streams)
        (stream.priority == Priority::Scaled ? scaled : steady) += stream.rateHz * stream.frameBytes;
    if (budget <= 0 || steady + scaled <= budget)
        return 1;
    return std::max(least, (budget - steady) / scaled);
}
