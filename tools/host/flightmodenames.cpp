// SPDX-License-Identifier: MIT
#include "host/flightmodenames.h"

#include <QMap>

using mavlink::ardupilotmega::COPTER_MODE;
using mavlink::minimal::MAV_AUTOPILOT;
using mavlink::minimal::MAV_TYPE;
using mavlink::minimal::msg::HEARTBEAT;

namespace {

const QMap<COPTER_MODE, const char *> &copterModes()
{
    static const QMap<COPTER_MODE, const char *> modes{{COPTER_MODE::STABILIZE, "stabilize"},
                                                       {COPTER_MODE::ACRO, "acro"},
                                                       {COPTER_MODE::ALT_HOLD, "alt_hold"},
                                                       {COPTER_MODE::AUTO, "auto"},
                                                       {COPTER_MODE::GUIDED, "guided"},
                                                       {COPTER_MODE::LOITER, "loiter"},
                                                       {COPTER_MODE::RTL, "rtl"},
                                                       {COPTER_MODE::CIRCLE, "circle"},
                                                       {COPTER_MODE::LAND, "land"},
                                                       {COPTER_MODE::DRIFT, "drift"},
                                                       {COPTER_MODE::SPORT, "sport"},
                                                       {COPTER_MODE::FLIP, "flip"},
                                                       {COPTER_MODE::AUTOTUNE, "autotune"},
                                                       {COPTER_MODE::POSHOLD, "poshold"},
                                                       {COPTER_MODE::BRAKE, "brake"},
                                                       {COPTER_MODE::THROW, "throw"},
                                                       {COPTER_MODE::AVOID_ADSB, "avoid_adsb"},
                                                       {COPTER_MODE::GUIDED_NOGPS, "guided_nogps"},
                                                       {COPTER_MODE::SMART_RTL, "smart_rtl"},
                                                       {COPTER_MODE::FLOWHOLD, "flowhold"},
                                                       {COPTER_MODE::FOLLOW, "follow"},
                                                       {COPTER_MODE::ZIGZAG, "zigzag"},
                                                       {COPTER_MODE::SYSTEMID, "systemid"},
                                                       {COPTER_MODE::AUTOROTATE, "autorotate"},
                                                       {COPTER_MODE::AUTO_RTL, "auto_rtl"},
                                                       {COPTER_MODE::TURTLE, "turtle"}};
    return modes;
}

constexpr quint32 px4Mode(quint32 mainMode, quint32 subMode = 0)
{
    return mainMode << 16 | subMode << 24;
}

const QMap<quint32, const char *> &px4Modes()
{
    static const QMap<quint32, const char *> modes{
        {px4Mode(1), "manual"},     {px4Mode(2), "altctl"},      {px4Mode(3), "posctl"},
        {px4Mode(4, 1), "ready"},   {px4Mode(4, 2), "takeoff"},  {px4Mode(4, 3), "loiter"},
        {px4Mode(4, 4), "mission"}, {px4Mode(4, 5), "rtl"},      {px4Mode(4, 6), "land"},
        {px4Mode(4, 8), "follow"},  {px4Mode(4, 9), "precland"}, {px4Mode(5), "acro"},
        {px4Mode(6), "offboard"},   {px4Mode(7), "stabilized"}};
    return modes;
}

bool isCopter(quint8 type)
{
    switch (static_cast<MAV_TYPE>(type)) {
    case MAV_TYPE::QUADROTOR:
    case MAV_TYPE::COAXIAL:
    case MAV_TYPE::HELICOPTER:
    case MAV_TYPE::HEXAROTOR:
    case MAV_TYPE::OCTOROTOR:
    case MAV_TYPE::TRICOPTER:
    case MAV_TYPE::DODECAROTOR:
    case MAV_TYPE::DECAROTOR:
        return true;
    default:
        return false;
    }
}

} // namespace

QString flightModeName(const HEARTBEAT &heartbeat)
{
    const quint32 number = heartbeat.custom_mode;
    const char *name = nullptr;
    if (heartbeat.autopilot == static_cast<quint8>(MAV_AUTOPILOT::PX4))
        name = px4Modes().value(number);
    else if (isCopter(heartbeat.type))
        name = copterModes().value(static_cast<COPTER_MODE>(number));
    return name ? QString(QLatin1String(name)) : QStringLiteral("mode %1").arg(number);
}
