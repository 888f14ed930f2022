// SPDX-License-Identifier: MIT
#include "host/moderefusal.h"

#include "app/app.h"
#include "autopilot/mavautopilot.h"
#include "host/detectedautopilot.h"
#include "navigation/mavstickadapter.h"

using mavlink::common::msg::COMMAND_ACK;
using mavlink::common::msg::SET_MODE;

ModeRefusal::ModeRefusal(IAutopilotPlugin *plugin, const DetectedAutopilot &detected)
    : autopilot(detected)
{
    auto *driver = qobject_cast<MavAutopilot *>(plugin);
    if (!driver)
        return;
    connect(driver, &MavAutopilot::messageReceived, this, &ModeRefusal::onMessage);
    if (auto *stick = qobject_cast<MavStickAdapter *>(driver->virtualStick()))
        connect(stick, &MavStickAdapter::sendMessage, this, &ModeRefusal::onSent);
}

void ModeRefusal::onSent(const mavlink::Message &message)
{
    asked = asked || message.get_message_info().id == SET_MODE::MSG_ID;
}

void ModeRefusal::onMessage(const mavlink::mavlink_message_t &message)
{
    if (told || !asked || message.msgid != COMMAND_ACK::MSG_ID || !autopilot.isPx4() ||
        !autopilot.mayHaveSent(message))
        return;
    COMMAND_ACK acknowledgement;
    mavlink::MsgMap map(&message);
    acknowledgement.deserialize(map);
    const auto setMode = static_cast<quint16>(mavlink::ardupilotmega::MAV_CMD::DO_SET_MODE);
    // A PX4 that says whom it answers may be answering somebody else.
    const uint ours = runningApp()->settings()->value(QStringLiteral("MAV/SYSTEM_ID"), 2).toUInt();
    const bool isForUs = acknowledgement.target_system == 0 || acknowledgement.target_system == ours;
    if (acknowledgement.command != setMode || acknowledgement.result == 0 || !isForUs)
        return;
    told = true;
    Q_EMIT hint(
        QStringLiteral("the PX4 refuses the stick's request for control; switch it to Offboard at the "
                       "ground station or the remote control while velocities are being sent"));
}
