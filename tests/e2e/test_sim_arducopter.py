# SPDX-License-Identifier: MIT
"""noflailsten-sim --autopilot ardupilot, flown by pymavlink, beside the recordings of real ones."""

import math
from collections.abc import Iterator
from pathlib import Path

import pytest
from relaylinks import GROUND
from simvehicles import (
    ARMED,
    GUIDED,
    LAND,
    READ,
    Companion,
    Log,
    Sims,
    assert_consistent,
    events,
    read_recording,
)

FAST = 6
SQUARE = [(3, 0, 0), (0, 3, 0), (-3, 0, 0), (0, -3, 0)]
LEG_S = 5
ARDUPILOT_STREAMS = READ | {
    "AHRS2",
    "BATTERY_STATUS",
    "LOCAL_POSITION_NED",
    "MISSION_CURRENT",
    "RANGEFINDER",
    "SIMSTATE",
    "SYS_STATUS",
}


@pytest.fixture
def sims(bin_dir: Path, tmp_path: Path) -> Iterator[Sims]:
    made = Sims(bin_dir, tmp_path)
    yield made
    made.close()


@pytest.fixture(scope="module", params=["tcp", "pty"])
def module_sims(request, bin_dir: Path, tmp_path_factory) -> Iterator[Sims]:
    made = Sims(bin_dir, tmp_path_factory.mktemp("vehicle"))
    made.kind = request.param
    yield made
    made.close()


# ArduPilot: the flight of the recording, by the same script


@pytest.fixture(scope="module")
def recorded_flight() -> Log:
    return read_recording("arducopter-flight.tlog")


@pytest.fixture(scope="module")
def arducopter(module_sims: Sims) -> tuple[Log, list]:
    """A whole flight: what came, and what the program told."""
    sim = module_sims.start("ardupilot", kind=module_sims.kind, speed=FAST)
    companion = Companion(sim)
    companion.request_streams(10)
    companion.wait(25)
    companion.set_mode(GUIDED)
    companion.arm_when_ready()
    assert companion.command(22, last=15) == 0
    companion.until_higher(14.9)
    companion.wait(2)
    for velocity in SQUARE:
        companion.wait(LEG_S, velocity)
    companion.wait(3, (0, 0, 0))
    companion.wait(5)
    companion.set_mode(LAND)
    companion.until_heartbeat(lambda beat: not beat.base_mode & ARMED)
    companion.wait(1)
    told = events(sim)
    return companion.log, told


def climb_seconds(log: Log) -> float:
    heights = log.all("GLOBAL_POSITION_INT")
    start = next(when for when, m in heights if m.relative_alt > 500)
    return next(when for when, m in heights if m.relative_alt > 14500) - start


def landing_seconds(log: Log) -> float:
    heights = log.all("GLOBAL_POSITION_INT")
    start = max(when for when, m in heights if m.relative_alt > 14500)
    return next(when for when, m in heights if when > start and m.relative_alt < 300) - start


def brake_seconds(log: Log) -> float:
    """From the highest speed of the last leg, to the west, to a tenth of it."""
    speeds = [(when, m.vy) for when, m in log.all("GLOBAL_POSITION_INT")]
    fast = max(when for when, east in speeds if east < -270)
    return next(when for when, east in speeds if when > fast and east > -30) - fast


def extent_m(log: Log, attribute: str) -> float:
    """Between the outermost positions in the air."""
    values = [getattr(m, attribute) for _, m in log.all("GLOBAL_POSITION_INT") if m.relative_alt > 10000]
    degrees = (max(values) - min(values)) / 1e7
    scale = math.cos(math.radians(35.3632610)) if attribute == "lon" else 1
    return math.radians(degrees) * 6378137 * scale


@pytest.mark.parametrize(
    ("figure", "bound"),
    [
        (climb_seconds, 1.0),
        (landing_seconds, 2.0),
        (brake_seconds, 1.0),
        (lambda log: extent_m(log, "lat"), 1.5),
        (lambda log: extent_m(log, "lon"), 1.5),
        (lambda log: max(log.values("GLOBAL_POSITION_INT", "relative_alt")) / 1000, 0.2),
        (lambda log: max(log.values("GLOBAL_POSITION_INT", "vx")) / 100, 0.15),
        (lambda log: min(log.values("GLOBAL_POSITION_INT", "vz")) / 100, 0.2),
        (lambda log: max(log.values("DISTANCE_SENSOR", "current_distance")) / 100, 0.5),
        (lambda log: max(log.values("ATTITUDE", "roll")), 0.06),
        (lambda log: min(log.values("ATTITUDE", "pitch")), 0.08),
    ],
    ids=[
        "climb",
        "landing",
        "braking",
        "north",
        "east",
        "height",
        "speed",
        "rise",
        "distance",
        "roll",
        "pitch",
    ],
)
def test_arducopter_flight_is_near_the_recorded_one(figure, bound, arducopter, recorded_flight: Log):
    log, _ = arducopter
    assert figure(log) == pytest.approx(figure(recorded_flight), abs=bound)


def test_arducopter_flight_is_told(arducopter):
    _, told = arducopter
    assert told == ["guided", True, False, "land", True, False]


