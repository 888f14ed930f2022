# SPDX-License-Identifier: MIT
"""noflailsten-sim --autopilot px4, flown by pymavlink, beside the recording of a real one."""

import math
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path
from statistics import median

import pytest
from relaylinks import HOST
from simvehicles import (
    ARMED,
    GUIDED,
    LANDING,
    LOITER,
    OFF_BOARD,
    PX4_HOME_ALTITUDE_M,
    READ,
    RETURNING,
    SLOW,
    TAKING_OFF,
    Companion,
    Log,
    Sims,
    assert_consistent,
    events,
    read_recording,
    turn_between,
)

FAST = 6
ASKED_RATES = {"GLOBAL_POSITION_INT": (33, 10), "ATTITUDE": (30, 20), "DISTANCE_SENSOR": (132, 10)}
ARM, TAKE_OFF, LAND_HERE = 400, 22, 21


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


@pytest.fixture(scope="module")
def recorded_px4() -> Log:
    return read_recording("px4-flight.tlog")


@dataclass
class Px4Flight:
    log: Log
    told: list
    refused: int
    early: int
    accepted: int


@pytest.fixture(scope="module")
def px4(module_sims: Sims) -> Px4Flight:
    """By the script of the recording, up to its first loss of set-points; then it is told to land."""
    sim = module_sims.start("px4", kind=module_sims.kind, speed=SLOW)
    companion = Companion(sim)
    companion.wait(8)
    for message, rate in ASKED_RATES.values():
        assert companion.command(511, message, 1e6 / rate) == 0
    companion.set_mode(GUIDED)
    refused = companion.until_acknowledged(176)
    companion.set_mode(OFF_BOARD)
    early = companion.until_acknowledged(176)
    assert companion.command(ARM, 1) == 0
    companion.wait(1)
    assert companion.command(TAKE_OFF, last=PX4_HOME_ALTITUDE_M + 20) == 0
    companion.until_heartbeat(lambda beat: beat.custom_mode == TAKING_OFF)
    companion.until_heartbeat(lambda beat: beat.custom_mode == LOITER)
    companion.wait(0.5, (0, 0, 0))
    companion.set_mode(OFF_BOARD)
    accepted = companion.until_acknowledged(176)
    companion.wait(14.3, (3, 0, 0))
    companion.wait(9, (0, 2, -0.5), yaw_rate=0.35)
    companion.wait(4, (-1.5, 0, 0))
    companion.until_heartbeat(lambda beat: beat.custom_mode == RETURNING, limit_s=4)
    companion.wait(8)
    assert companion.command(LAND_HERE) == 0
    companion.until_heartbeat(lambda beat: not beat.base_mode & ARMED)
    companion.wait(1)
    return Px4Flight(companion.log, events(sim), refused, early, accepted)


@pytest.fixture(params=["ours", "recorded"])
def log(request, px4: Px4Flight, recorded_px4: Log) -> Log:
    return px4.log if request.param == "ours" else recorded_px4


# What is compared of the flights. Heights are above the start, by altitude: the recorded relative altitude
# jumps by 1.3 m.


def acknowledged_at(log: Log, command: int) -> float:
    return next(when for when, m in log.all("COMMAND_ACK") if m.command == command and m.result == 0)


def positions(log: Log, begin: float = 0, end: float = math.inf) -> list[tuple[float, object]]:
    return [(when, m) for when, m in log.all("GLOBAL_POSITION_INT") if begin <= when < end]


def distances(log: Log) -> list[tuple[float, float]]:
    return [(when, m.current_distance / 100) for when, m in log.all("DISTANCE_SENSOR")]


def at_distance(log: Log, wanted_m: float) -> float:
    """When the take-off first came so high."""
    begin = acknowledged_at(log, TAKE_OFF)
    return next(when for when, distance in distances(log) if when > begin and distance > wanted_m)


def down_to(log: Log, wanted_m: float) -> float:
    """When the landing was last as high."""
    return max(when for when, distance in distances(log) if distance > wanted_m)


def north_at(log: Log) -> float:
    """When the first velocity showed."""
    begin = at_distance(log, 15)
    return next(when for when, m in positions(log, begin) if m.vx > 30)


def east_at(log: Log) -> float:
    return next(when for when, m in positions(log, north_at(log)) if m.vy > 30)


def disarmed_at(log: Log) -> float:
    return max(when for when, m in log.all("HEARTBEAT") if m.base_mode & ARMED)


def vertical_speed(log: Log, begin: float, end: float) -> float:
    return median(m.vz for _, m in positions(log, begin, end)) / 100


def height(log: Log, begin: float, end: float) -> float:
    start = positions(log)[0][1].alt
    return max(m.alt - start for _, m in positions(log, begin, end)) / 1000


def extent(log: Log, attribute: str) -> float:
    """Of the flight by velocities, in metres."""
    values = [getattr(m, attribute) for _, m in positions(log, north_at(log), east_at(log) + 13)]
    metres = math.radians((max(values) - min(values)) / 1e7) * 6378137
    return metres * math.cos(math.radians(47.3977428)) if attribute == "lon" else metres


