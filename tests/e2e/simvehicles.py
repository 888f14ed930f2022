# SPDX-License-Identifier: MIT
"""Simulated vehicles, who flies them at the pace of their own clock, and what came of it."""

import math
from collections import Counter
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path

import pytest
from conftest import DATA, program_environment
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from recording_figures import recorded_bytes
from relaylinks import AUTOPILOT, HOST, RelaySim, source_of

SPEED = 10
# Off-board mode is lost when set-points fail to come for a second of the vehicle's: that has to be long
# enough for a machine that keeps us waiting.
SLOW = 2
GUIDED, LAND = 4, 9
OFF_BOARD, LOITER, TAKING_OFF = 393216, 50593792, 33816576
RETURNING, LANDING = 84148224, 100925440
ARMED = 128
PX4_HOME_ALTITUDE_M = 489.05

# What the plugin reads, beside heartbeats.
READ = {"ATTITUDE", "DISTANCE_SENSOR", "GLOBAL_POSITION_INT", "GPS_RAW_INT", "SYSTEM_TIME"}


@dataclass
class Log:
    """What came from an autopilot, and when by its own clock, which the last ATTITUDE tells."""

    messages: list[tuple[float, object]] = field(default_factory=list)
    now: float = 0

    def add(self, message) -> None:
        if message.get_type() == "ATTITUDE":
            self.now = message.time_boot_ms / 1000
        self.messages.append((self.now, message))

    def all(self, name: str) -> list[tuple[float, object]]:
        return [(when, message) for when, message in self.messages if message.get_type() == name]

    def values(self, name: str, attribute: str) -> list:
        return [getattr(message, attribute) for _, message in self.all(name)]

    def rates(self, begin: float, end: float) -> dict[str, float]:
        counts = Counter(message.get_type() for when, message in self.messages if begin <= when < end)
        return {name: count / (end - begin) for name, count in counts.items()}


def read_recording(name: str) -> Log:
    parser = mavlink.MAVLink(None)
    parser.robust_parsing = True
    log = Log()
    for message in parser.parse_buffer(recorded_bytes(DATA / name)):
        if message.get_type() != "BAD_DATA" and source_of(message) == AUTOPILOT:
            log.add(message)
    return log


class Companion:
    """A client that flies the vehicle, at the pace of the vehicle's own clock."""

    def __init__(self, sim: RelaySim, index: int = 0, source: tuple[int, int] = HOST):
        self.sim = sim
        self.station = sim.join(index, source)
        self.log = Log()

    def take(self):
        message = self.station.receive(lambda m: source_of(m) == AUTOPILOT)
        self.log.add(message)
        return message

    def until(self, wanted: Callable, limit_s: float = 200):
        """The next such message."""
        end = self.log.now + limit_s
        while not wanted(message := self.take()):
            assert self.log.now < end, f"it did not come in {limit_s} s of flight"
        return message

    def until_heartbeat(self, wanted: Callable, limit_s: float = 200):
        return self.until(lambda m: m.get_type() == "HEARTBEAT" and wanted(m), limit_s)

    def until_higher(self, height_m: float) -> None:
        self.until(lambda m: m.get_type() == "GLOBAL_POSITION_INT" and m.relative_alt > height_m * 1000)

    def until_text(self, text: str) -> None:
        self.until(lambda m: m.get_type() == "STATUSTEXT" and m.text == text)

    def wait(self, seconds: float, velocity: tuple | None = None, yaw_rate: float = 0) -> None:
        """With set-points about ten times a second, when a velocity is given."""
        end = self.log.now + seconds
        due = self.log.now
        while self.log.now < end:
            if velocity and self.log.now >= due:
                self.set_point(velocity, yaw_rate)
                due += 0.1
            self.take()

    def set_point(self, velocity: tuple, yaw_rate: float = 0) -> None:
        north, east, down = velocity
        self.station.send(
            mavlink.MAVLink_set_position_target_local_ned_message(
                0, 1, 0, 1, 1991, 0, 0, 0, north, east, down, 0, 0, 0, 0, yaw_rate
            )
        )

    def set_mode(self, mode: int) -> None:
        self.station.send(mavlink.MAVLink_set_mode_message(1, 1, mode))

    def request_streams(self, rate: int) -> None:
        for stream in (6, 10, 2, 12):
            self.station.send(mavlink.MAVLink_request_data_stream_message(1, 1, stream, rate, 1))

    def command(self, command: int, *parameters: float, last: float = 0) -> int:
        """The result of its acknowledgement."""
        padded = [*parameters, 0, 0, 0, 0, 0, 0][:6]
        self.station.send(mavlink.MAVLink_command_long_message(1, 1, command, 0, *padded, last))
        return self.until_acknowledged(command)

    def until_acknowledged(self, command: int) -> int:
        return self.until(lambda m: m.get_type() == "COMMAND_ACK" and m.command == command).result

    def arm_when_ready(self) -> None:
        while self.command(400, 1) != 0:
            self.wait(1)
        self.until_heartbeat(lambda beat: beat.base_mode & ARMED)


