// SPDX-License-Identifier: MIT
#include "autopilot/mavautopilot.h"

#include "app/app.h"
#include "autopilot/messageoutlet.h"
#include "autopilot/telemetryrequests.h"
#include "communication/mavcommunicator.h"
#include "communication/monitormessage.h"
#include "connection/tcpconnection.h"
#include "connection/uartconnection.h"
#include "mavlink/framing.h"
#include "navigation/mavstickadapter.h"

#include <QDataStream>
#include <QTimer>
#include <QTimerEvent>

#include <atomic>
#include <cstring>

namespace {

constexpr int HeartbeatPeriodMs = 1000;
constexpr int SubscribePeriodMs = 10000;
constexpr qint16 AltimeterPayloadTag = 7;
constexpr MessageId StatusMessage{1};
constexpr PayloadId AltimeterPayload{4};

constexpr auto autopilotKind(mavlink::minimal::MAV_AUTOPILOT kind)
{
    return static_cast<quint8>(kind);
}

constexpr quint8 Px4 = autopilotKind(mavlink::minimal::MAV_AUTOPILOT::PX4);
constexpr auto SafetyArmed = static_cast<quint8>(mavlink::minimal::MAV_MODE_FLAG::SAFETY_ARMED);
constexpr quint8 ArduPilot = autopilotKind(mavlink::minimal::MAV_AUTOPILOT::ARDUPILOTMEGA);

} // namespace

MavAutopilot::MavAutopilot()
    : IAutopilotPlugin(nullptr)
    , telemetry(*this, publish)
{
    qRegisterMetaType<mavlink::mavlink_message_t>("mavlink::mavlink_message_t");
    heartbeatWatch.start();
    readSettings();
    createConnection();
    connect(connection, &IConnection::dataReceived, this, &MavAutopilot::dispatchReceivedData);
    createParts();
}

// The connection tells of its closing: not when this object is half gone.
MavAutopilot::~MavAutopilot()
{
    connection->close();
}

void MavAutopilot::readSettings()
{
    if (App *app = runningApp()) {
        connect(app, &App::APP_STATUS_PERIOD_MS, this, [this](int value) { statusPeriodMs = value; });
        connect(app, &App::MAV_CONNECTION_TYPE, this,
                [this](const QString &value) { connectionType = value; });
        connect(app, &App::MAV_SERIAL_DEVICE, this, [this](const QString &value) { serialDevice = value; });
        connect(app, &App::MAV_BAUD_RATE, this,
                [this](int value) { baudRate = static_cast<quint32>(value); });
        connect(app, &App::MAV_SYSTEM_ID, this, [this](quint16 value) { systemId = value; });
        connect(app, &App::MAV_COMPONENT_ID, this, [this](quint16 value) { componentId = value; });
        connect(app, &App::MAV_SENDING_PERIOD_MS, this, [this](int value) { sendingPeriodMs = value; });
        connect(app, &App::MAV_TELEMETRY_RATE, this, [this](int value) { telemetryRate = value; });
        connect(app, &App::ALTIMETER_MIN_ALTITUDE_M, this,
                [this](float value) { telemetry.setMinAltitude(value); });
        connect(app, &App::ALTIMETER_MAX_ALTITUDE_M, this,
                [this](float value) { telemetry.setMaxAltitude(value); });
        connect(app, &App::daqEnabled, this, [this](bool value) { daqEnabled = value; });
    }
    statusPeriodMs = readSetting("APP", "STATUS_PERIOD_MS", 1000).toInt();
    connectionType = readSetting("MAV", "CONNECTION_TYPE", QStringLiteral("UART")).toString();
    serialDevice = readSetting("MAV", "SERIAL_DEVICE", QStringLiteral("/dev/ttymxc3")).toString();
    baudRate = readSetting("MAV", "BAUD_RATE", 57600).toUInt();
    systemId = static_cast<quint16>(readSetting("MAV", "SYSTEM_ID", 2).toUInt());
    componentId = static_cast<quint16>(readSetting("MAV", "COMPONENT_ID", 5).toUInt());
    sendingPeriodMs = readSetting("MAV", "SENDING_PERIOD_MS", 20).toInt();
    telemetryRate = readSetting("MAV", "TELEMETRY_RATE", 10).toInt();
    telemetry.setMinAltitude(readSetting("ALTIMETER", "MIN_ALTITUDE_M", QVariant()).toFloat());
    telemetry.setMaxAltitude(readSetting("ALTIMETER", "MAX_ALTITUDE_M", QVariant()).toFloat());
}

void MavAutopilot::createConnection()
{
    if (connectionType == QLatin1String("TCP")) {
        connection = new TcpConnection(this);
        return;
    }
    if (connectionType != QLatin1String("UART"))
        warningLine(*this) << "Unknown connection type: " << connectionType << ". Set to default:"
                           << "UART";
    connection = new UartConnection(this);
}