def return_speed(log: Log) -> float:
    begin, end = east_at(log) + 14, acknowledged_at(log, LAND_HERE)
    return max(math.hypot(m.vx, m.vy) for _, m in positions(log, begin, end)) / 100


def turned_degrees(log: Log) -> float:
    begin = east_at(log)
    yaws = [math.degrees(m.yaw) for when, m in log.all("ATTITUDE") if begin <= when < begin + 8]
    return sum(turn_between(later, yaw) for yaw, later in zip(yaws, yaws[1:], strict=False))


FIGURES = {
    "lift-off": (lambda log: at_distance(log, 0.3) - acknowledged_at(log, TAKE_OFF), 0.5),
    "climb": (lambda log: at_distance(log, 18) - at_distance(log, 1), 2.5),
    "slow climb": (lambda log: vertical_speed(log, at_distance(log, 4), at_distance(log, 9)), 0.15),
    "fast climb": (lambda log: min(m.vz for _, m in positions(log)) / 100, 0.3),
    "height": (lambda log: height(log, 0, north_at(log)), 0.5),
    "speed after 2 s": (
        lambda log: median(m.vx for _, m in positions(log, north_at(log) + 1.5, north_at(log) + 2.5)) / 100,
        0.2,
    ),
    "speed": (lambda log: max(m.vx for _, m in positions(log)) / 100, 0.15),
    "north": (lambda log: extent(log, "lat"), 3),
    "east": (lambda log: extent(log, "lon"), 3),
    "turn": (turned_degrees, 15),
    "rise": (lambda log: vertical_speed(log, east_at(log) + 1, east_at(log) + 8), 0.15),
    "return height": (lambda log: height(log, 0, math.inf), 1.5),
    "return speed": (return_speed, 0.5),
    "descent": (lambda log: vertical_speed(log, down_to(log, 25), down_to(log, 12)), 0.4),
    "slow descent": (lambda log: vertical_speed(log, down_to(log, 5), down_to(log, 2)), 0.2),
    "landing": (lambda log: down_to(log, 0.1) - acknowledged_at(log, LAND_HERE), 5),
    "disarming": (lambda log: disarmed_at(log) - down_to(log, 0.1), 1.5),
}


@pytest.mark.parametrize("name", FIGURES)
def test_px4_flight_is_near_the_recorded_one(name: str, px4: Px4Flight, recorded_px4: Log):
    figure, bound = FIGURES[name]
    assert figure(px4.log) == pytest.approx(figure(recorded_px4), abs=bound)


def test_px4_flight_goes_through_its_modes(px4: Px4Flight):
    assert (px4.refused, px4.early, px4.accepted) == (1, 1, 0)
    modes = [state for state in px4.told if isinstance(state, str)]
    assert modes == ["takeoff", "loiter", "offboard", "rtl", "land", "offboard"]
    assert [state for state in px4.told if not isinstance(state, str)] == [True, False, True, False]


def test_px4_heartbeats_go_through_the_same_states(log: Log):
    states = []
    for _, beat in log.all("HEARTBEAT"):
        state = (beat.base_mode, beat.custom_mode, beat.system_status)
        if beat.system_status and state not in states:
            states.append(state)
    assert states == [
        (29, LOITER, 3),
        (157, LOITER, 4),
        (157, TAKING_OFF, 4),
        (145, OFF_BOARD, 4),
        (157, RETURNING, 5),
        (157, LANDING, 4),
    ]
    last = log.all("HEARTBEAT")[-1][1]
    assert (last.base_mode, last.custom_mode, last.system_status) == (17, OFF_BOARD, 0)
    assert {(m.type, m.autopilot, m.mavlink_version) for _, m in log.all("HEARTBEAT")} == {(2, 12, 3)}


def test_px4_believes_that_it_sinks_when_it_touches_down(px4: Px4Flight):
    heights = px4.log.values("GLOBAL_POSITION_INT", "relative_alt")
    assert heights[-1] - min(heights) == pytest.approx(1300, abs=100)


# Units and signs


def test_px4_positions_velocities_headings_and_distances_agree(log: Log):
    start = positions(log)[0][1].alt / 1000
    assert start == pytest.approx(PX4_HOME_ALTITUDE_M, abs=1)
    assert_consistent(log, start, tolerance_m=2.2)
    sensor = {
        (m.type, m.id, m.orientation, m.min_distance, m.max_distance) for _, m in log.all("DISTANCE_SENSOR")
    }
    assert sensor == {(0, 0, 25, 0, 10000)}
    assert log.values("DISTANCE_SENSOR", "current_distance")[0] == 0


def test_px4_leans_and_turns_as_it_flies(log: Log):
    attitudes = log.all("ATTITUDE")
    begin = north_at(log)
    assert min(m.pitch for when, m in attitudes if begin - 1 < when < begin + 1) < -0.2
    begin = east_at(log)
    assert max(m.roll for when, m in attitudes if begin - 1 < when < begin + 1) > 0.15
    turning = [(when, m) for when, m in attitudes if begin + 1 < when < begin + 8]
    assert median(m.yawspeed for _, m in turning) == pytest.approx(0.35, abs=0.03)
    (first, m), (last, n) = turning[0], turning[-1]
    turned = math.radians(turn_between(math.degrees(n.yaw), math.degrees(m.yaw)))
    assert turned / (last - first) == pytest.approx(0.35, abs=0.03)


