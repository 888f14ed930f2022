# SPDX-License-Identifier: MIT
import math
import random
import struct

import pytest
from frameparser import V2_OVERHEAD
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from telemetryrules import degrees, local_offset, to_single

from autopilot import ARDUPILOT, PX4, attitude, distance, global_position, gps_raw, heartbeat, system_time

RANGE = {"ALTIMETER__MIN_ALTITUDE_M": 2, "ALTIMETER__MAX_ALTITUDE_M": 100}
ORIGIN = (473977418, 85455970)
# Ends a test's input: its yaw comes out after all that was sent before.
LAST_YAW = 1.5


def bits(number: float) -> bytes:
    return struct.pack("<d", number)


def single_bits(number: float) -> bytes:
    return struct.pack("<f", number)


@pytest.fixture
def host(hosts, link, autopilot):
    started = hosts.start(link, "--script", "-", **RANGE)
    autopilot.meet(started)
    return started


def finish(host, autopilot) -> None:
    autopilot.send(attitude(0, 0, LAST_YAW))
    host.wait_for("yaw", lambda value: value == LAST_YAW)


def test_attitude_keeps_every_bit(host, autopilot):
    generator = random.Random(4)
    angles = [generator.uniform(-math.pi, math.pi) for _ in range(60)]
    angles += [0.0, 0.1, -1e-45, 1e-45, 1.17549435e-38, 3.4028235e38, -3.4028235e38]
    for i in range(len(angles) - 2):
        autopilot.send(attitude(*angles[i : i + 3]))
    finish(host, autopilot)
    for name, sent in ("roll", angles), ("pitch", angles[1:]), ("yaw", angles[2:]):
        published = host.values(name)[:-1]
        assert [single_bits(value) for value in published] == [
            single_bits(v) for v in sent[: len(angles) - 2]
        ]


def test_zero_keeps_its_sign(host, autopilot):
    autopilot.send(attitude(-0.0, 0.0, LAST_YAW))
    host.wait_for("yaw")
    signs = [math.copysign(1, host.values(name)[0]) for name in ("roll", "pitch")]
    assert signs == [-1, 1]


def test_attitude_that_is_no_number_is_null(host, autopilot):
    autopilot.send(attitude(math.nan, math.inf, -math.inf))
    assert host.wait_for("yaw") is None
    assert host.values("roll") + host.values("pitch") == [None, None]


def test_roll_pitch_and_yaw_come_in_this_order(host, autopilot):
    autopilot.send(attitude(1.0, 2.0, 3.0), attitude(4.0, 5.0, LAST_YAW))
    host.wait_for("yaw", lambda value: value == LAST_YAW)
    signals = [r["signal"] for r in host.records if r.get("signal") in ("roll", "pitch", "yaw")]
    assert signals == ["roll", "pitch", "yaw"] * 2


def test_position_is_in_degrees_to_the_last_bit(host, autopilot):
    generator = random.Random(5)
    limits = 900000000, 1800000000
    places = [tuple(generator.randint(-limit, limit) for limit in limits) for _ in range(50)]
    places += [(0, 0), (-1, 1), (-900000000, -1800000000), (2**31 - 1, -(2**31) + 1), (-(2**31), -(2**31))]
    autopilot.send(*(global_position(lat, lon) for lat, lon in places))
    finish(host, autopilot)
    published = [(bits(v["latitude"]), bits(v["longitude"])) for v in host.values("gpsCoordinate")]
    assert published == [(bits(degrees(lat)), bits(degrees(lon))) for lat, lon in places]


def test_velocity_is_the_length_in_space(host, autopilot):
    generator = random.Random(6)
    velocities = [tuple(generator.randint(-2000, 2000) for _ in range(3)) for _ in range(50)]
    velocities += [(0, 0, 0), (300, 400, 0), (0, 0, -500), (-32768, -32768, -32768), (32767, 32767, 32767)]
    autopilot.send(*(global_position(velocity=velocity) for velocity in velocities))
    finish(host, autopilot)
    lengths = [math.sqrt((n / 100) ** 2 + (e / 100) ** 2 + (-d / 100) ** 2) for n, e, d in velocities]
    assert [bits(value) for value in host.values("velocity")] == [bits(length) for length in lengths]


