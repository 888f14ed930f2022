// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"
#include "sim/aircraft.h"
#include "sim/outgoingmessage.h"

#include <QByteArray>

#include <algorithm>
#include <optional>

/// The messages that both makes of autopilot fill in the same way, from an aircraft that knows where it is.
namespace Telemetry {

using mavlink::common::msg::ATTITUDE;
using mavlink::common::msg::BATTERY_STATUS;
using mavlink::common::msg::DISTANCE_SENSOR;
using mavlink::common::msg::GPS_GLOBAL_ORIGIN;
using mavlink::common::msg::GPS_RAW_INT;
using mavlink::common::msg::HOME_POSITION;
using mavlink::common::msg::LOCAL_POSITION_NED;
using mavlink::common::msg::SYS_STATUS;
using mavlink::common::msg::SYSTEM_TIME;
using mavlink::common::msg::VFR_HUD;
using mavlink::standard::msg::GLOBAL_POSITION_INT;

qint32 degE7(double degrees);
qint32 millimetres(double metres);
qint16 centimetresPerSecond(double metresPerSecond);
quint32 bootMs(const Aircraft &aircraft);
quint64 bootUs(const Aircraft &aircraft);
/// Centidegrees, 0 to 35999.
quint16 heading(const Aircraft &aircraft);

/// Text into a field, cut where the field ends; filled up with zeros.
template <typename Field>
void setText(Field *field, const QByteArray &text)
{
    field->fill(0);
    std::copy_n(text.constData(), std::min(static_cast<size_t>(text.size()), field->size()), field->begin());
}

ATTITUDE attitude(const Aircraft &aircraft);
GLOBAL_POSITION_INT globalPosition(const Aircraft &aircraft);
LOCAL_POSITION_NED localPosition(const Aircraft &aircraft);
/// Without its fix type, satellites and accuracies.
GPS_RAW_INT gps(const Aircraft &aircraft);
SYSTEM_TIME systemTime(const Aircraft &aircraft);
/// Looks down. Its type and range are left to the caller.
DISTANCE_SENSOR distance(const Aircraft &aircraft);
SYS_STATUS systemStatus(const Aircraft &aircraft);
BATTERY_STATUS battery(const Aircraft &aircraft);
VFR_HUD headUp(const Aircraft &aircraft);
HOME_POSITION homePosition(const Aircraft &aircraft);
GPS_GLOBAL_ORIGIN globalOrigin(const Aircraft &aircraft);

/// One of those that need nothing more; nothing for another id.
std::optional<OutgoingMessage> make(quint32 id, const Aircraft &aircraft);

} // namespace Telemetry