def test_px4_satellite_positions_agree_with_its_own(log: Log):
    places = dict(positions(log))
    fixes = [(places[when], m) for when, m in log.all("GPS_RAW_INT") if when in places and m.fix_type == 3]
    assert len(fixes) > 100
    for place, fix in fixes:
        assert fix.lat == pytest.approx(place.lat, abs=150)  # 1.7 m
        assert fix.lon == pytest.approx(place.lon, abs=150)
        assert fix.alt == pytest.approx(place.alt, abs=2500)
        assert fix.vel == pytest.approx(math.hypot(place.vx, place.vy), abs=80)
        if fix.vel > 150:
            assert abs(turn_between(fix.cog / 100, math.degrees(math.atan2(place.vy, place.vx)))) < 20
    like = {(m.satellites_visible, m.eph, m.epv, m.h_acc, m.v_acc, m.vel_acc, m.time_usec) for _, m in fixes}
    assert like == {(10, 70, 110, 900, 1780, 400, 0)}


def test_px4_times_have_their_units(log: Log):
    times = [m for _, m in log.all("SYSTEM_TIME")]
    for m, n in zip(times, times[1:], strict=False):
        seconds = (n.time_boot_ms - m.time_boot_ms) / 1e3
        assert (n.time_unix_usec - m.time_unix_usec) / 1e6 == pytest.approx(seconds, abs=0.2)
    assert all(m.time_unix_usec > 10**15 for m in times)
    pings = [(when, m) for when, m in log.all("PING") if when]
    assert all(m.time_usec / 1e6 == pytest.approx(when, abs=0.5) for when, m in pings)
    assert {(m.target_system, m.target_component) for _, m in pings} == {(0, 0)}
    syncs = [(when, m) for when, m in log.all("TIMESYNC") if when]
    assert all(m.tc1 == 0 and m.ts1 / 1e9 == pytest.approx(when, abs=0.5) for when, m in syncs)
    assert pings and syncs


def test_px4_sends_what_is_not_for_a_companion(log: Log):
    commands = {(m.target_system, m.target_component, m.command) for _, m in log.all("COMMAND_LONG")}
    assert commands == {(1, 0, 1000), (1, 0, 1001)}
    parameters = [m for _, m in log.all("PARAM_VALUE")]
    assert {m.param_count for m in parameters} == {879}
    assert parameters[0].param_type == 9
    assert parameters[0].param_value == pytest.approx(4.88, abs=0.01)
    answers = {(m.target_system, m.target_component) for _, m in log.all("COMMAND_ACK")}
    assert answers == {HOST}


def test_px4_sends_messages_that_the_dialect_does_not_know(log: Log):
    names = {message.get_type() for _, message in log.messages}
    assert {f"UNKNOWN_{number}" for number in (8, 380, 410, 411, 436)} <= names
    assert {m.fix_type for _, m in log.all("GPS_RAW_INT")} <= {0, 3}


# Rates


def test_px4_streams_have_the_recorded_rates(px4: Px4Flight, recorded_px4: Log):
    recorded = recorded_px4.rates(5.5, 8)  # before anything is asked for
    ours = px4.log.rates(5, 8)
    compared = {name for name, rate in recorded.items() if rate >= 4 and name != "COMMAND_ACK"}
    assert compared >= READ - {"SYSTEM_TIME"}
    for name in compared:
        assert ours[name] == pytest.approx(recorded[name], rel=0.1), name


def test_px4_streams_that_were_asked_for_have_the_recorded_rates(px4: Px4Flight, recorded_px4: Log):
    recorded = recorded_px4.rates(20, 60)
    ours = px4.log.rates(20, 60)
    for name in READ | {"HEARTBEAT"}:
        assert ours[name] == pytest.approx(recorded[name], rel=0.1), name


def test_px4_on_a_slow_line_has_the_recorded_rate(sims: Sims):
    companion = Companion(sims.start("px4", "--baud", "57600", speed=FAST))
    for message, rate in ((33, 10), (30, 20), (132, 10), (2, 1)):
        assert companion.command(511, message, 1e6 / rate) == 0
    companion.wait(5)
    begin = companion.log.now
    companion.wait(50)
    rates = companion.log.rates(begin, begin + 50)
    assert rates["GLOBAL_POSITION_INT"] == pytest.approx(1.27, rel=0.1)
    assert rates["GPS_RAW_INT"] == pytest.approx(7.8, rel=0.1)
    assert rates["HEARTBEAT"] == pytest.approx(1, rel=0.1)


# Manners


def test_px4_answers_requests_for_messages(sims: Sims):
    companion = Companion(sims.start("px4"))
    assert [companion.command(511, number, 500_000) for number in (33, 124, 9999)] == [0, 0, 4]
    companion.wait(3)
    assert "GPS2_RAW" not in {message.get_type() for _, message in companion.log.messages}
