// SPDX-License-Identifier: MIT
#pragma once

#include "autopilot/mavautopilot.h"

class IConnection;

/// A driver whose timers the test fires and whose innards it can reach.
class DrivenAutopilot : public MavAutopilot
{
public:
    DrivenAutopilot();

    using MavAutopilot::disableWifiInAir;
    using MavAutopilot::heartbeatTimeoutMs;
    using MavAutopilot::heartbeatTimerId;
    using MavAutopilot::startTimers;
    using MavAutopilot::statusTimerId;
    using MavAutopilot::stopTimers;
    using MavAutopilot::subscribeTimerId;
    using MavAutopilot::trySubscribeRequest;

    /// Delivers the event of a timer that runs.
    void fire(int timerId);
    void feed(const char *hexFrame);
    void feed(const mavlink::Message &message);
    IConnection *link() const;
    /// The heartbeat that keeps the status at 2 is out of date, or never is.
    void letHeartbeatsExpire() { heartbeatTimeoutMs = -1; }
    void keepHeartbeatsForever() { heartbeatTimeoutMs = 1000LL * 3600 * 24; }
};
