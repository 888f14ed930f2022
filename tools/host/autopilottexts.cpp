// SPDX-License-Identifier: MIT
#include "host/autopilottexts.h"

#include "autopilot/mavautopilot.h"
#include "host/detectedautopilot.h"
#include "host/latestvalues.h"

#include <QCborMap>

using mavlink::common::msg::STATUSTEXT;

AutopilotTexts::AutopilotTexts(IAutopilotPlugin *plugin, const DetectedAutopilot &detected,
                               LatestValues &latest)
    : autopilot(detected)
    , values(latest)
{
    if (auto *driver = qobject_cast<MavAutopilot *>(plugin))
        connect(driver, &MavAutopilot::messageReceived, this, &AutopilotTexts::onMessage);
}

// A long text comes in parts of 50 bytes that share an id.
void AutopilotTexts::onMessage(const mavlink::mavlink_message_t &message)
{
    if (message.msgid != STATUSTEXT::MSG_ID || !autopilot.mayHaveSent(message))
        return;
    STATUSTEXT status;
    mavlink::MsgMap map(&message);
    status.deserialize(map);
    const QByteArray part = QByteArray::fromStdString(mavlink::to_string(status.text));
    const bool continues = status.id != 0 && status.id == longTextId && status.chunk_seq != 0;
    longTextId = status.id;
    text = continues ? text + part : part;
    values.store(QLatin1String(Name), QCborMap{{QStringLiteral("text"), QString::fromUtf8(text).simplified()},
                                               {QStringLiteral("severity"), status.severity}});
}
