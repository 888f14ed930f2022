// SPDX-License-Identifier: MIT
#pragma once

#include "sim/aircraft.h"
#include "sim/autopilotmanner.h"
#include "sim/autopilotprofile.h"

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
    static constexpr std::chrono::seconds disarmDelay{2};
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
    void receive(const mavlink::mavlink_message_t &message, AutopilotClient *from) override;
    const ModeTable &modes() const override;
    quint32 mode() const override { return currentMode; }
    QString setMode(quint32 mode) override;
    QString setArmed(bool armed) override;
    quint32 landMode() const override { return Land; }

private:
    void onSetMode(const mavlink::mavlink_message_t &message, AutopilotClient *from);
    void onSetPoint(const mavlink::mavlink_message_t &message);
    void onCommand(const mavlink::mavlink_message_t &message, AutopilotClient *from);
    quint8 obey(const mavlink::common::msg::COMMAND_LONG &command, AutopilotClient *from);
    quint8 obeyArming(const mavlink::common::msg::COMMAND_LONG &command);
    quint8 obeyTakeOff(double altitudeM);
    quint8 obeyMode(quint32 mode);
    quint8 setInterval(const mavlink::common::msg::COMMAND_LONG &command, AutopilotClient *from);
    quint8 sendOnce(quint32 id, int client);
    bool setPointsCome() const;
    void enterMode(quint32 mode);
    void disarm();
    void watchFlight();
    void tellOfChange();
    bool isAutomatic() const;

    Aircraft *const aircraft;
    Outbox *const outbox;
    quint32 currentMode = Loiter;
    std::optional<SimTime> lastSetPoint;
    SimTime onGround{0}; // after a flight
    bool hasFlown = false;
    quint32 changes = 0;
};
