// SPDX-License-Identifier: MIT
#pragma once

#include "autopilot/support/apptrace.h"
#include "autopilot/support/drivenautopilot.h"
#include "autopilot/support/fakeflightcontroller.h"
#include "support/logcapture.h"

#include <QVariant>

#include <initializer_list>
#include <memory>
#include <utility>

/// Settings by key, for example {"MAV/SYSTEM_ID", 7}.
using Settings = std::initializer_list<std::pair<const char *, QVariant>>;

/// Opens a settings file of its own, which holds these and nothing else.
void loadFreshSettings(Settings settings);

/// One driver on a fresh settings file and a fresh channel; what it logs and publishes is in `log`.
class AutopilotRig
{
public:
    explicit AutopilotRig(Settings settings = {});
    /// The same with a TCP connection to a flight controller.
    explicit AutopilotRig(FakeFlightController &controller);

    LogCapture log;
    AppTrace trace;
    std::unique_ptr<DrivenAutopilot> plugin;

    /// Starts the driver; the flight controller answers. Takes the log line.
    bool start(FakeFlightController &controller);
    /// Feeds a heartbeat; forgets what was logged.
    void detectPx4();
};

/// The process's first heartbeat writes a line: spends it, for tests that have no use for it.
void spendFirstHeartbeat();
