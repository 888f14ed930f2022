// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"
#include "navigation/ivirtualstick.h"

/// The virtual stick over MAVLink, for PX4 and ArduPilot: velocity control, and telemetry around a local
/// origin.
///
/// Commands are messages emitted with sendMessage(), addressed to the target system: 0, all systems, until a
/// flight controller has been detected. None is acknowledged, so obeying shows in statusChanged() alone. Of
/// the interface's ways of control only setVelocity() does anything; signals that need more than telemetry
/// (controlObtained() and the like, gpsPositionChanged()) are never emitted.
///
/// Two latches, never reset: the autopilot is that of the first heartbeat of an ArduPilot or a PX4, and the
/// origin is the first GLOBAL_POSITION_INT, whatever it holds: an ArduPilot sends zeros before its GPS fix,
/// and then local positions are offsets from 0° N, 0° E.
///
/// Main thread; owned by the driver, which parses and frames for it. onDataReceived() and onMessageSent() are
/// for a link of its own; they use channel 0 like the driver, so not beside it.
class NOFLAILSTEN_EXPORT MavStickAdapter : public IVirtualStick
{
    Q_OBJECT

public:
    explicit MavStickAdapter(QObject *parent = nullptr);
    ~MavStickAdapter() override;

    QString id() const override;

    /// The following accept and do nothing.
    void trackControl(ControlMode mode, Utils::Vector2d, float, float) override;
    void yawControl(Utils::Vector2d, float) override;
    void altitudeControl(Utils::Vector2d, float) override;
    void keepPosition(float) override;
    void releaseControl() override;
    void stopAutoMission() override;
    void returnToHome() override;

    /// SET_MODE to custom mode 4: guided in an ArduPilot Copter. A PX4 refuses it.
    void obtainControl() override;
    /// Sends nothing. @return true
    bool forceObtainControl() override;
    /// SET_POSITION_TARGET_LOCAL_NED: metres per second north, east, down; degrees per second, clockwise
    /// positive. Sent as given: NaN, infinity and any speed too.
    void setVelocity(const Utils::Vector3d &velocity, float yawRate) override;
    /// Asks for positions and attitude (ArduPilot: at 50 Hz), GPS, time and distance; each request three
    /// times, as none is acknowledged. The driver asks for the same every 10 s, at MAV/TELEMETRY_RATE: the
    /// later request holds. Without a detected autopilot: a critical line. @return true
    bool subscribeToTelemetry() override;
    /// @return true
    bool arm() override;
    /// To 15 m: above home for an ArduPilot, above mean sea level for a PX4, which below its least height
    /// climbs to that. @return true
    bool takeOff() override;

    /// Addresses commands to a system before its heartbeat is seen here. Only what this system sends is
    /// looked at from then on; 0: everybody's.
    void setTargetSystemId(quint32 systemId);
    /// Sends a message three times.
    void trySubscribeRequest(const mavlink::Message &message);

Q_SIGNALS:
    /// A message to be framed and written.
    void sendMessage(const mavlink::Message &message);
    /// A frame of onMessageSent().
    void sendData(const QByteArray &frame);

public Q_SLOTS:
    /// Frames a message with system 10, component 5 and emits it with sendData().
    void onMessageSent(const mavlink::Message &message);
    /// Parses bytes of a link; bad frames are dropped silently.
    void onDataReceived(const QByteArray &bytes);
    /// Takes every message from the flight controller's link.
    void onMessageReceived(const mavlink::mavlink_message_t &message);

private:
    void handleHeartbeat(const mavlink::mavlink_message_t &message);
    void handleAttitude(const mavlink::mavlink_message_t &message);
    void handlePosition(const mavlink::mavlink_message_t &message);
    void detect(quint8 systemId, quint8 autopilot);
    void setOrigin(const Coordinate &position);
    void sendCommand(quint16 command, float param1, float param7);

    bool originSet = false;
    Coordinate origin;
    Navigate::Attitude lastAttitude;
    Navigate::VehicleLocalPosition lastLocalPosition;
    quint32 targetSystemId = 0; // 0: not known yet
    quint32 systemId = 10;      // of our own framer
    quint32 componentId = 5;
    quint8 autopilotType = 0; // MAV_AUTOPILOT; 0: none detected yet
    qint32 telemetryRate = 2; // Hz
    quint8 lastBaseMode = 0;
    quint32 lastCustomMode = 0;
    quint32 detectedSystemId = 0; // whose heartbeat told the autopilot type; 0: nobody's yet
};
