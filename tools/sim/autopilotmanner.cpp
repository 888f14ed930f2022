// SPDX-License-Identifier: MIT
#include "sim/autopilotmanner.h"

#include "sim/incoming.h"

using Incoming::SET_POSITION_TARGET_LOCAL_NED;

AutopilotManner::AutopilotManner(Aircraft *what, Outbox *where)
    : aircraft(what)
    , outbox(where)
{}

void AutopilotManner::receive(const mavlink::mavlink_message_t &message, AutopilotClient *from)
{
    switch (message.msgid) {
    case SET_MODE::MSG_ID:
        receiveMode(message, from);
        break;
    case SET_POSITION_TARGET_LOCAL_NED::MSG_ID:
        receiveSetPoint(message);
        break;
    case COMMAND_LONG::MSG_ID:
        receiveCommand(message, from);
        break;
    case mavlink::common::msg::PARAM_REQUEST_LIST::MSG_ID:
        outbox->send(parameterToken(), from->id);
        break;
    default:
        onOther(message, from);
    }
}

void AutopilotManner::receiveMode(const mavlink::mavlink_message_t &message, AutopilotClient *from)
{
    const auto request = Incoming::decode<SET_MODE>(message);
    if (Incoming::isForAutopilot(request.target_system, 0))
        onModeRequest(request, message, from);
}

void AutopilotManner::receiveSetPoint(const mavlink::mavlink_message_t &message)
{
    const auto target = Incoming::decode<SET_POSITION_TARGET_LOCAL_NED>(message);
    const std::optional<Demand> demand = Incoming::velocityOf(target);
    if (demand && Incoming::isForAutopilot(target.target_system, target.target_component))
        onVelocity(*demand);
}

void AutopilotManner::receiveCommand(const mavlink::mavlink_message_t &message, AutopilotClient *from)
{
    const auto command = Incoming::decode<COMMAND_LONG>(message);
    if (Incoming::isForAutopilot(command.target_system, command.target_component))
        onCommand(command, message, from);
}

void AutopilotManner::onOther(const mavlink::mavlink_message_t &message, AutopilotClient *from)
{
    Q_UNUSED(message)
    Q_UNUSED(from)
}

quint8 AutopilotManner::obey(const COMMAND_LONG &command, AutopilotClient *from)
{
    switch (command.command) {
    case Incoming::Arm:
        return obeyArming(command);
    case Incoming::TakeOff:
        return obeyTakeOff(static_cast<double>(command.param7));
    case Incoming::SetMode:
        return obeyMode(modeOf(command));
    case Incoming::ReturnToLaunch:
        return obeyMode(returnMode());
    case Incoming::Land:
        return obeyMode(landMode());
    case Incoming::Reboot:
        return obeyReboot();
    default:
        return obeyOther(command, from);
    }
}

quint8 AutopilotManner::obeyArming(const COMMAND_LONG &command)
{
    const bool wanted = command.param1 == 1;
    if (wanted || command.param2 != Incoming::forceDisarm)
        return resultOf(setArmed(wanted));
    disarm();
    return Incoming::Accepted;
}

quint8 AutopilotManner::obeyMode(quint32 mode)
{
    return resultOf(setMode(mode));
}

quint8 AutopilotManner::obeyReboot()
{
    aircraft->rebootRequested = !aircraft->armed;
    return aircraft->armed ? refusal() : static_cast<quint8>(Incoming::Accepted);
}

quint8 AutopilotManner::resultOf(const QString &refused) const
{
    return refused.isEmpty() ? static_cast<quint8>(Incoming::Accepted) : refusal();
}

QString AutopilotManner::setArmed(bool armed)
{
    if (armed)
        return arm();
    if (aircraft->isFlying())
        return QStringLiteral("it is flying");
    disarm();
    return {};
}

void AutopilotManner::changeMode(quint32 mode)
{
    currentMode = mode;
    if (mode == landMode())
        aircraft->guidance.land();
    else if (mode == returnMode())
        aircraft->guidance.returnHome();
    else if (aircraft->isFlying())
        aircraft->guidance.hold();
    else
        aircraft->guidance.idle();
}
