// SPDX-License-Identifier: MIT
#pragma once

#include "sim/relay.h"

#include <QString>

/// A simulated vehicle at a moment.
struct VehicleStatus
{
    QString mode;
    bool ready = false; ///< Whether it can be armed.
    bool armed = false;
    bool landed = true;
    double northM = 0; ///< Of where it started.
    double eastM = 0;
    double heightM = 0; ///< Above home.
    int batteryPercent = 0;
};

/// What the simulator tells its user: on stdout the links that are open, or with JSON one object an event; on
/// stderr notes and errors.
class Report
{
public:
    Report(bool asJson, bool beQuiet)
        : json(asJson)
        , quiet(beQuiet)
    {}

    void listening(const QString &address) const;
    void clientJoined(const QString &address) const { client(address, true); }
    void clientLeft(const QString &address) const { client(address, false); }
    void relay(const Relay::Counters &counters) const;
    void finished(qint64 bytes, qint64 pauses) const;
    void mode(const QString &name, quint32 number) const;
    void armed(bool armed) const;
    void landed(bool landed) const;
    void status(const VehicleStatus &status) const;
    static void error(const QString &text);

private:
    void client(const QString &address, bool connected) const;
    void note(const QString &text) const;

    bool json;
    bool quiet;
};
