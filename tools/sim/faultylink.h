// SPDX-License-Identifier: MIT
#pragma once

#include "link/link.h"
#include "sim/linkfaults.h"

#include <QTimer>

#include <functional>
#include <vector>

/// A link whose clients each have a bad line to it. What is written is lost, damaged or late as a whole, so
/// write frames. What clients send comes through as it is.
///
/// Overflow rule: a line on which LinkFaults::queueLimit writes are on the way is as full as can be:
/// queuedBytes() says so, and who writes nevertheless loses it.
class FaultyLink : public Link
{
    Q_OBJECT

public:
    /// Monotonic time since the start, by which lines stall. Tests bring their own.
    using TimeSource = std::function<SimTime()>;

    /// The link is not owned and outlives this one. Clients that join are numbered, for their faults, from
    /// the first number on.
    FaultyLink(Link *good, const LinkFaults::Settings &faults, int firstNumber, TimeSource sinceStart);

    bool open(QString *error) override { return good->open(error); }
    QString address() const override { return good->address(); }
    void write(const QByteArray &bytes) override;
    qint64 queuedBytes() const override;
    /// Waits until nothing is on the way, and then as the link does.
    void finish() override;

    /// Brings what is late to its clients. Called every 2 ms by a timer.
    void deliver();

private:
    struct Line
    {
        int client = 0;
        LinkFaults faults;
    };

    void join(int client);
    void leave(int client);
    bool isAnythingOnTheWay() const;
    bool isFull() const;

    Link *const good;
    const LinkFaults::Settings settings;
    const TimeSource now;
    int nextNumber;
    bool finishing = false;
    std::vector<Line> lines;
    QTimer timer;
};
