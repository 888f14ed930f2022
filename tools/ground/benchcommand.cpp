// SPDX-License-Identifier: MIT
#include "ground/benchcommand.h"

#include "common/exitcode.h"

#include <algorithm>

namespace {

constexpr int FirstRate = 10;
constexpr int LastRate = 5120; // a ping each fifth of a millisecond; beyond that the timers are the measure
constexpr std::chrono::seconds DefaultTimeout(2);

} // namespace

BenchCommand::BenchCommand(const Tools &all)
    : GroundCommand(all)
{
    ticks.setTimerType(Qt::PreciseTimer);
    ticks.setInterval(std::chrono::milliseconds(1));
    lastWait.setSingleShot(true);
    connect(&ticks, &QTimer::timeout, this, &BenchCommand::sendDue);
    connect(&lastWait, &QTimer::timeout, this, &BenchCommand::endStep);
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
    wanted = std::max(1, static_cast<int>(rate * tools.options.step.count() / 1000));
    pings = std::make_unique<PingTracker>(&tools.sender, tools.receiver);
    connect(pings.get(), &PingTracker::answered, this, &BenchCommand::onAnswered);
    stepTime.start();
    ticks.start();
    sendDue();
}

void BenchCommand::sendDue()
{
    const int due = static_cast<int>(std::min<qint64>(wanted, 1 + stepTime.elapsed() * rate / 1000));
    while (pings->pingCount() < due)
        pings->ping();
    if (pings->pingCount() < wanted)
        return;
    ticks.stop();
    lastWait.start(tools.options.timeout.value_or(DefaultTimeout));
}

void BenchCommand::onAnswered()
{
    // From the event loop, as the next step replaces the tracker that this comes from.
    if (pings->answerCount() == wanted)
        lastWait.start(std::chrono::milliseconds(0));
}

void BenchCommand::endStep()
{
    lastWait.stop();
    const int answered = pings->answerCount();
    tools.report.step({rate, wanted, answered, pings->leftPerSecond(), pings->roundTrips().medianMs()});
    if (answered < wanted) {
        result.lossyRate = rate;
        const bool silent = answered == 0 && result.losslessRate == 0;
        end(silent ? ExitCode::NotHappened : ExitCode::Done);
        return;
    }
    result.losslessRate = rate;
    result.losslessPerSecond = pings->leftPerSecond();
    const int highest = highestRate(tools.options.pace);
    if (rate == highest)
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
