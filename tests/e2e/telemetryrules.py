# SPDX-License-Identifier: MIT
"""What a host must publish for the messages of an autopilot, worked out a second time."""

import math
import struct
from dataclasses import dataclass, field
from datetime import datetime, timedelta, timezone

# Pi in single precision: both ends of the system count with it.
PI = 3.1415927410125732
EARTH_RADIUS = 6378137.0
AUTOPILOTS = (3, 12)
ARMED_FLAG = 128
FIX_3D = 3
UNKNOWN_SATELLITES = 255
LOCAL_TIME = timezone(timedelta(hours=5, minutes=30))

ABOVE, BELOW, IN_RANGE = 1, 2, 0

SINGLES = ("roll", "pitch", "yaw")
READINGS = ("altitude", "rawAltimeterValue")
MESSAGE_DRIVEN = {
    *SINGLES,
    *READINGS,
    "daqEnabled",
    "timeIsSet",
    "gpsCoordinate",
    "velocity",
    "vehicleLocalPos",
    "textToGround",
}


def to_single(number: float) -> float:
    return struct.unpack("<f", struct.pack("<f", number))[0]


def to_json(number: float) -> float | None:
    return number if math.isfinite(number) else None


def degrees(e7: int) -> float:
    if e7 == -(2**31):
        return 214.7483648  # negated in 32 bits it stays what it is
    whole, fraction = divmod(abs(e7), 10_000_000)
    value = fraction / 1e7 + whole
    return value if e7 >= 0 else value * -1.0


def to_radians(angle: float) -> float:
    return angle / 180.0 * PI


def local_offset(origin: tuple[float, float], position: tuple[float, float]) -> tuple[float, float]:
    north = to_radians(position[0] - origin[0]) * EARTH_RADIUS
    east = to_radians(position[1] - origin[1]) * EARTH_RADIUS * math.cos(to_radians(position[0]))
    return north, east


def clock_text(unix_microseconds: int) -> str:
    local = datetime.fromtimestamp(unix_microseconds // 1000 // 1000, LOCAL_TIME)
    return f"{local.year}.{local:%m.%d-%H:%M:%S}"


@dataclass
class TelemetryRules:
    min_altitude_m: float = 0
    max_altitude_m: float = 0
    wifi_off_in_air: bool = False
    published: list[tuple[str, object]] = field(default_factory=list)
    commands: list[str] = field(default_factory=list)
    target: tuple[int, int] | None = None
    armed: bool = False
    daq_enabled: bool = False
    clock_is_set: bool = False
    satellites: int = 0
    origin: tuple[float, float] | None = None

    def take(self, message) -> None:
        handler = getattr(self, f"_take_{message.get_type().lower()}", None)
        source = (message.get_srcSystem(), message.get_srcComponent())
        if handler and self.target in (None, source):
            handler(message)

    def _publish(self, signal: str, value) -> None:
        self.published.append((signal, value))

    def _say(self, text: str) -> None:
        self._publish("textToGround", {"text": f"[AP] {text}", "type": 0})

    def _take_heartbeat(self, message) -> None:
        if message.autopilot not in AUTOPILOTS:
            return
        if self.target is None:
            self.target = (message.get_srcSystem(), message.get_srcComponent())
        armed = bool(message.base_mode & ARMED_FLAG)
        if armed and not self.armed:
            if not self.daq_enabled:
                self._say("Logging started (auto)")
            self._set_daq(True)
            self._switch_wifi("Disable", "off")
        elif self.armed and not armed:
            self._switch_wifi("Enable", "on")
            if self.daq_enabled:
                self._say("Logging stopped (auto)")
            self._set_daq(False)
        self.armed = armed

    def _set_daq(self, enabled: bool) -> None:
        self._publish("daqEnabled", enabled)
        self.daq_enabled = enabled

    def _switch_wifi(self, verb: str, state: str) -> None:
        if self.wifi_off_in_air:
            self._say(f"{verb} Wi-Fi")
            self.commands.append(f"nmcli radio wifi {state}")

    def _take_system_time(self, message) -> None:
        if self.satellites == 0 or message.time_unix_usec == 0 or self.clock_is_set:
            return
        text = clock_text(message.time_unix_usec)
        self.commands.append(f"date --set {text}")
        self._publish("timeIsSet", True)
        self._say(f"New system date/time: {text}")
        self.clock_is_set = True

    def _take_gps_raw_int(self, message) -> None:
        seen = message.satellites_visible
        self.satellites = 0 if seen == UNKNOWN_SATELLITES else seen
        if self.origin is None and message.fix_type >= FIX_3D:
            self.origin = (degrees(message.lat), degrees(message.lon))

    def _take_attitude(self, message) -> None:
        for signal in SINGLES:
            self._publish(signal, to_json(getattr(message, signal)))

    def _take_global_position_int(self, message) -> None:
        position = (degrees(message.lat), degrees(message.lon))
        self._publish("gpsCoordinate", {"latitude": position[0], "longitude": position[1]})
        north, east, up = message.vx / 100, message.vy / 100, -message.vz / 100
        self._publish("velocity", math.sqrt(north * north + east * east + up * up))
        altitude = to_single(message.relative_alt / 1000)
        self._publish("altitude", {"value": altitude, "status": self._range_status(altitude)})
        if self.origin:
            x, y = local_offset(self.origin, position)
            self._publish("vehicleLocalPos", {"x": x, "y": y, "z": -message.relative_alt / 1000})

    def _range_status(self, altitude: float) -> int:
        if altitude > to_single(self.max_altitude_m):
            return ABOVE
        return BELOW if altitude < to_single(self.min_altitude_m) else IN_RANGE

    def _take_distance_sensor(self, message) -> None:
        self._publish("rawAltimeterValue", {"value": to_single(message.current_distance / 100), "status": 0})


def message_driven(records: list[dict]) -> list[tuple[str, object]]:
    """Of what a host has printed, what messages cause; readings without their times, single precision
    where that is what was published."""
    found = []
    for record in records:
        signal = record.get("signal")
        if signal not in MESSAGE_DRIVEN:
            continue
        value = record["value"]
        if signal in SINGLES and value is not None:
            value = to_single(value)
        elif signal in READINGS:
            value = {"value": to_single(value["value"]), "status": value["status"]}
        found.append((signal, value))
    return found
