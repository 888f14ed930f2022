// SPDX-License-Identifier: MIT
#pragma once

#include "communication/payloadmessage.h"

#include <QObject>

class App;
class DetectedAutopilot;
class IAutopilotPlugin;

/// The host's payloads to the ground: gives them their ids, and warns of what the way to the ground will not
/// carry. The plugin cannot: it sends, and what a flight controller drops nobody hears of.
class GroundPayloads : public QObject
{
    Q_OBJECT

public:
    /// All outlive this object.
    GroundPayloads(App &app, IAutopilotPlugin &plugin, const DetectedAutopilot &autopilot);

    /// Sends a payload of the user's, with a hint if it will not arrive whole.
    /// @return the payload as it was sent, with its id.
    CompletePayload send(MessageId messageId, PayloadId payloadId, const QByteArray &data);
    /// Hands a payload of the plugin's own on.
    void forward(MessageId messageId, PayloadId payloadId, const QByteArray &data);

Q_SIGNALS:
    /// Something that the user should know, in one line.
    void hint(const QString &text);

private:
    void checkRelay();
    QString obstacle(int payloadSize) const;

    IAutopilotPlugin &plugin;
    const DetectedAutopilot &autopilot;
    bool useV2Extension;
    bool relayChecked = false;
    quint16 nextId = 0;
};
