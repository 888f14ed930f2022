// SPDX-License-Identifier: MIT
#pragma once

#include "sim/linkgroup.h"
#include "sim/relay.h"
#include "sim/report.h"
#include "sim/simoptions.h"

#include <QObject>
#include <QTimer>

/// One run of the simulator as an autopilot: a heartbeat a second on its links, and the relay between them,
/// until the program is asked to end.
class AutopilotSession : public QObject
{
    Q_OBJECT

public:
    explicit AutopilotSession(const SimOptions &options);

    /// Opens all links and reports them. False when one cannot be opened, which is reported; then nothing
    /// listens.
    [[nodiscard]] bool open();
    /// Says what was relayed and what was lost.
    void reportEnd() const;

private:
    void onSecond();

    const SimOptions options;
    const Report report;
    LinkGroup links; // outlives the relay
    Relay relay;
    QTimer second;
    Relay::Counters reported;
};
