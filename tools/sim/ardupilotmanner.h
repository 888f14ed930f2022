// SPDX-License-Identifier: MIT
#pragma once

#include "sim/ardupilotmodes.h"
#include "sim/autopilotmanner.h"
#include "sim/autopilotprofile.h"
#include "sim/incoming.h"

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
    const ModeTable &modes() const override { return ArduPilotModes::table(); }
    QString setMode(quint32 mode) override;
    quint32 landMode() const override { return ArduPilotModes::Land; }

protected:
    quint32 returnMode() const override { return ArduPilotModes::ReturnToLaunch; }
    quint8 refusal() const override { return Incoming::Failed; }
    QString arm() override;
    void disarm() override;
    OutgoingMessage parameterToken() const override;
    void onModeRequest(const SET_MODE &request, const mavlink::mavlink_message_t &message,
                       AutopilotClient *from) override;
    void onVelocity(const Demand &demand) override;
    void onCommand(const COMMAND_LONG &command, const mavlink::mavlink_message_t &message,
                   AutopilotClient *from) override;
    void onOther(const mavlink::mavlink_message_t &message, AutopilotClient *from) override;
    quint8 obeyTakeOff(double heightM) override;
    quint32 modeOf(const COMMAND_LONG &command) const override;
    quint8 obeyOther(const COMMAND_LONG &command, AutopilotClient *from) override;

private:
    QString whyNotArmed() const;
    void beginArming();
    void sendPlaces();
    void sayWhatHappens(SimTime before);
    void watchSetPoints();
    void watchLanding();
    void say(quint8 severity, const QString &text);

    SimTime lastStep{0};
    SimTime lastSetPoint{0};
    SimTime onGround{0};               // in a mode that lands
    std::optional<SimTime> armingEnds; // asked for, and granted
};
