// SPDX-License-Identifier: MIT
#include "sim/autopilotsession.h"

#include <QDateTime>

#include <unistd.h>

namespace {

SimulatedAutopilot::Settings settingsOf(const SimOptions &options)
{
    SimulatedAutopilot::Settings settings;
    settings.kind = *options.autopilot;
    settings.wind = options.wind;
    settings.seed = options.seed;
    settings.bootDelayS = options.bootDelayS;
    settings.unixTimeUs = static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()) * 1000;
    return settings;
}

} // namespace

AutopilotSession::AutopilotSession(const SimOptions &wanted)
    : options(wanted)
    , report(wanted.json, wanted.quiet)
    , relay(*wanted.autopilot, wanted.faults)
    , autopilot(settingsOf(wanted), &relay)
    , prompt(&autopilot, report)
    , clock(wanted.speed)
    , lines(STDIN_FILENO)
{
    tick.setInterval(std::chrono::milliseconds(5));
    tick.setTimerType(Qt::PreciseTimer);
    connect(&tick, &QTimer::timeout, this, &AutopilotSession::moveOn);
    second.setInterval(std::chrono::seconds(1));
    connect(&second, &QTimer::timeout, this, &AutopilotSession::reportLosses);
    connect(&lines, &OperatorLines::lineRead, this, &AutopilotSession::onLine);
    connect(&prompt, &OperatorPrompt::quit, this, &AutopilotSession::quit);
    connect(&prompt, &OperatorPrompt::faultAsked, this, &AutopilotSession::changeFaults);
    connectAutopilot();
}

void AutopilotSession::connectAutopilot()
{
    connect(&relay, &Relay::clientJoined, this, &AutopilotSession::join);
    connect(&relay, &Relay::clientLeft, &autopilot, &SimulatedAutopilot::removeClient);
    connect(&relay, &Relay::received, &autopilot, &SimulatedAutopilot::receive);
    connect(&autopilot, &SimulatedAutopilot::modeChanged, this,
            [this](quint32 mode) { report.mode(autopilot.manner().modes().nameOf(mode), mode); });
    connect(&autopilot, &SimulatedAutopilot::armedChanged, this, [this](bool armed) { report.armed(armed); });
    connect(&autopilot, &SimulatedAutopilot::landedChanged, this,
            [this](bool landed) { report.landed(landed); });
}

bool AutopilotSession::open()
{
    if (!links.open(options.links, report))
        return false;
    for (int i = 0; i < options.links.size(); ++i)
        relay.addLink(links.all()[static_cast<size_t>(i)].get(), options.isForwarding(i));
    clock.takeSteps();
    tick.start();
    second.start();
    return true;
}

void AutopilotSession::changeFaults(const QString &kind, double amount)
{
    const double msPerSecond = 1000;
    LinkFaults::Settings faults = relay.faults();
    if (kind == QLatin1String("stall")) {
        relay.stall(fromSeconds(amount));
        return;
    }
    if (kind == QLatin1String("none"))
        faults = {};
    else if (kind == QLatin1String("loss"))
        faults.loss = amount;
    else if (kind == QLatin1String("corrupt"))
        faults.corruption = amount;
    else
        faults.latency = fromSeconds(amount / msPerSecond);
    relay.setFaults(faults);
}

void AutopilotSession::reportEnd() const
{
    report.relay(relay.counters());
}

void AutopilotSession::join(int client, int link)
{
    const LinkAddress &address = options.links[link];
    SimulatedAutopilot::Line line;
    line.serial = address.kind != LinkAddress::Kind::Tcp;
    if (address.kind == LinkAddress::Kind::Serial)
        line.baud = address.baud;
    else if (options.baudGiven)
        line.baud = options.baud;
    autopilot.addClient(client, line);
}

void AutopilotSession::moveOn()
{
    for (int steps = clock.takeSteps(); steps > 0; --steps)
        autopilot.step();
}

void AutopilotSession::onLine(const QString &line)
{
    const QString refusal = prompt.obey(line);
    if (!refusal.isEmpty())
        Report::error(refusal);
}

// Losses are told as they happen, and at most once a second.
void AutopilotSession::reportLosses()
{
    const Relay::Counters &counters = relay.counters();
    if (counters.lost == reported.lost && counters.dropped == reported.dropped)
        return;
    reported = counters;
    report.relay(counters);
}
