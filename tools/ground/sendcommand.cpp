// SPDX-License-Identifier: MIT
#include "ground/sendcommand.h"

#include "common/exitcode.h"

#include <QRandomGenerator>

namespace {

constexpr std::chrono::seconds PingInterval(1);

// Ids that start where the last run did would hit what is left of its payloads at the host.
quint16 randomId()
{
    return static_cast<quint16>(QRandomGenerator::global()->bounded(65536));
}

} // namespace

SendCommand::SendCommand(const Tools &all, const QByteArray &data)
    : GroundCommand(all)
    , payload{randomId(), all.options.messageId, all.options.payloadId, data}
    , pings(&all.sender, all.receiver)
    , fragments(&all.sender, payload)
{
    pinging.setInterval(PingInterval);
    timeout.setSingleShot(true);
    connect(&pinging, &QTimer::timeout, &pings, &PingTracker::ping);
    connect(&timeout, &QTimer::timeout, this, &SendCommand::onTimeout);
    connect(&pings, &PingTracker::answered, this, &SendCommand::onAnswered);
    connect(&tools.sender, &PacedSender::frameLeft, this, &SendCommand::onFrameLeft);
    connect(&fragments, &FragmentSender::done, this, &SendCommand::onSent);
}

void SendCommand::begin()
{
    if (!tools.options.pingFirst) {
        send();
        return;
    }
    pinging.start();
    timeout.start(tools.options.timeout);
    pings.ping();
}

void SendCommand::onAnswered()
{
    if (sending || !timeout.isActive())
        return;
    pinging.stop();
    send();
}

void SendCommand::onTimeout()
{
    if (sending)
        fail(QStringLiteral("the link takes nothing any more; ended after %1 of %2 fragments")
                 .arg(fragments.leftCount())
                 .arg(fragments.fragmentCount()));
    else
        fail(QStringLiteral("no answer from the vehicle, nothing sent (--no-ping sends all the same)"));
}

void SendCommand::onFrameLeft()
{
    if (sending)
        timeout.start(tools.options.stallTimeout());
}

void SendCommand::fail(const QString &reason)
{
    pinging.stop();
    timeout.stop();
    tools.report.error(reason);
    Q_EMIT done(ExitCode::NotHappened);
}

void SendCommand::send()
{
    sending = true;
    timeout.start(tools.options.stallTimeout());
    if (!fragments.start())
        fail(QStringLiteral("the link does not take what is to be sent"));
}

void SendCommand::onSent()
{
    timeout.stop();
    tools.report.sent({payload, fragments.fragmentCount(), fragments.duration().count()});
    Q_EMIT done(ExitCode::Done);
}

void SendCommand::reportEnd()
{
    tools.report.sendSummary(fragments.leftCount(), fragments.fragmentCount());
}
