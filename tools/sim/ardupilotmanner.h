// SPDX-License-Identifier: MIT
#pragma once

#include "sim/aircraft.h"
#include "sim/ardupilotmodes.h"
#include "sim/autopilotmanner.h"
#include "sim/autopilotprofile.h"

/// The manners of an ArduCopter, as measured on a real one.
///
/// Modes that a pilot flies by hand hold the place here: there is no remote control.
class ArduPilotManner : public AutopilotManner
{
public:
    static constexpr std::chrono::seconds setPointHold{3};
    static constexpr std::chrono::seconds disarmDelay{2};
    static constexpr std::chrono::milliseconds armingDelay{300};

    static AutopilotProfile profile();

    /// Neither is owned; both outlive it.
    ArduPilotManner(Aircraft *aircraft, Outbox *outbox);

    void boot() override;
    void step() override;
    OutgoingMessage heartbeat() const override;
    void startStreams(StreamSchedule *) const override {}
    std::optional<OutgoingMessage> telemetry(quint32 id) override;
    std::optional<OutgoingMessage> greeting() const override { return std::nullopt; }
    QByteArray bootBytes() const override;
    double budgetOf(int baud) const override { return baud / 10.0; }
    void receive(const mavlink::mavlink_message_t &message, AutopilotClient *from) override;
    const ModeTable &modes() const override { return ArduPilotModes::table(); }
    quint32 mode() const override { return currentMode; }
    QString setMode(quint32 mode) override;
    QString setArmed(bool armed) override;
    quint32 landMode() const override { return ArduPilotModes::Land; }

private:
    void onSetMode(const mavlink::mavlink_message_t &message);
    void onSetPoint(const mavlink::mavlink_message_t &message);
    void onStreamRequest(const mavlink::mavlink_message_t &message, AutopilotClient *from);
    void onCommand(const mavlink::mavlink_message_t &message, AutopilotClient *from);
    quint8 obey(const mavlink::common::msg::COMMAND_LONG &command, AutopilotClient *from);
    quint8 obeyArming(const mavlink::common::msg::COMMAND_LONG &command);
    quint8 obeyTakeOff(double heightM);
    quint8 obeyMode(quint32 mode);
    void enterMode(quint32 mode);
    void arm();
    void disarm();
    void sayWhatHappens(SimTime before);
    void watchSetPoints();
    void watchLanding();
    void sendToken(int client);
    void say(quint8 severity, const QString &text);

    Aircraft *const aircraft;
    Outbox *const outbox;
    quint32 currentMode = ArduPilotModes::Stabilize;
    SimTime lastStep{0};
    SimTime lastSetPoint{0};
    SimTime onGround{0};               // in a mode that lands
    std::optional<SimTime> armingEnds; // asked for, and granted
};
