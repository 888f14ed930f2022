// SPDX-License-Identifier: MIT
#pragma once

#include "sim/simtime.h"

#include <QMap>
#include <QVector>

/// Which messages an autopilot sends on one link, and when.
///
/// A link has a budget. When what is wanted does not fit, the streams that may be slowed down all are, by the
/// same factor, until it fits. Starved ones then get half of that.
class StreamSchedule
{
public:
    enum class Priority { Steady, Scaled, Starved };

    /// Bytes a second; 0 is without limit.
    explicit StreamSchedule(double budgetBytesPerSecond = 0)
        : budget(budgetBytesPerSecond)
    {}

    /// A rate of 0 ends the stream. One whose rate changes starts anew from now.
    void setRate(quint32 id, double rateHz, SimTime now, Priority priority = Priority::Scaled);
    /// Changes a stream, or makes one that may be slowed down.
    void changeRate(quint32 id, double rateHz, SimTime now);
    double rateOf(quint32 id) const { return streams.value(id).rateHz; }
    void clear() { streams.clear(); }

    /// The messages that are due, each once, by their ids. Late ones are not made up for.
    QVector<quint32> takeDue(SimTime now);
    /// How large a frame of that message turned out to be; the budget counts with it.
    void noteFrameSize(quint32 id, int bytes);
    /// What the wanted rates are multiplied with: above 0, at most 1.
    double scale() const;

private:
    struct Stream
    {
        double rateHz = 0;
        Priority priority = Priority::Scaled;
        int frameBytes = 40;
        SimTime due{0};
    };

    /// A stream's share of its rate when the others have that much of theirs.
    static double shareOf(const Stream &stream, double factor);

    double budget;
    QMap<quint32, Stream> streams;
};
