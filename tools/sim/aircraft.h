// SPDX-License-Identifier: MIT
#pragma once

#include "sim/battery.h"
#include "sim/boottimes.h"
#include "sim/guidance.h"
#include "sim/sensors.h"
#include "sim/vehicle.h"

/// Everything of a simulated vehicle that its autopilot acts on and tells of.
struct Aircraft
{
    Vehicle vehicle;
    Guidance guidance;
    Sensors sensors;
    Battery battery;
    BootTimes bootTimes;
    quint64 unixTimeUs = 0; ///< Of this moment.

    SimTime sinceBoot{0};
    Readings readings = {}; ///< Of this moment.
    bool armed = false;
    bool homeKnown = false;
    Coordinate home = {}; ///< Valid once known; altitude above mean sea level.
    bool rebootRequested = false;

    bool isUp() const { return sinceBoot >= bootTimes.heartbeat; }
    bool hasFix() const { return sinceBoot >= bootTimes.fix; }
    bool isReady() const { return sinceBoot >= bootTimes.ready; }
    bool isFlying() const { return !vehicle.state().landed; }
    double heightAboveHomeM() const { return homeKnown ? readings.place.altitude - home.altitude : 0; }

    /// Home is where it stands now.
    void setHome()
    {
        homeKnown = true;
        home = readings.place;
        guidance.setHome(vehicle.state().position);
    }
};
