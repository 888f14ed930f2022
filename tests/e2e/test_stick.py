# SPDX-License-Identifier: MIT
"""What the host prints of the virtual stick, worked out a second time from what pymavlink decodes."""

import math
import random
import struct

import pytest
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from telemetryrules import PI, degrees, local_offset, to_single

from autopilot import ARDUPILOT, PX4, attitude, heartbeat

# Ends a test's input: its time comes out after all that was sent before.
LAST_MS = 4_294_967_295
ORIGIN = (473977418, 85455970, 488_123)
SIGNALS = ("originChanged", "localPositionChanged", "statusChanged", "attitudeChanged")
NEVER = (
    "controlObtained",
    "controlReleased",
    "controlFailed",
    "autoLanding",
    "goHome",
    "resetReturnToHome",
    "gpsPositionChanged",
)


@pytest.fixture
def host(hosts, link, autopilot):
    started = hosts.start(link, "--script", "-")
    autopilot.meet(started)
    return started


def finish(host, autopilot, source=None) -> None:
    autopilot.send(mavlink.MAVLink_attitude_message(LAST_MS, 0, 0, 0, 0, 0, 0), source=source)
    host.wait_for("virtualStick.attitudeChanged", lambda value: value["timestamp"] == LAST_MS)


def told(host, name: str) -> list:
    values = host.values(f"virtualStick.{name}")
    return values[:-1] if name == "attitudeChanged" else values


def order(host) -> list[str]:
    names = [record.get("signal", "") for record in host.records]
    return [name.removeprefix("virtualStick.") for name in names if name.startswith("virtualStick.")][:-1]


def as_received(autopilot, message):
    """The fields as the wire carries them."""
    decoder = mavlink.MAVLink(None)
    return decoder.parse_buffer(autopilot.encode(message))[0]


def position(lat: int, lon: int, alt: int, velocity=(0, 0, 0), time_ms: int = 1000):
    return mavlink.MAVLink_global_position_int_message(time_ms, lat, lon, alt, 7000, *velocity, 1234)


def status(base_mode: int, system_status: int, autopilot: int = PX4):
    return mavlink.MAVLink_heartbeat_message(2, autopilot, base_mode, 0x01020304, system_status, 3)


def bits(number: float) -> bytes:
    return struct.pack("<d", number)


def expected_attitude(message) -> dict:
    angles = {name: to_single(getattr(message, name) / PI * 180.0) for name in ("roll", "pitch", "yaw")}
    return {"timestamp": message.time_boot_ms, **angles, "extra1": None, "extra2": None, "extra3": None}


def expected_position(origin, message) -> dict:
    place = (degrees(message.lat), degrees(message.lon))
    north, east = local_offset((degrees(origin.lat), degrees(origin.lon)), place)
    down = origin.alt * 0.001 - message.alt * 0.001
    return {
        "timestamp": message.time_boot_ms,
        "x": to_single(north),
        "y": to_single(east),
        "z": to_single(down),
        "vx": to_single(message.vx / 100.0),
        "vy": to_single(message.vy / 100.0),
        "vz": to_single(message.vz / 100.0),
        "extra1": 0,
        "extra2": 0,
    }


def test_attitudes_are_degrees_bit_for_bit(host, autopilot):
    generator = random.Random(5)
    angles = [generator.uniform(-math.pi, math.pi) for _ in range(60)]
    angles += [0.0, math.pi, -math.pi, 1e-45, -1e-45, 1.17549435e-38, 1e30]
    sent = [attitude(*angles[i : i + 3]) for i in range(len(angles) - 2)]
    autopilot.send(heartbeat(PX4), *sent)
    finish(host, autopilot)
    printed = told(host, "attitudeChanged")
    assert printed == [expected_attitude(as_received(autopilot, message)) for message in sent]
    for value, message in zip(printed, sent, strict=True):
        expected = expected_attitude(as_received(autopilot, message))
        assert all(bits(value[name]) == bits(expected[name]) for name in ("roll", "pitch", "yaw"))


def test_positions_are_told_from_the_first_one(host, autopilot):
    generator = random.Random(6)
    sent = [position(*ORIGIN)]
    for step in range(60):
        lat, lon, alt = (centre + generator.randrange(-200_000, 200_000) for centre in ORIGIN)
        velocity = tuple(generator.randrange(-32768, 32768) for _ in range(3))
        sent.append(position(lat, lon, alt, velocity, time_ms=2000 + step))
    autopilot.send(heartbeat(ARDUPILOT), *sent)
    finish(host, autopilot)
    received = [as_received(autopilot, message) for message in sent]
    origin = received[0]
    assert told(host, "originChanged") == [
        {"lat": degrees(origin.lat), "lon": degrees(origin.lon), "altAmsl": origin.alt * 0.001}
    ]
    expected = [expected_position(origin, message) for message in received[1:]]
    assert told(host, "localPositionChanged") == expected
    host.wait_for_log('[MAV] "Origin was set to (47.3977, 8.5456, 488.123)"')