@pytest.mark.parametrize("which", ["ours", "recorded"])
def test_arducopter_heartbeats_go_through_the_same_states(which: str, arducopter, recorded_flight: Log):
    log = arducopter[0] if which == "ours" else recorded_flight
    states = []
    for _, beat in log.all("HEARTBEAT"):
        state = (beat.base_mode, beat.custom_mode, beat.system_status)
        if state not in states[-1:]:
            states.append(state)
    assert states[-5:] == [(89, 4, 3), (217, 4, 3), (217, 4, 4), (217, 9, 4), (89, 9, 3)]


def test_arducopter_streams_have_the_recorded_rates(arducopter, recorded_flight: Log):
    log, _ = arducopter
    recorded = recorded_flight.rates(50, 80)
    ours = log.rates(50, 80)
    assert set(recorded) >= ARDUPILOT_STREAMS
    for name in ARDUPILOT_STREAMS:
        assert ours[name] == pytest.approx(recorded[name], rel=0.1), name


@pytest.mark.parametrize("which", ["ours", "recorded"])
def test_arducopter_fix_time_and_home_come_in_the_recorded_order(
    which: str, arducopter, recorded_flight: Log
):
    log = arducopter[0] if which == "ours" else recorded_flight
    fixes = list(dict.fromkeys(log.values("GPS_RAW_INT", "fix_type")))
    assert [fix for fix in fixes if fix] == [1, 6]
    fixed_at = next(when for when, m in log.all("GPS_RAW_INT") if m.fix_type == 6)
    assert fixed_at == pytest.approx(10, abs=0.5)
    timed_at = next(when for when, m in log.all("SYSTEM_TIME") if m.time_unix_usec)
    assert timed_at == pytest.approx(fixed_at, abs=0.2)
    positions = log.all("GLOBAL_POSITION_INT")
    assert all((m.lat, m.lon, m.alt) == (0, 0, 0) for when, m in positions if when < fixed_at - 0.2)
    assert all(m.relative_alt == 0 for when, m in positions if when < 19.8)
    wrong = [m.lon for _, m in log.all("GPS_RAW_INT") if m.fix_type == 1]
    assert wrong
    assert all(abs(lon - 1491652299) > 10_000_000 for lon in wrong)


@pytest.mark.parametrize("which", ["ours", "recorded"])
def test_arducopter_units_and_signs_agree_with_each_other(which: str, arducopter, recorded_flight: Log):
    log = arducopter[0] if which == "ours" else recorded_flight
    assert_consistent(log, home_altitude_m=584.09, tolerance_m=0.6)
    assert {(m.type, m.id, m.orientation) for _, m in log.all("DISTANCE_SENSOR")} == {(4, 0, 25)}


# ArduPilot: its manners


def test_arducopter_refuses_what_the_real_one_refuses(sims: Sims):
    companion = Companion(sims.start("ardupilot"))
    companion.request_streams(10)
    assert companion.command(400, 1) == 4
    companion.set_mode(99)
    companion.until_text("No such mode 99")
    assert companion.command(22, last=15) == 4
    assert companion.command(31000) == 3
    assert not any(m.get_type() == "COMMAND_ACK" and m.command == 176 for _, m in companion.log.messages)


def test_arducopter_holds_a_velocity_for_three_seconds(sims: Sims):
    companion = Companion(sims.start("ardupilot", "--boot-delay", "1", speed=4))
    companion.request_streams(50)
    companion.set_mode(GUIDED)
    companion.arm_when_ready()
    companion.command(22, last=5)
    companion.until_higher(4.9)
    companion.wait(2, (2, 0, 0))
    stopped_at = companion.log.now
    companion.wait(10)
    speeds = [(when - stopped_at, m.vx) for when, m in companion.log.all("GLOBAL_POSITION_INT")]
    assert all(speed > 170 for when, speed in speeds if 0.2 < when < 2.5)
    assert all(abs(speed) < 20 for when, speed in speeds if when > 9)


def test_streams_go_to_the_client_that_asked(sims: Sims):
    sim = sims.start("ardupilot", links=2)
    companion = Companion(sim, 0)
    other = Companion(sim, 1, GROUND)
    companion.request_streams(10)
    companion.wait(5)
    for _ in range(5):
        other.until_heartbeat(lambda beat: True)
    assert "ATTITUDE" not in {message.get_type() for _, message in other.log.messages}


def test_reboot_writes_stray_bytes_and_forgets_streams(sims: Sims):
    sim = sims.start("ardupilot", "--boot-delay", "5", kind="pty")
    companion = Companion(sim)
    companion.request_streams(10)
    companion.wait(3)
    sim.process.write_line("reboot")
    stray = b""
    while b"0 0 0 " not in stray:
        stray = stray[-5:] + companion.station.transport.read()
    companion.station.messages.clear()
    beats = 0
    while beats < 4:
        message = companion.take()
        beats += message.get_type() == "HEARTBEAT"
    after = [m.get_type() for _, m in companion.log.messages[-20:]]
    assert "ATTITUDE" not in after[after.index("HEARTBEAT") :]
    companion.request_streams(10)
    assert companion.until(lambda m: m.get_type() == "ATTITUDE").time_boot_ms < 60_000