@pytest.mark.parametrize(
    ("relative_alt", "status"),
    [
        (1999, 2),
        (2000, 0),
        (2001, 0),
        (99999, 0),
        (100000, 0),
        (100001, 1),
        (-1341, 2),
        (2**31 - 1, 1),
        (-(2**31), 2),
    ],
)
def test_altitude_has_the_status_of_its_range(host, autopilot, relative_alt, status):
    autopilot.send(global_position(relative_alt=relative_alt))
    reading = host.wait_for("altitude")
    assert (single_bits(reading["value"]), reading["status"]) == (single_bits(relative_alt / 1000), status)


def test_the_upper_bound_is_looked_at_first(hosts, link, autopilot):
    host = hosts.start(link, ALTIMETER__MIN_ALTITUDE_M=2, ALTIMETER__MAX_ALTITUDE_M=1)
    autopilot.meet(host)
    autopilot.send(global_position(relative_alt=1500))
    assert host.wait_for("altitude")["status"] == 1


def test_the_altitude_range_can_be_changed_in_flight(host, autopilot):
    autopilot.send(global_position(relative_alt=50000))
    assert host.wait_for("altitude")["status"] == 0
    host.write_line("set ALTIMETER MAX_ALTITUDE_M 49.5")
    host.wait_for_log("Updated: ALTIMETER/MAX_ALTITUDE_M=49.5")
    autopilot.send(global_position(relative_alt=50000))
    assert host.wait_for("altitude")["status"] == 1


def test_altitude_readings_carry_rising_times(host, autopilot):
    for altitude in range(3):
        autopilot.send(global_position(relative_alt=altitude * 1000))
        host.wait_for("altitude", lambda reading, a=altitude: reading["value"] == a)
    times = [reading["time"] for reading in host.values("altitude")]
    assert times == sorted(times)
    assert times[0] > 0


def test_local_position_needs_a_fix_and_counts_from_the_first(host, autopilot):
    generator = random.Random(7)
    offsets = [(generator.randint(-50000, 50000), generator.randint(-50000, 50000)) for _ in range(30)]
    positions = [(ORIGIN[0] + lat, ORIGIN[1] + lon, generator.randint(-2000, 60000)) for lat, lon in offsets]
    autopilot.send(global_position(*positions[0]), gps_raw(2, 1, 1), global_position(*positions[0]))
    autopilot.send(gps_raw(3, *ORIGIN), gps_raw(6, 450000000, 90000000))
    autopilot.send(*(global_position(*position) for position in positions))
    finish(host, autopilot)
    origin = (degrees(ORIGIN[0]), degrees(ORIGIN[1]))
    expected = []
    for lat, lon, relative_alt in positions:
        x, y = local_offset(origin, (degrees(lat), degrees(lon)))
        expected.append((bits(x), bits(y), bits(-relative_alt / 1000)))
    published = [(bits(v["x"]), bits(v["y"]), bits(v["z"])) for v in host.values("vehicleLocalPos")]
    assert published == expected


def test_down_is_exact_at_the_end_of_the_range(host, autopilot):
    autopilot.send(gps_raw(3, *ORIGIN), global_position(*ORIGIN, relative_alt=-(2**31)))
    assert host.wait_for("vehicleLocalPos")["z"] == 2147483.648


@pytest.mark.parametrize("centimetres", [0, 1, 33, 12345, 65534, 65535])
def test_distance_becomes_an_altimeter_reading(host, autopilot, centimetres):
    autopilot.send(distance(centimetres))
    reading = host.wait_for("rawAltimeterValue")
    assert (single_bits(reading["value"]), reading["status"]) == (single_bits(centimetres / 100), 0)


def test_altimeter_readings_keep_the_time_of_the_start(host, autopilot):
    autopilot.send(distance(100), global_position(relative_alt=1000), distance(200))
    first = host.wait_for("rawAltimeterValue")
    altitude = host.wait_for("altitude")
    second = host.wait_for("rawAltimeterValue")
    assert first["time"] == second["time"] <= altitude["time"]


