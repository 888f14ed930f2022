// SPDX-License-Identifier: MIT
#include "ground/watchcommand.h"

#include "common/exitcode.h"

WatchCommand::WatchCommand(const Tools &all)
    : GroundCommand(all)
{
    duration.setSingleShot(true);
    duration.setTimerType(Qt::PreciseTimer);
    connect(&duration, &QTimer::timeout, this, &WatchCommand::onTimeOver);
    connect(&tools.receiver, &OnboardReceiver::payload, this, &WatchCommand::onPayload);
    connect(&tools.receiver.openPayloads(), &OpenPayloads::givenUp, this, &WatchCommand::onGivenUp);
}

void WatchCommand::begin()
{
    elapsed.start();
    if (tools.options.duration)
        duration.start(*tools.options.duration);
}

void WatchCommand::onPayload(const CompletePayload &payload)
{
    // One read can bring more than were asked for.
    if (watched.payloads == tools.options.count)
        return;
    ++watched.payloads;
    watched.bytes += payload.data.size();
    tools.report.payload(payload);
    if (watched.payloads != tools.options.count)
        return;
    duration.stop();
    reportEnd();
    Q_EMIT done(ExitCode::Done);
}

void WatchCommand::onGivenUp(const OpenPayloads::Part &part)
{
    ++watched.incomplete;
    tools.report.incomplete(part);
}

void WatchCommand::onTimeOver()
{
    reportEnd();
    if (tools.options.count)
        tools.report.error(
            QStringLiteral("%1 of %2 payloads came").arg(watched.payloads).arg(*tools.options.count));
    Q_EMIT done(tools.options.count ? ExitCode::NotHappened : ExitCode::Done);
}

void WatchCommand::reportEnd()
{
    tools.receiver.openPayloads().giveUpAll();
    watched.malformed = tools.receiver.malformedFrames();
    watched.seconds = static_cast<double>(elapsed.isValid() ? elapsed.elapsed() : 0) / 1000;
    tools.report.watchSummary(watched);
}
