// SPDX-License-Identifier: MIT
#pragma once

#include "sim/linkgroup.h"
#include "sim/operatorlines.h"
#include "sim/operatorprompt.h"
#include "sim/relay.h"
#include "sim/report.h"
#include "sim/simclock.h"
#include "sim/simoptions.h"
#include "sim/simulatedautopilot.h"

#include <QObject>
#include <QTimer>

/// One run of the simulator as an autopilot: a vehicle that flies, its links and the relay between them, and
/// the operator's lines, until the program is asked to end.
class AutopilotSession : public QObject
{
    Q_OBJECT

public:
    explicit AutopilotSession(const SimOptions &options);

    /// Opens all links and reports them; then the vehicle has power. False when one cannot be opened, which
    /// is reported; then nothing listens.
    [[nodiscard]] bool open();
    /// Says what was relayed and what was lost.
    void reportEnd() const;

Q_SIGNALS:
    /// The operator has had enough.
    void quit();

private:
    void connectAutopilot();
    void join(int client, int link);
    void moveOn();
    void onLine(const QString &line);
    void reportLosses();
    void changeFaults(const QString &kind, double amount);

    const SimOptions options;
    const Report report;
    LinkGroup links; // outlives the relay
    Relay relay;     // outlives the autopilot
    SimulatedAutopilot autopilot;
    OperatorPrompt prompt;
    SimClock clock;
    OperatorLines lines;
    QTimer tick;
    QTimer second;
    Relay::Counters reported;
};
