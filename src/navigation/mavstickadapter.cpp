// SPDX-License-Identifier: MIT
#include "navigation/mavstickadapter.h"

#include "autopilot/telemetryrequests.h"
#include "mavlink/framing.h"

#include <cstring>

namespace {

namespace msg = mavlink::common::msg;
using mavlink::ardupilotmega::MAV_CMD;
using mavlink::common::MAV_DATA_STREAM;
using mavlink::minimal::MAV_AUTOPILOT;
using mavlink::minimal::MAV_MODE_FLAG;

constexpr auto Px4 = static_cast<quint8>(MAV_AUTOPILOT::PX4);
constexpr auto ArduPilot = static_cast<quint8>(MAV_AUTOPILOT::ARDUPILOTMEGA);
constexpr auto Armed = static_cast<quint8>(MAV_MODE_FLAG::SAFETY_ARMED);
constexpr auto Guided = static_cast<quint8>(MAV_MODE_FLAG::GUIDED_ENABLED);
constexpr quint8 HighestInactiveState = 3; // MAV_STATE_STANDBY
constexpr quint32 CopterGuidedMode = 4;
constexpr float TakeOffAltitudeM = 15;
// Velocity and yaw rate count; position, acceleration and yaw do not, and the force flag is set.
constexpr quint16 VelocityAndYawRate = 0x07C7;
constexpr int PositionRateHz = 50;
constexpr double MetresPerMillimetre = 0.001;
constexpr double CentimetresPerMetre = 100;

template <class Message>
Message decode(const mavlink::mavlink_message_t &wire)
{
    Message message;
    mavlink::MsgMap map(&wire);
    message.deserialize(map);
    return message;
}

} // namespace

MavStickAdapter::MavStickAdapter(QObject *parent)
    : IVirtualStick(parent)
{}

MavStickAdapter::~MavStickAdapter() = default;

QString MavStickAdapter::id() const
{
    return QStringLiteral("MAV");
}

void MavStickAdapter::trackControl(ControlMode /*mode*/, Utils::Vector2d, float, float) {}
void MavStickAdapter::yawControl(Utils::Vector2d, float) {}
void MavStickAdapter::altitudeControl(Utils::Vector2d, float) {}
void MavStickAdapter::keepPosition(float) {}
void MavStickAdapter::releaseControl() {}
void MavStickAdapter::stopAutoMission() {}
void MavStickAdapter::returnToHome() {}

void MavStickAdapter::obtainControl()
{
    msg::SET_MODE request{};
    request.target_system = static_cast<quint8>(targetSystemId);
    request.base_mode = static_cast<quint8>(MAV_MODE_FLAG::CUSTOM_MODE_ENABLED);
    request.custom_mode = CopterGuidedMode;
    Q_EMIT sendMessage(request);
}

bool MavStickAdapter::forceObtainControl()
{
    return true;
}

bool MavStickAdapter::arm()
{
    sendCommand(static_cast<quint16>(MAV_CMD::COMPONENT_ARM_DISARM), 1, 0);
    return true;
}

bool MavStickAdapter::takeOff()
{
    sendCommand(static_cast<quint16>(MAV_CMD::NAV_TAKEOFF), 0, TakeOffAltitudeM);
    return true;
}

void MavStickAdapter::sendCommand(quint16 number, float param1, float param7)
{
    msg::COMMAND_LONG command{};
    command.target_system = static_cast<quint8>(targetSystemId);
    command.command = number;
    command.param1 = param1;
    command.param7 = param7;
    Q_EMIT sendMessage(command);
}

void MavStickAdapter::setVelocity(const Utils::Vector3d &velocity, float yawRate)
{
    msg::SET_POSITION_TARGET_LOCAL_NED target{};
    target.target_system = static_cast<quint8>(targetSystemId);
    target.coordinate_frame = static_cast<quint8>(mavlink::common::MAV_FRAME::LOCAL_NED);
    target.type_mask = VelocityAndYawRate;
    target.vx = static_cast<float>(velocity.x);
    target.vy = static_cast<float>(velocity.y);
    target.vz = static_cast<float>(velocity.z);
    target.yaw_rate = static_cast<float>(toRadians(static_cast<double>(yawRate)));
    Q_EMIT sendMessage(target);
}

bool MavStickAdapter::subscribeToTelemetry()
{
    const auto target = static_cast<quint8>(targetSystemId);
    const auto request = [this](const mavlink::Message &message) { trySubscribeRequest(message); };
    if (autopilotType == Px4) {
        TelemetryRequests::forPx4(target, telemetryRate, request);
    } else if (autopilotType == ArduPilot) {
        info() << "Requesting data stream <<<<<<<<<< ";
        TelemetryRequests::dataStream(target, MAV_DATA_STREAM::POSITION, PositionRateHz, request);
        TelemetryRequests::dataStream(target, MAV_DATA_STREAM::EXTRA1, PositionRateHz, request);
        TelemetryRequests::dataStream(target, MAV_DATA_STREAM::EXTENDED_STATUS, telemetryRate, request);
        TelemetryRequests::dataStream(target, MAV_DATA_STREAM::EXTRA3, telemetryRate, request);
    } else {
        criticalLine(*this) << "Unknown autopilot type detected : " << autopilotType;
    }
    return true;
}

