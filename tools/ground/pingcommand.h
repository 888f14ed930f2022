// SPDX-License-Identifier: MIT
#pragma once

#include "ground/groundcommand.h"

#include <QTimer>

/// Pings at an interval and reports each answer. With a count it ends when all are answered, or some time
/// after the last; without any answer that is a failure.
class PingCommand : public GroundCommand
{
    Q_OBJECT

public:
    explicit PingCommand(const Tools &tools);

    void begin() override;
    void reportEnd() override;

private:
    void ping();
    void onAnswered(const PingTracker::Answer &answer);
    void end();

    PingTracker pings;
    QTimer interval;
    QTimer lastWait; // runs when all pings have been sent
};
