// SPDX-License-Identifier: MIT
#pragma once

#include "sim/autopilotmanner.h"
#include "sim/autopilotprofile.h"
#include "sim/incoming.h"

/// The manners of a PX4 multicopter, as measured on a real one.
///
/// Modes that a pilot flies by hand hold the place here: there is no remote control.
class Px4Manner : public AutopilotManner
{
public:
    /// Main mode << 16 | sub-mode << 24.
    enum ModeNumber : quint32 {
        Manual = 1U << 16,
        Altitude = 2U << 16,
        Position = 3U << 16,
        OffBoard = 6U << 16,
        TakeOff = 4U << 16 | 2U << 24,
        Loiter = 4U << 16 | 3U << 24,
        Mission = 4U << 16 | 4U << 24,
        Return = 4U << 16 | 5U << 24,
        Land = 4U << 16 | 6U << 24,
    };

    static constexpr std::chrono::seconds setPointTimeout{1};
    static constexpr std::chrono::seconds disarmDelay{4};
    /// Metres above home to which it takes off when it is told no better.
    static constexpr double leastTakeOffM = 2.5;

    static AutopilotProfile profile();

    /// Neither is owned; both outlive it.
    Px4Manner(Aircraft *aircraft, Outbox *outbox);

    void boot() override;
    void step() override;
    OutgoingMessage heartbeat() const override;
    void startStreams(StreamSchedule *streams) const override;
    std::optional<OutgoingMessage> telemetry(quint32 id) override;
    std::optional<OutgoingMessage> greeting() const override;
    QByteArray bootBytes() const override { return {}; }
    double budgetOf(int baud) const override { return baud / 20.0; }
    const ModeTable &modes() const override;
    QString setMode(quint32 mode) override;
    quint32 landMode() const override { return Land; }

protected:
    quint32 returnMode() const override { return Return; }
    quint8 refusal() const override { return Incoming::TemporarilyRejected; }
    QString arm() override;
    void disarm() override;
    OutgoingMessage parameterToken() const override;
    void onModeRequest(const SET_MODE &request, const mavlink::mavlink_message_t &message,
                       AutopilotClient *from) override;
    void onVelocity(const Demand &demand) override;
    void onCommand(const COMMAND_LONG &command, const mavlink::mavlink_message_t &message,
                   AutopilotClient *from) override;
    quint8 obeyTakeOff(double altitudeM) override;
    quint32 modeOf(const COMMAND_LONG &command) const override;
    quint8 obeyOther(const COMMAND_LONG &command, AutopilotClient *from) override;

private:
    quint8 setInterval(const COMMAND_LONG &command, AutopilotClient *from);
    quint8 sendOnce(quint32 id, int client);
    bool setPointsCome() const;
    bool canBeArmed() const;
    quint8 systemStatus() const;
    void watchSetPoints();
    void enterMode(quint32 mode);
    void watchFlight();
    void tellOfChange();
    void tellGimbal();
    bool isAutomatic() const;

    quint32 chosenMode = Loiter; // to which it goes back when it has landed
    bool setPointsLost = false;  // and therefore returning
    std::optional<SimTime> lastSetPoint;
    SimTime onGround{0}; // after a flight
    bool hasFlown = false;
    quint32 changes = 0;
};
