// SPDX-License-Identifier: MIT
#include "host/groundpayloads.h"

#include "app/app.h"
#include "autopilot/iautopilotplugin.h"
#include "communication/icommunicator.h"
#include "host/detectedautopilot.h"

namespace {

// A DATA message carries 96 bytes: what fragment header and frame leave of them.
constexpr int MaxWholeInData = 84;
// The library sends the fragments of a payload back to back, and a PX4 holds two messages to forward: two
// fragments of 88 bytes.
constexpr int MaxWholeThroughPx4 = 176;

} // namespace

GroundPayloads::GroundPayloads(App &app, IAutopilotPlugin &driver, const DetectedAutopilot &detected)
    : plugin(driver)
    , autopilot(detected)
    , useV2Extension(app.settings()->value(QStringLiteral("MAV/V2_EXTENSION"), false).toBool())
{
    connect(&app, &App::MAV_V2_EXTENSION, this, [this](bool on) {
        useV2Extension = on;
        checkRelay();
    });
    connect(&detected, &DetectedAutopilot::detected, this, &GroundPayloads::checkRelay);
}

void GroundPayloads::checkRelay()
{
    if (relayChecked || useV2Extension || !autopilot.isPx4())
        return;
    relayChecked = true;
    Q_EMIT hint(QStringLiteral("a PX4 does not relay DATA messages, so nothing reaches the ground station; "
                               "turn V2_EXTENSION on: set MAV V2_EXTENSION true"));
}

CompletePayload GroundPayloads::send(MessageId messageId, PayloadId payloadId, const QByteArray &data)
{
    const QString text = obstacle(data.size());
    if (!text.isEmpty())
        Q_EMIT hint(text);
    CompletePayload payload{nextId++, messageId, payloadId, data};
    if (ICommunicator *communicator = plugin.communicator())
        communicator->sendData(payload);
    return payload;
}

void GroundPayloads::forward(MessageId messageId, PayloadId payloadId, const QByteArray &data)
{
    if (ICommunicator *communicator = plugin.communicator())
        communicator->sendData({nextId++, messageId, payloadId, data});
}

QString GroundPayloads::obstacle(int size) const
{
    if (!plugin.isStarted())
        return QStringLiteral(
            "the link is not open: a payload that leaves at once is lost, another waits for "
            "the next 5 s at most");
    if (!useV2Extension && size > MaxWholeInData)
        return QStringLiteral("in DATA messages only payloads of up to %1 bytes arrive whole, this one has "
                              "%2; turn V2_EXTENSION on: set MAV V2_EXTENSION true")
            .arg(MaxWholeInData)
            .arg(size);
    if (autopilot.isPx4() && size > MaxWholeThroughPx4)
        return QStringLiteral("through a PX4 only payloads of up to %1 bytes arrive whole, this one has %2: "
                              "it forwards two messages of a burst and drops the rest")
            .arg(MaxWholeThroughPx4)
            .arg(size);
    return QString();
}
