// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QObject>

class DetectedAutopilot;
class IAutopilotPlugin;

/// Notices that a PX4 refuses the virtual stick's request for control: it does not know the mode by the
/// number that the stick sends. The stick awaits no acknowledgement, so nobody else would tell the user.
class ModeRefusal : public QObject
{
    Q_OBJECT

public:
    /// Both outlive this object. Notices nothing if the plugin is not a MavAutopilot.
    ModeRefusal(IAutopilotPlugin *plugin, const DetectedAutopilot &autopilot);

Q_SIGNALS:
    /// Once: what the user can do, in one line.
    void hint(const QString &text);

private:
    void onSent(const mavlink::Message &message);
    void onMessage(const mavlink::mavlink_message_t &message);

    const DetectedAutopilot &autopilot;
    bool asked = false;
    bool told = false;
};
