// SPDX-License-Identifier: MIT
#include "communication/mavcommunicator.h"

#include "app/app.h"
#include "mavlink/messagecopy.h"

#include <algorithm>

namespace {

using mavlink::common::msg::V2_EXTENSION;
namespace msg = mavlink::ardupilotmega::msg;

constexpr int MaxFrameInV2Extension = 248; // the payload's first byte is the frame's length
constexpr quint8 DataType = 175;           // tells our DATA messages from those of others

template <class DataMessage>
constexpr int Capacity = std::tuple_size_v<decltype(DataMessage::data)>;

template <class DataMessage>
DataMessage dataMessage(const QByteArray &frame)
{
    DataMessage message{};
    message.type = DataType;
    message.len = static_cast<quint8>(frame.size());
    std::copy(frame.begin(), frame.end(), message.data.begin());
    return message;
}

} // namespace

MavCommunicator::MavCommunicator(int sendingPeriodMs, QObject *parent)
    : FragmentedCommunicator(sendingPeriodMs, parent)
{
    mavlink::MessageCopy::registerMetaType();
    if (App *app = runningApp())
        connect(app, &App::MAV_V2_EXTENSION, this, [this](bool on) { useV2Extension = on; });
    useV2Extension = readSetting("MAV", "V2_EXTENSION", false).toBool();
}

MavCommunicator::~MavCommunicator() = default;

QString MavCommunicator::id() const
{
    return QStringLiteral("COMM");
}

QString MavCommunicator::prefix() const
{
    return QStringLiteral("MavCommunicator");
}

void MavCommunicator::sendFragment(QByteArray frame)
{
    if (useV2Extension)
        sendInV2Extension(frame);
    else
        sendInData(frame);
}

void MavCommunicator::sendInV2Extension(const QByteArray &frame)
{
    if (frame.size() > MaxFrameInV2Extension)
        return;
    V2_EXTENSION message{};
    message.target_system = groundSystemId;
    message.payload[0] = static_cast<quint8>(frame.size());
    std::copy(frame.begin(), frame.end(), message.payload.begin() + 1);
    Q_EMIT sendMavlinkMessage(message);
}

void MavCommunicator::sendInData(const QByteArray &frame)
{
    if (frame.size() <= Capacity<msg::DATA16>)
        Q_EMIT sendMavlinkMessage(dataMessage<msg::DATA16>(frame));
    else if (frame.size() <= Capacity<msg::DATA32>)
        Q_EMIT sendMavlinkMessage(dataMessage<msg::DATA32>(frame));
    else if (frame.size() <= Capacity<msg::DATA64>)
        Q_EMIT sendMavlinkMessage(dataMessage<msg::DATA64>(frame));
    else if (frame.size() <= Capacity<msg::DATA96>)
        Q_EMIT sendMavlinkMessage(dataMessage<msg::DATA96>(frame));
}

void MavCommunicator::onMessageReceived(const mavlink::mavlink_message_t &message)
{
    if (message.msgid != V2_EXTENSION::MSG_ID)
        return;
    if (debugEnabled())
        debug() << "Received V2 extension from " << message.sysid;
    groundSystemId = message.sysid;
    V2_EXTENSION extension;
    mavlink::MsgMap map(&message);
    extension.deserialize(map);
    const int length = std::min<int>(extension.payload[0], MaxFrameInV2Extension);
    parseIncomingData(QByteArray(reinterpret_cast<const char *>(extension.payload.data()) + 1, length));
}
