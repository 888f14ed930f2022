// SPDX-License-Identifier: MIT
#include "navigation/stickrecorder.h"

#include <cmath>
#include <cstring>
#include <utility>

StickRecorder::StickRecorder()
{
    resetChannel();
    const auto recordPlain = [this](auto signal, const char *name) {
        connect(&stick, signal, this, [=] { emitted.append(QLatin1String(name)); });
    };
    recordPlain(&IVirtualStick::controlObtained, "controlObtained");
    recordPlain(&IVirtualStick::controlReleased, "controlReleased");
    recordPlain(&IVirtualStick::controlFailed, "controlFailed");
    recordPlain(&IVirtualStick::autoLanding, "autoLanding");
    recordPlain(&IVirtualStick::goHome, "goHome");
    recordPlain(&IVirtualStick::resetReturnToHome, "resetReturnToHome");
    recordPlain(&IVirtualStick::gpsPositionChanged, "gpsPositionChanged");
    const auto record = [this](auto signal, const char *name, auto &list) {
        connect(&stick, signal, this, [=, &list](const auto &value) {
            emitted.append(QLatin1String(name));
            list.append(value);
        });
    };
    record(&IVirtualStick::localPositionChanged, "localPositionChanged", positions);
    record(&IVirtualStick::statusChanged, "statusChanged", statuses);
    record(&IVirtualStick::attitudeChanged, "attitudeChanged", attitudes);
    record(&MavStickAdapter::sendData, "sendData", written);
    connect(&stick, &IVirtualStick::originChanged, this, [this](double lat, double lon, double altitude) {
        emitted.append(QStringLiteral("originChanged"));
        origins.append({lat, lon, altitude});
    });
    connect(&stick, &MavStickAdapter::sendMessage, this, [this](const mavlink::Message &message) {
        emitted.append(QStringLiteral("sendMessage"));
        sent.append(frameOf(message, {2, 5}, static_cast<quint8>(sent.size())).toHex().toUpper());
    });
}

void StickRecorder::receive(const mavlink::Message &message, Sender sender)
{
    stick.onMessageReceived(receivedOf(message, sender, '\xAA'));
}

void StickRecorder::detect(quint8 autopilot, Sender sender)
{
    receive(heartbeatOf(autopilot), sender);
    log.take();
    emitted.clear();
    statuses.clear();
}

QByteArrayList StickRecorder::takeSent()
{
    return std::exchange(sent, {});
}

QStringList StickRecorder::takeEmitted()
{
    return std::exchange(emitted, {});
}

bool sameBits(float a, float b)
{
    const auto bitsOf = [](float number) {
        quint32 bits = 0;
        std::memcpy(&bits, &number, sizeof bits);
        return bits;
    };
    return (std::isnan(a) && std::isnan(b)) || bitsOf(a) == bitsOf(b);
}

mavlink::common::msg::ATTITUDE attitudeOf(float roll, float pitch, float yaw, quint32 bootMs)
{
    mavlink::common::msg::ATTITUDE attitude{};
    attitude.time_boot_ms = bootMs;
    attitude.roll = roll;
    attitude.pitch = pitch;
    attitude.yaw = yaw;
    return attitude;
}

mavlink::standard::msg::GLOBAL_POSITION_INT positionOf(qint32 lat, qint32 lon, qint32 alt, quint32 bootMs)
{
    mavlink::standard::msg::GLOBAL_POSITION_INT position{};
    position.time_boot_ms = bootMs;
    position.lat = lat;
    position.lon = lon;
    position.alt = alt;
    return position;
}
