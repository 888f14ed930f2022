// SPDX-License-Identifier: MIT
#include "ground/pingcommand.h"

#include "common/exitcode.h"

PingCommand::PingCommand(const Tools &all)
    : GroundCommand(all)
    , pings(&all.sender, all.receiver)
{
    interval.setTimerType(Qt::PreciseTimer);
    interval.setInterval(tools.options.interval);
    lastWait.setSingleShot(true);
    lastWait.setInterval(tools.options.timeout);
    connect(&interval, &QTimer::timeout, this, &PingCommand::ping);
    connect(&lastWait, &QTimer::timeout, this, &PingCommand::end);
    connect(&pings, &PingTracker::answered, this, &PingCommand::onAnswered);
}

void PingCommand::begin()
{
    interval.start();
    ping();
}

void PingCommand::ping()
{
    pings.ping();
    if (pings.pingCount() != tools.options.count)
        return;
    interval.stop();
    lastWait.start();
}

void PingCommand::onAnswered(const PingTracker::Answer &answer)
{
    tools.report.pong(answer);
    if (pings.answerCount() == tools.options.count)
        end();
}

void PingCommand::end()
{
    lastWait.stop();
    reportEnd();
    if (pings.answerCount() == 0)
        tools.report.error(QStringLiteral("no answer from the vehicle"));
    Q_EMIT done(pings.answerCount() == 0 ? ExitCode::NotHappened : ExitCode::Done);
}

void PingCommand::reportEnd()
{
    tools.report.pingSummary(pings);
}