def test_a_position_before_the_fix_becomes_the_origin(host, autopilot):
    sent = [position(0, 0, 0), position(*ORIGIN)]
    autopilot.send(heartbeat(ARDUPILOT), *sent)
    finish(host, autopilot)
    received = [as_received(autopilot, message) for message in sent]
    assert told(host, "originChanged") == [{"lat": 0, "lon": 0, "altAmsl": 0}]
    assert told(host, "localPositionChanged") == [expected_position(*received)]
    host.wait_for_log('[MAV] "Origin was set to (0, 0, 0)"')


def test_every_heartbeat_of_the_autopilot_is_a_status(host, autopilot):
    sent = [(mode, state) for mode in (0, 0x80, 0x08, 0x7F, 0xF7, 0xFF) for state in (0, 3, 4, 5, 8)]
    autopilot.send(*(status(*what) for what in sent), position(*ORIGIN), status(0, 0))
    finish(host, autopilot)
    expected = [
        {
            "timestamp": -1,
            "armed": bool(mode & mavlink.MAV_MODE_FLAG_SAFETY_ARMED),
            "guided": bool(mode & mavlink.MAV_MODE_FLAG_GUIDED_ENABLED),
            "active": state >= mavlink.MAV_STATE_ACTIVE,
            "originSet": False,
        }
        for mode, state in sent
    ]
    expected.append({"timestamp": -1, "armed": False, "guided": False, "active": False, "originSet": True})
    assert told(host, "statusChanged") == expected


@pytest.mark.parametrize(("kind", "line"), [(PX4, "PX4 Detected "), (ARDUPILOT, "ArduPilot Detected")])
def test_stick_and_driver_tell_of_the_autopilot(host, autopilot, kind, line):
    autopilot.send(heartbeat(kind), heartbeat(kind), source=(33, 44))
    finish(host, autopilot, source=(33, 44))
    host.wait_for_log(f"[MAV] {line}")
    assert [text for text in host.log_lines if "etected" in text] == [
        "[AP] Autopilot systemid detected  33",
        f"[AP] {line}",
        "[MAV] Autopilot systemid detected  33",
        f"[MAV] {line}",
    ]


def test_other_systems_are_not_heard_but_other_components_are(host, autopilot):
    autopilot.send(heartbeat(PX4))
    autopilot.send(heartbeat(ARDUPILOT), position(1, 2, 3), attitude(1.0), source=(2, 1))
    autopilot.send(heartbeat(mavlink.MAV_AUTOPILOT_INVALID), source=(255, 190))
    autopilot.send(heartbeat(mavlink.MAV_AUTOPILOT_INVALID), source=(1, 154))
    autopilot.send(attitude(0.5), position(*ORIGIN), source=(1, 42))
    finish(host, autopilot)
    assert order(host) == ["statusChanged", "attitudeChanged", "originChanged"]
    assert host.values("roll") == [0]  # the driver hears one component alone


def test_before_a_heartbeat_everybody_is_heard(host, autopilot):
    autopilot.send(position(10_000_000, 0, 0), source=(9, 9))
    autopilot.send(heartbeat(PX4), position(20_000_000, 0, 0))
    autopilot.send(position(30_000_000, 0, 0), source=(9, 9))
    finish(host, autopilot)
    assert order(host) == ["originChanged", "statusChanged", "localPositionChanged"]
    assert told(host, "originChanged")[0]["lat"] == 1


def test_the_stick_hears_after_the_driver(host, autopilot):
    autopilot.send(heartbeat(PX4, mavlink.MAV_MODE_FLAG_SAFETY_ARMED), attitude(0.5))
    finish(host, autopilot)
    wanted = {"daqEnabled", "roll", "virtualStick.statusChanged", "virtualStick.attitudeChanged"}
    names = [record["signal"] for record in host.records if record.get("signal") in wanted]
    assert names[:4] == ["daqEnabled", "virtualStick.statusChanged", "roll", "virtualStick.attitudeChanged"]


def test_version_1_frames_are_heard_too(host, autopilot):
    sent = [position(*ORIGIN), position(ORIGIN[0] + 100, *ORIGIN[1:])]
    autopilot.send(heartbeat(ARDUPILOT), *sent, attitude(0.25), version1=True)
    finish(host, autopilot)
    assert order(host) == ["statusChanged", "originChanged", "localPositionChanged", "attitudeChanged"]


def test_the_stick_itself_sends_nothing_and_obtains_nothing(host, autopilot):
    autopilot.send(heartbeat(PX4), position(*ORIGIN), status(0xFF, 4), position(*ORIGIN))
    finish(host, autopilot)
    autopilot.receive("HEARTBEAT")
    sent = {message.get_type() for message in autopilot.received}
    assert not sent & {"SET_MODE", "SET_POSITION_TARGET_LOCAL_NED"}  # the driver sends neither
    assert not {f"virtualStick.{name}" for name in NEVER} & {r.get("signal") for r in host.records}
    assert not host.values("virtualStickCreated")
    assert set(order(host)) <= set(SIGNALS)