def test_the_altimeter_status_goes_to_the_host(host, autopilot):
    unread = host.wait_for("plugin.dataReceived")
    assert unread == {"messageId": 1, "payloadId": 4, "data": "07000000000004"}
    autopilot.send(distance(150))
    read = host.wait_for("plugin.dataReceived", lambda value: value != unread)
    assert read == {"messageId": 1, "payloadId": 4, "data": "07000000c03f00"}


def test_a_status_comes_with_each_altimeter_status(host):
    for _ in range(5):
        host.wait_for("plugin.dataReceived")
    pair = ["autopilotStatus", "plugin.dataReceived"]
    periodic = [record["signal"] for record in host.records if record.get("signal") in pair]
    assert periodic[:10] == pair * 5


def test_before_detection_everybody_counts_and_after_it_the_autopilot_alone(host, autopilot):
    autopilot.send(attitude(1.0), source=(9, 7))
    autopilot.send(heartbeat(PX4))
    autopilot.send(attitude(2.0), source=(9, 7))
    autopilot.send(attitude(3.0), source=(1, 2))
    autopilot.send(attitude(4.0), source=(2, 1))
    autopilot.send(attitude(5.0))
    finish(host, autopilot)
    assert host.values("roll")[:-1] == [1.0, 5.0]


def test_mavlink_1_is_understood_and_answered_in_2(host, autopilot):
    autopilot.send(heartbeat(ARDUPILOT), attitude(to_single(0.3)), version1=True)
    assert host.wait_for("roll") == to_single(0.3)
    assert host.wait_for("autopilotStatus", lambda status: status == 2) == 2
    assert autopilot.receive("HEARTBEAT").get_msgbuf()[0] == 0xFD


def test_trimmed_and_full_payloads_of_version_2_are_the_same(host, autopilot):
    trimmed = autopilot.encode(
        mavlink.MAVLink_global_position_int_message(1000, 470000000, 0, 0, 0, 0, 0, 0, 0)
    )
    assert len(trimmed) == V2_OVERHEAD + 8
    autopilot.link.write(trimmed)
    assert host.wait_for("gpsCoordinate") == {"latitude": 47.0, "longitude": 0}
    assert host.wait_for("velocity") == 0


# The clock: 2024-03-07 09:05:02 in the time zone of the tests, half an hour off the whole hour.
MARCH_7 = 1709782502_123456


def test_the_clock_is_set_once(host, autopilot, standin_calls):
    autopilot.send(heartbeat(PX4), gps_raw(3, satellites=10))
    autopilot.send(system_time(MARCH_7), system_time(MARCH_7 + 60_000_000))
    assert host.wait_for("timeIsSet") is True
    finish(host, autopilot)
    assert standin_calls() == ["date --set 2024.03.07-09:05:02"]
    assert host.values("timeIsSet") == [True]
    told = {"text": "[AP] New system date/time: 2024.03.07-09:05:02", "type": 0}
    assert host.values("textToGround") == [told]


@pytest.mark.parametrize(
    ("satellites", "time"), [(0, MARCH_7), (255, MARCH_7), (10, 0)], ids=["none", "unknown", "no time"]
)
def test_the_clock_is_not_set_without_satellites_and_time(host, autopilot, standin_calls, satellites, time):
    autopilot.send(heartbeat(PX4), gps_raw(3, satellites=satellites), system_time(time))
    finish(host, autopilot)
    assert standin_calls() == []
    assert host.values("timeIsSet") == []


def test_a_clock_that_cannot_be_set_counts_as_set(hosts, link, autopilot, standin_calls):
    host = hosts.start(link, standin_status=1)
    autopilot.meet(host)
    autopilot.send(gps_raw(3), system_time(MARCH_7), system_time(MARCH_7))
    assert host.wait_for("timeIsSet") is True
    finish(host, autopilot)
    assert len(standin_calls()) == 1