// The order of the connections is the order of delivery: the ground link, the telemetry, the stick.
void MavAutopilot::createParts()
{
    outlet = new MessageOutlet([this](const mavlink::Message &message) { sendMessage(message); }, this);
    carrier = new MavCommunicator(sendingPeriodMs, this);
    carrier->installEventFilter(this);
    connect(this, &MavAutopilot::messageReceived, carrier, &MavCommunicator::onMessageReceived);
    connect(this, &MavAutopilot::messageReceived, this, &MavAutopilot::onMessageReceived);
    connect(carrier, &MavCommunicator::sendMavlinkMessage, outlet, &MessageOutlet::send);
    stick = new MavStickAdapter(this);
    connect(this, &MavAutopilot::messageReceived, stick, &MavStickAdapter::onMessageReceived);
    connect(stick, &MavStickAdapter::sendMessage, outlet, &MessageOutlet::send);
}

ICommunicator *MavAutopilot::communicator()
{
    return carrier;
}

IVirtualStick *MavAutopilot::virtualStick()
{
    return stick;
}

bool MavAutopilot::isStarted() const
{
    return started;
}

QString MavAutopilot::name() const
{
    return QStringLiteral("Mavlink Autopilot");
}

QString MavAutopilot::version() const
{
    return QStringLiteral("2.10.0.1856");
}

bool MavAutopilot::start()
{
    startTimers();
    if (!connection->open(serialDevice, QVariant(baudRate))) {
        criticalLine(*this) << "Failed to open connection to autopilot";
        return false;
    }
    info() << "Connected to autopilot";
    carrier->start();
    linkStatus = 1;
    started = true;
    return true;
}

void MavAutopilot::stop()
{
    connection->close();
    carrier->stop();
    outlet->discard(); // the rest of it would be out of date on the next link
    stopTimers();
    giveSubscribingUp();
    started = false;
}

void MavAutopilot::startTimers()
{
    stopTimers();
    statusTimerId = startTimer(statusPeriodMs, Qt::CoarseTimer);
    heartbeatTimerId = startTimer(HeartbeatPeriodMs, Qt::CoarseTimer);
    subscribeTimerId = startTimer(SubscribePeriodMs, Qt::CoarseTimer);
}

void MavAutopilot::stopTimers()
{
    killTimerId(statusTimerId);
    killTimerId(heartbeatTimerId);
    killTimerId(subscribeTimerId);
}

void MavAutopilot::killTimerId(int &timerId)
{
    if (timerId == -1)
        return;
    killTimer(timerId);
    timerId = -1;
}

bool MavAutopilot::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Timer)
        deliverWhatCameMeanwhile();
    return IAutopilotPlugin::eventFilter(watched, event);
}

void MavAutopilot::timerEvent(QTimerEvent *event)
{
    deliverWhatCameMeanwhile();
    if (event->timerId() == statusTimerId)
        reportStatus();
    else if (event->timerId() == heartbeatTimerId)
        sendHeartbeat();
    else if (event->timerId() == subscribeTimerId && targetSystemId != 0)
        subscribe();
}

