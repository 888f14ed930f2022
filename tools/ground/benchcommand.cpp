// SPDX-License-Identifier: MIT
#include "ground/benchcommand.h"

#include "common/exitcode.h"

#include <algorithm>

namespace {

constexpr int FirstRate = 10;
constexpr int LastRate = 5120; // a ping each fifth of a millisecond; beyond that the timers are the measure
constexpr int FewestPings = 2; // for one alone nothing can be measured

} // namespace

BenchCommand::BenchCommand(const Tools &all)
    : GroundCommand(all)
{
    ticks.setTimerType(Qt::PreciseTimer);
    ticks.setInterval(std::chrono::milliseconds(1));
    lastWait.setSingleShot(true);
    connect(&ticks, &QTimer::timeout, this, &BenchCommand::sendDue);
    connect(&lastWait, &QTimer::timeout, this, &BenchCommand::endStep);
    // From the event loop, as the ping that is sent next may leave at once.
    connect(&tools.sender, &PacedSender::idle, this, &BenchCommand::sendDue, Qt::QueuedConnection);
    connect(&tools.receiver, &OnboardReceiver::payload, this,
            [this](const CompletePayload &payload) { payloads.add(payload.id); });
}

int BenchCommand::highestRate(std::chrono::milliseconds pace)
{
    return pace.count() == 0 ? LastRate : std::max(1, static_cast<int>(1000 / pace.count()));
}

void BenchCommand::begin()
{
    total.start();
    beginStep(std::min(FirstRate, highestRate(tools.options.pace)));
}

void BenchCommand::beginStep(int pingsPerSecond)
{
    rate = pingsPerSecond;
    wanted = std::max(FewestPings, static_cast<int>(rate * tools.options.step.count() / 1000));
    pings = std::make_unique<PingTracker>(&tools.sender, tools.receiver);
    connect(pings.get(), &PingTracker::answered, this, &BenchCommand::onAnswered);
    stepTime.start();
    ticks.start();
    sendDue();
}

// A ping waits for the one before it to leave: those in a queue of our own would count as lost. So a slow
// link makes a step longer, up to twice its time.
void BenchCommand::sendDue()
{
    if (!ticks.isActive())
        return;
    const qint64 due = std::min<qint64>(wanted, 1 + stepTime.elapsed() * rate / 1000);
    if (pings->pingCount() < due && tools.sender.isIdle())
        pings->ping();
    if (pings->pingCount() == wanted || stepTime.elapsed() * rate >= 2000LL * wanted)
        stopSending();
}

void BenchCommand::stopSending()
{
    ticks.stop();
    lastWait.start(tools.options.stallTimeout());
    onAnswered();
}

void BenchCommand::onAnswered()
{
    // From the event loop, as the next step replaces the tracker that this comes from.
    if (!ticks.isActive() && pings->answerCount() == pings->pingCount())
        lastWait.start(std::chrono::milliseconds(0));
}

void BenchCommand::endStep()
{
    lastWait.stop();
    const int sent = pings->pingCount();
    const int answered = pings->answerCount();
    const double perSecond = pings->leftPerSecond();
    tools.report.step({rate, sent, answered, perSecond, pings->roundTrips().medianMs()});
    if (answered < sent || sent == 0) {
        result.lossyPerSecond = perSecond;
        const bool silent = answered == 0 && result.losslessPerSecond == 0;
        end(silent ? ExitCode::NotHappened : ExitCode::Done);
        return;
    }
    result.losslessPerSecond = std::max(result.losslessPerSecond, perSecond);
    const int highest = highestRate(tools.options.pace);
    if (sent < wanted || rate == highest)
        end(ExitCode::Done);
    else
        beginStep(std::min(rate * 2, highest));
}

void BenchCommand::end(int exitCode)
{
    reportEnd();
    if (exitCode == ExitCode::NotHappened)
        tools.report.error(QStringLiteral("no answer from the vehicle"));
    Q_EMIT done(exitCode);
}

void BenchCommand::reportEnd()
{
    result.payloads = payloads.count();
    result.missing = payloads.missing();
    result.seconds = total.isValid() ? static_cast<double>(total.elapsed()) / 1000 : 0;
    tools.report.benchSummary(result);
}
