// SPDX-License-Identifier: MIT
#pragma once

#include "sim/report.h"
#include "sim/simulatedautopilot.h"

#include <QObject>

/// Does what lines on standard input say, which is what an operator with a remote control in hand would do:
///
///     mode NAME|NUMBER, arm, disarm, land, reboot, status, quit
///     fault loss P|corrupt P|latency MS|stall SECONDS|none
///
/// A line that is wrong, or that the autopilot refuses, is answered with one line that says why.
class OperatorPrompt : public QObject
{
    Q_OBJECT

public:
    /// The autopilot is not owned and outlives the prompt.
    OperatorPrompt(SimulatedAutopilot *autopilot, const Report &report);

    /// Nothing, or why nothing was done. An empty line does nothing.
    QString obey(const QString &line);

Q_SIGNALS:
    void quit();
    /// The lines are to have this trouble beside what they have; "none" ends all of it.
    void faultAsked(const QString &kind, double amount);

private:
    QString obeyMode(const QString &name);
    QString obeyWord(const QString &word);
    QString obeyFault(const QStringList &words);
    void tellStatus() const;

    SimulatedAutopilot *const autopilot;
    const Report report;
};