class Sims:
    def __init__(self, bin_dir: Path, folder: Path):
        self.bin_dir = bin_dir
        self.folder = folder
        self.started: list[RelaySim] = []

    def start(
        self, autopilot: str, *arguments: str, kind: str = "tcp", links: int = 1, speed: int = SPEED
    ) -> RelaySim:
        addresses = ["tcp:127.0.0.1:0"] * links
        if kind == "pty":
            addresses = [f"pty:{self.folder / f'tty{len(self.started)}-{i}'}" for i in range(links)]
        command = [part for address in addresses for part in ("--link", address)]
        environment = program_environment(self.folder)
        sim = RelaySim(
            self.bin_dir / "noflailsten-sim",
            environment,
            *("--autopilot", autopilot, "--speed", str(speed), *command, *arguments),
        )
        self.started.append(sim)
        return sim

    def close(self) -> None:
        for sim in self.started:
            sim.close()


def events(sim: RelaySim) -> list:
    """Modes, armed and landed, as the program told them."""
    records = (record for record in sim.process.records if record["event"] in ("mode", "armed", "landed"))
    return [record.get(record["event"]) for record in records]


# Units and signs, of a log's own messages against each other


def assert_consistent(log: Log, home_altitude_m: float, tolerance_m: float) -> None:
    flying = [(when, m) for when, m in log.all("GLOBAL_POSITION_INT") if m.relative_alt > 5000]
    assert len(flying) > 100
    for _, m in flying:
        assert (m.alt - m.relative_alt) / 1000 == pytest.approx(home_altitude_m, abs=tolerance_m)
    neighbours = zip(flying, flying[1:], strict=False)
    pairs = [(m, n, later - when) for (when, m), (later, n) in neighbours if 0 < later - when < 0.5]
    assert len(pairs) > 100
    for m, n, seconds in pairs:
        assert_moves_as_told(m, n, seconds)
    leans = dict(log.all("ATTITUDE"))
    for when, m in flying:
        assert abs(turn_between(math.degrees(leans[when].yaw), m.hdg / 100)) < 2
    assert_distances_are_heights(log, home_altitude_m)


def assert_moves_as_told(m, n, seconds: float) -> None:
    """Positions move with the velocities: north, east, and down against height."""
    metres_per_degree = math.radians(6378137)
    north = (n.lat - m.lat) / 1e7 * metres_per_degree / seconds
    east = (n.lon - m.lon) / 1e7 * metres_per_degree * math.cos(math.radians(m.lat / 1e7)) / seconds
    assert north == pytest.approx(m.vx / 100, abs=1.5)
    assert east == pytest.approx(m.vy / 100, abs=1.5)
    assert (m.alt - n.alt) / 1000 / seconds == pytest.approx(m.vz / 100, abs=1.5)


def turn_between(degrees: float, others: float) -> float:
    return (degrees - others + 180) % 360 - 180


def assert_distances_are_heights(log: Log, home_altitude_m: float) -> None:
    """Where the sensor looks straight down, but for the relief."""
    relief_m = 2.1
    latest = {}
    compared = 0
    for when, m in log.messages:
        latest[m.get_type()] = (when, m)
        if m.get_type() != "GLOBAL_POSITION_INT" or m.relative_alt < 5000:
            continue
        measured, distance = latest["DISTANCE_SENSOR"]
        _, lean = latest["ATTITUDE"]
        if when - measured < 0.15 and abs(lean.roll) + abs(lean.pitch) < 0.05:
            compared += 1
            height_m = m.alt / 1000 - home_altitude_m
            assert distance.current_distance / 100 == pytest.approx(height_m, abs=relief_m)
    assert compared > 20
