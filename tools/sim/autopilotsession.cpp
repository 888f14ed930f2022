// SPDX-License-Identifier: MIT
#include "sim/autopilotsession.h"

AutopilotSession::AutopilotSession(const SimOptions &wanted)
    : options(wanted)
    , report(wanted.json, wanted.quiet)
    , relay(*wanted.autopilot)
{
    second.setInterval(std::chrono::seconds(1));
    second.setTimerType(Qt::PreciseTimer);
    connect(&second, &QTimer::timeout, this, &AutopilotSession::onSecond);
}

bool AutopilotSession::open()
{
    if (!links.open(options.links, report))
        return false;
    for (int i = 0; i < options.links.size(); ++i)
        relay.addLink(links.all()[static_cast<size_t>(i)].get(), options.isForwarding(i));
    second.start();
    return true;
}

void AutopilotSession::reportEnd() const
{
    report.relay(relay.counters());
}

// Losses are told as they happen, and at most once a second.
void AutopilotSession::onSecond()
{
    relay.sendHeartbeats();
    const Relay::Counters &counters = relay.counters();
    if (counters.lost == reported.lost && counters.dropped == reported.dropped)
        return;
    reported = counters;
    report.relay(counters);
}
