// SPDX-License-Identifier: MIT
#include "ground/sendcommand.h"

#include "common/exitcode.h"

#include <QRandomGenerator>

namespace {

constexpr std::chrono::seconds PingInterval(1);
constexpr std::chrono::seconds DefaultTimeout(5);

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
    timeout.setInterval(tools.options.timeout.value_or(DefaultTimeout));
    connect(&pinging, &QTimer::timeout, &pings, &PingTracker::ping);
    connect(&timeout, &QTimer::timeout, this, &SendCommand::onNoAnswer);
    connect(&pings, &PingTracker::answered, this, &SendCommand::onAnswered);
    connect(&fragments, &FragmentSender::done, this, &SendCommand::onSent);
}

void SendCommand::begin()
{
    if (!tools.options.pingFirst) {
        send();
        return;
    }
    pinging.start();
    timeout.start();
    pings.ping();
}

void SendCommand::onAnswered()
{
    if (sending || !timeout.isActive())
        return;
    pinging.stop();
    timeout.stop();
    send();
}

void SendCommand::onNoAnswer()
{
    pinging.stop();
    tools.report.error(
        QStringLiteral("no answer from the vehicle, nothing sent (--no-ping sends all the same)"));
    Q_EMIT done(ExitCode::NotHappened);
}

void SendCommand::send()
{
    sending = true;
    if (fragments.start())
        return;
    tools.report.error(QStringLiteral("the link does not take what is to be sent"));
    Q_EMIT done(ExitCode::NotHappened);
}

void SendCommand::onSent()
{
    tools.report.sent({payload, fragments.fragmentCount(), fragments.duration().count()});
    Q_EMIT done(ExitCode::Done);
}

void SendCommand::reportEnd()
{
    tools.report.sendSummary(fragments.leftCount(), fragments.fragmentCount());
}
