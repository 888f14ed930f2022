// SPDX-License-Identifier: MIT
#pragma once

#include "autopilot/ibase.h"
#include "navigation/navigate.h"
#include "navigation/positions.h"

/// Navigation mode of the host. Its values are the host's; the stick hands them through uninterpreted.
enum class ControlMode : qint32 {};

/// What the host's navigation logic flies the vehicle by: commands as calls, the vehicle's state as signals.
///
/// Lives on the main thread; owned by the plugin. Commands are sent and forgotten: no acknowledgement is
/// awaited, and a result of true says that the command was sent or accepted, not that the vehicle obeyed. The
/// order of signals and virtual functions is part of the contract with hosts.
class NOFLAILSTEN_EXPORT IVirtualStick : public IBase
{
    Q_OBJECT

public:
    explicit IVirtualStick(QObject *parent = nullptr)
        : IBase(parent)
    {}

    /// Flying along a track, turning to a point, holding an altitude or a position: the arguments are the
    /// host's.
    virtual void trackControl(ControlMode mode, Utils::Vector2d, float, float) = 0;
    virtual void yawControl(Utils::Vector2d, float) = 0;
    virtual void altitudeControl(Utils::Vector2d, float) = 0;
    virtual void keepPosition(float) = 0;
    /// Asks the flight controller for its guided mode.
    virtual void obtainControl() = 0;
    /// The same where another holds control. @return whether it was asked for.
    virtual bool forceObtainControl() = 0;
    virtual void releaseControl() = 0;
    virtual void stopAutoMission() = 0;
    /// Velocity in metres per second north, east and down; yaw rate in degrees per second, clockwise
    /// positive. Nothing is checked: the caller keeps to what the vehicle can fly.
    virtual void setVelocity(const Utils::Vector3d &velocity, float yawRate) = 0;
    /// Asks the detected flight controller for the telemetry behind the signals below.
    virtual bool subscribeToTelemetry() = 0;
    /// Starts the motors. @return false where the stick cannot, as by default.
    virtual bool arm();
    /// Takes off to a height of the stick's own. @return false where the stick cannot, as by default.
    virtual bool takeOff();
    virtual void returnToHome() = 0;

Q_SIGNALS:
    // Who is in control, where the flight controller tells of it.
    void controlObtained();
    void controlReleased();
    void controlFailed();
    void autoLanding();
    void goHome();
    void resetReturnToHome();
    /// Degrees and metres above mean sea level.
    void originChanged(double lat, double lon, double altAmsl);
    /// Metres and metres per second around the origin.
    void localPositionChanged(const Navigate::VehicleLocalPosition &position);
    void gpsPositionChanged(const Navigate::VehicleGpsPosition &position);
    /// With every heartbeat of the flight controller.
    void statusChanged(const Navigate::VehicleStatus &status);
    void attitudeChanged(const Navigate::Attitude &attitude);
};
