// SPDX-License-Identifier: MIT
#pragma once

#include "sim/aircraft.h"
#include "sim/autopilotkind.h"
#include "sim/autopilotmanner.h"

#include <QObject>

#include <memory>
#include <optional>
#include <vector>

/// A vehicle with its autopilot, in a world that moves in steps and only when told to: the same steps and
/// messages give the same flight, byte for byte.
class SimulatedAutopilot : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        AutopilotKind kind = AutopilotKind::ArduPilot;
        Wind wind = {};
        quint32 seed = 1;
        std::optional<double> bootDelayS = {}; ///< From power-up until it can be armed; else as the real one.
        quint64 unixTimeUs = 0;                ///< At power-up.
    };

    struct Line
    {
        bool serial = false;
        int baud = 0; ///< 0: so fast that nothing has to be slowed down.
    };

    /// The outbox is not owned and outlives it.
    SimulatedAutopilot(const Settings &settings, Outbox *outbox);
    ~SimulatedAutopilot() override;

    /// Moves everything by one step of time, and sends what is due.
    void step();
    void addClient(int client, const Line &line);
    void removeClient(int client);
    void receive(const mavlink::mavlink_message_t &message, int client);
    /// As if the power went and came back, wherever the vehicle is.
    void reboot();

    AutopilotManner &manner() const { return *autopilot; }
    const Aircraft &state() const { return aircraft; }

Q_SIGNALS:
    void modeChanged(quint32 mode);
    void armedChanged(bool armed);
    void landedChanged(bool landed);

private:
    AutopilotClient *find(int client);
    void moveVehicle();
    void powerUp();
    void startTalking();
    void welcome(AutopilotClient *client);
    void sendStreams(AutopilotClient *client);
    void tellChanges();

    Aircraft aircraft;
    Outbox *const outbox;
    std::unique_ptr<AutopilotManner> autopilot;
    std::vector<AutopilotClient> clients;
    SimTime nextHeartbeat{0};
    bool talking = false;
    quint32 toldMode;
    bool toldArmed = false;
    bool toldLanded = true;
};