void MavStickAdapter::setTargetSystemId(quint32 target)
{
    targetSystemId = target;
}

void MavStickAdapter::trySubscribeRequest(const mavlink::Message &message)
{
    for (int i = 0; i < 3; ++i)
        Q_EMIT sendMessage(message);
}

void MavStickAdapter::onMessageSent(const mavlink::Message &message)
{
    QByteArray frame(MAVLINK_MAX_PACKET_LEN, Qt::Uninitialized);
    frame.resize(mavlink::packFrame(message, static_cast<quint8>(systemId), static_cast<quint8>(componentId),
                                    reinterpret_cast<quint8 *>(frame.data())));
    Q_EMIT sendData(frame);
}

void MavStickAdapter::onDataReceived(const QByteArray &bytes)
{
    for (const char byte : bytes) {
        if (mavlink::mavlink_parse_char(mavlink::MAVLINK_COMM_0, static_cast<quint8>(byte), nullptr,
                                        nullptr) != mavlink::MAVLINK_FRAMING_OK)
            continue;
        // A copy: a receiver may get more bytes parsed before this message is done with.
        mavlink::mavlink_message_t message;
        std::memcpy(&message, mavlink::mavlink_get_channel_buffer(mavlink::MAVLINK_COMM_0), sizeof message);
        onMessageReceived(message);
    }
}

void MavStickAdapter::onMessageReceived(const mavlink::mavlink_message_t &message)
{
    if (targetSystemId != 0 && message.sysid != targetSystemId)
        return;
    switch (message.msgid) {
    case mavlink::minimal::msg::HEARTBEAT::MSG_ID:
        handleHeartbeat(message);
        break;
    case msg::ATTITUDE::MSG_ID:
        handleAttitude(message);
        break;
    case mavlink::standard::msg::GLOBAL_POSITION_INT::MSG_ID:
        handlePosition(message);
        break;
    default:
        break;
    }
}

void MavStickAdapter::handleHeartbeat(const mavlink::mavlink_message_t &message)
{
    const auto heartbeat = decode<mavlink::minimal::msg::HEARTBEAT>(message);
    if (heartbeat.autopilot != Px4 && heartbeat.autopilot != ArduPilot)
        return;
    // The driver may have handed the target over already; what autopilot it is shows here alone.
    if (detectedSystemId == 0)
        detect(message.sysid, heartbeat.autopilot);
    lastBaseMode = heartbeat.base_mode;
    lastCustomMode = heartbeat.custom_mode;
    Q_EMIT statusChanged({-1.0, (heartbeat.base_mode & Armed) != 0, (heartbeat.base_mode & Guided) != 0,
                          heartbeat.system_status > HighestInactiveState, originSet});
}

void MavStickAdapter::detect(quint8 detectedSystem, quint8 autopilot)
{
    autopilotType = autopilot;
    detectedSystemId = detectedSystem;
    targetSystemId = detectedSystem;
    info() << "Autopilot systemid detected " << targetSystemId;
    if (autopilot == Px4)
        info() << "PX4 Detected ";
    else
        info() << "ArduPilot Detected";
}

void MavStickAdapter::handleAttitude(const mavlink::mavlink_message_t &message)
{
    const auto attitude = decode<msg::ATTITUDE>(message);
    const auto degrees = [](float radians) {
        return static_cast<float>(toDegrees(static_cast<double>(radians)));
    };
    lastAttitude = {};
    lastAttitude.timestamp = attitude.time_boot_ms;
    lastAttitude.roll = degrees(attitude.roll);
    lastAttitude.pitch = degrees(attitude.pitch);
    lastAttitude.yaw = degrees(attitude.yaw);
    // A copy: a receiver may turn the event loop, and the next message come in before all have seen this one.
    Q_EMIT attitudeChanged(Navigate::Attitude(lastAttitude));
}

void MavStickAdapter::handlePosition(const mavlink::mavlink_message_t &message)
{
    const auto global = decode<mavlink::standard::msg::GLOBAL_POSITION_INT>(message);
    const Coordinate position{degE7toDeg(global.lat), degE7toDeg(global.lon), AMSL,
                              global.alt * MetresPerMillimetre};
    if (!originSet) {
        setOrigin(position);
        return;
    }
    const auto metresPerSecond = [](qint16 centimetres) {
        return static_cast<float>(centimetres / CentimetresPerMetre);
    };
    const Utils::Vector3d ned = position.toPositionNED(origin, 0);
    lastLocalPosition = {static_cast<double>(global.time_boot_ms),
                         static_cast<float>(ned.x),
                         static_cast<float>(ned.y),
                         static_cast<float>(ned.z),
                         metresPerSecond(global.vx),
                         metresPerSecond(global.vy),
                         metresPerSecond(global.vz),
                         0,
                         0};
    Q_EMIT localPositionChanged(Navigate::VehicleLocalPosition(lastLocalPosition));
}

void MavStickAdapter::setOrigin(const Coordinate &position)
{
    origin = position;
    originSet = true;
    info() << QStringLiteral("Origin was set to (%1, %2, %3)")
                  .arg(origin.latitude)
                  .arg(origin.longitude)
                  .arg(origin.altitude);
    Q_EMIT originChanged(origin.latitude, origin.longitude, origin.altitude);
}
