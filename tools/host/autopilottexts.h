// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QObject>

class DetectedAutopilot;
class IAutopilotPlugin;
class LatestValues;

/// Follows the texts by which the autopilot tells its operator what is wrong. The plugin keeps them to
/// itself, so they are taken from the messages that it announces.
class AutopilotTexts : public QObject
{
    Q_OBJECT

public:
    /// Name of the value in LatestValues: {"text":…,"severity":…}, 0 an emergency to 7 for debugging.
    static constexpr const char *Name = "autopilotText";

    /// Does nothing if the plugin is not a MavAutopilot. @param autopilot outlives this object.
    AutopilotTexts(IAutopilotPlugin *plugin, const DetectedAutopilot &autopilot, LatestValues &values);

private:
    void onMessage(const mavlink::mavlink_message_t &message);

    const DetectedAutopilot &autopilot;
    LatestValues &values;
    QByteArray text; // the last one, as far as it has come
    quint16 longTextId = 0;
};