void MavAutopilot::reportStatus()
{
    if (heartbeatWatch.elapsed() > heartbeatTimeoutMs) {
        reportedStatus = linkStatus;
        heartbeatWatch.restart();
    }
    publish.autopilotStatus(reportedStatus);

    QByteArray payload;
    QDataStream stream(&payload, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << AltimeterPayloadTag
           << AltimeterStatus{telemetry.altimeter().value, telemetry.altimeter().status};
    Q_EMIT dataReceived(StatusMessage, AltimeterPayload, payload, QVariant());
}

void MavAutopilot::sendHeartbeat()
{
    mavlink::minimal::msg::HEARTBEAT heartbeat{};
    heartbeat.type = static_cast<quint8>(mavlink::minimal::MAV_TYPE::ONBOARD_CONTROLLER);
    heartbeat.autopilot = autopilotKind(mavlink::minimal::MAV_AUTOPILOT::INVALID);
    heartbeat.system_status = static_cast<quint8>(mavlink::minimal::MAV_STATE::ACTIVE);
    static std::atomic_bool sentBefore{false};
    if (!sentBefore.exchange(true))
        debug() << "First MAVLink heartbeat sent";
    sendMessage(heartbeat);
}

// A round that is still going asks for the same, unless the rate has changed.
void MavAutopilot::subscribe()
{
    subscribeAgain = subscribing && telemetryRate != rateOfRound;
    if (subscribing)
        return;
    subscribing = true;
    requestsSent = 0;
    rateOfRound = telemetryRate;
    continueSubscribing();
}

void MavAutopilot::continueSubscribing()
{
    int request = 0;
    bool wait = false;
    const int begun = round;
    const auto ask = [&](const mavlink::Message &message) {
        if (request++ < requestsSent || wait)
            return;
        trySubscribeRequest(message);
        wait = sendHasBlocked || round != begun;
        if (round == begun) // else another may be under way already
            ++requestsSent;
    };
    if (autopilotType == Px4)
        TelemetryRequests::forPx4(static_cast<quint8>(targetSystemId), rateOfRound, ask);
    else if (autopilotType == ArduPilot)
        TelemetryRequests::forArduPilot(static_cast<quint8>(targetSystemId), rateOfRound, ask);
    else
        criticalLine(*this) << "Unknown autopilot type detected : " << autopilotType;
    if (round != begun)
        return;
    subscribing = requestsSent < request;
    if (subscribing)
        continueInRound(&MavAutopilot::continueSubscribing);
    else if (subscribeAgain)
        continueInRound(&MavAutopilot::subscribe);
}

void MavAutopilot::continueInRound(void (MavAutopilot::*next)())
{
    QTimer::singleShot(0, this, [this, next, begun = round] {
        deliverWhatCameMeanwhile();
        if (round == begun) // else stopped
            (this->*next)();
    });
}

void MavAutopilot::giveSubscribingUp()
{
    ++round;
    subscribing = false;
    subscribeAgain = false;
}

void MavAutopilot::trySubscribeRequest(const mavlink::Message &message)
{
    const int begun = round;
    for (int i = 0; i < 3 && round == begun; ++i) {
        sendMessage(message);
        deliverWhatCameMeanwhile();
    }
}

// Telemetry is not to be late by more than one send takes: the event loop runs several timers in a row. Not
// from inside a send, where a receiver is not prepared for it.
void MavAutopilot::deliverWhatCameMeanwhile()
{
    if (sendHasBlocked)
        connection->readData();
}

void MavAutopilot::dispatchReceivedData(const QByteArray &data)
{
    for (const char byte : data) {
        if (mavlink::mavlink_parse_char(mavlink::MAVLINK_COMM_0, static_cast<quint8>(byte), nullptr,
                                        nullptr) != mavlink::MAVLINK_FRAMING_OK)
            continue;
        // A copy: a receiver may get more bytes parsed before the others have seen this message.
        mavlink::mavlink_message_t message;
        std::memcpy(&message, mavlink::mavlink_get_channel_buffer(mavlink::MAVLINK_COMM_0), sizeof message);
        Q_EMIT messageReceived(message);
    }
}

void MavAutopilot::onMessageReceived(const mavlink::mavlink_message_t &message)
{
    if (!isFromAutopilot(message))
        return;
    if (message.msgid == mavlink::minimal::msg::HEARTBEAT::MSG_ID)
        handleHeartbeat(message);
    else
        telemetry.handle(message);
}

// Before an autopilot is detected everybody is listened to; heartbeats of others never make one.
bool MavAutopilot::isFromAutopilot(const mavlink::mavlink_message_t &message) const
{
    return targetSystemId == 0 || (message.sysid == targetSystemId && message.compid == targetComponentId);
}

void MavAutopilot::handleHeartbeat(const mavlink::mavlink_message_t &message)
{
    mavlink::minimal::msg::HEARTBEAT heartbeat;
    mavlink::MsgMap map(&message);
    heartbeat.deserialize(map);
    if (heartbeat.autopilot != Px4 && heartbeat.autopilot != ArduPilot)
        return;
    if (targetSystemId == 0)
        detect(message, heartbeat.autopilot);
    reportedStatus = 2;
    heartbeatWatch.restart();
    followArming((heartbeat.base_mode & SafetyArmed) != 0);
}

void MavAutopilot::detect(const mavlink::mavlink_message_t &message, quint8 autopilot)
{
    targetSystemId = message.sysid;
    targetComponentId = message.compid;
    autopilotType = autopilot;
    info() << "Autopilot systemid detected " << targetSystemId;
    info() << (autopilotType == Px4 ? "PX4 Detected " : "ArduPilot Detected");
    stick->setTargetSystemId(targetSystemId);
}

// `daqEnabled` is not written here: publishing it emits the App signal that this object listens to, and
// whoever else switches logging emits the same signal.
void MavAutopilot::followArming(bool nowArmed)
{
    if (armed && !nowArmed) {
        info() << "The drone is disarming";
        enableWifi(true);
        if (daqEnabled)
            sendInfo(QStringLiteral("Logging stopped (auto)"));
        publish.daqEnabled(false);
    } else if (!armed && nowArmed) {
        if (!daqEnabled)
            sendInfo(QStringLiteral("Logging started (auto)"));
        publish.daqEnabled(true);
        info() << "The drone is arming";
        enableWifi(false);
    }
    armed = nowArmed;
}

void MavAutopilot::sendMessage(const mavlink::Message &message)
{
    quint8 frame[MAVLINK_MAX_PACKET_LEN];
    const quint16 length =
        mavlink::packFrame(message, static_cast<quint8>(systemId), static_cast<quint8>(componentId), frame);
    if (connection)
        sendHasBlocked =
            !connection->sendData(reinterpret_cast<const char *>(frame), length) && connection->isOpened();
}
