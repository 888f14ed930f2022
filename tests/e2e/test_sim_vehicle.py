# SPDX-License-Identifier: MIT
"""noflailsten-sim --autopilot: the vehicle, flown by pymavlink, beside the recordings of real ones."""

import math
import shlex
import signal
import subprocess
import time
from collections import Counter
from collections.abc import Callable, Iterator
from dataclasses import dataclass, field
from pathlib import Path

import pytest
from conftest import DATA, program_environment
from jsonprocess import TIMEOUT
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from recording_figures import recorded_bytes
from relaylinks import AUTOPILOT, GROUND, HOST, RelaySim, Station, TcpTransport, frame_of, source_of

SPEED = 10
FAST = 6
# Off-board mode is lost when set-points fail to come for a second of the vehicle's: that has to be long
# enough for a machine that keeps us waiting.
SLOW = 2
GUIDED, LAND = 4, 9
OFF_BOARD, LOITER, TAKING_OFF, RETURNING = 393216, 50593792, 33816576, 84148224
ARMED = 128
SQUARE = [(3, 0, 0), (0, 3, 0), (-3, 0, 0), (0, -3, 0)]
LEG_S = 5
PX4_HOME_ALTITUDE_M = 489.05

# What the plugin reads, beside heartbeats.
READ = {"ATTITUDE", "DISTANCE_SENSOR", "GLOBAL_POSITION_INT", "GPS_RAW_INT", "SYSTEM_TIME"}
ARDUPILOT_STREAMS = READ | {
    "AHRS2",
    "BATTERY_STATUS",
    "LOCAL_POSITION_NED",
    "MISSION_CURRENT",
    "RANGEFINDER",
    "SIMSTATE",
    "SYS_STATUS",
}


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


def events(sim: RelaySim) -> list:
    """Modes, armed and landed, as the program told them."""
    records = (record for record in sim.process.records if record["event"] in ("mode", "armed", "landed"))
    return [record.get(record["event"]) for record in records]


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


def assert_consistent(log: Log, home_altitude_m: float, tolerance_m: float) -> None:
    flying = [(when, m) for when, m in log.all("GLOBAL_POSITION_INT") if m.relative_alt > 5000]
    distances = dict(log.all("DISTANCE_SENSOR"))
    leans = dict(log.all("ATTITUDE"))
    level = 0
    for (when, m), (later, n) in zip(flying, flying[1:], strict=False):
        assert (m.alt - m.relative_alt) / 1000 == pytest.approx(home_altitude_m, abs=tolerance_m)
        if not 0 < later - when < 0.5:
            continue
        # Positions move with the velocities: north, east, and down against height.
        north = (n.lat - m.lat) / 1e7 * 111319.5 / (later - when)
        assert north == pytest.approx(m.vx / 100, abs=1.5)
        assert (m.relative_alt - n.relative_alt) / 1000 / (later - when) == pytest.approx(m.vz / 100, abs=1.5)
        attitude = leans.get(when)
        yaw = math.degrees(attitude.yaw) % 360
        assert abs((yaw - m.hdg / 100 + 180) % 360 - 180) < 6
        if when in distances and abs(attitude.roll) + abs(attitude.pitch) < 0.05:
            level += 1
            relief_m = 2.1
            height = m.relative_alt / 1000
            assert distances[when].current_distance / 100 == pytest.approx(height, abs=relief_m)
    assert level > 20


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


# PX4


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
    sim = module_sims.start("px4", kind=module_sims.kind, speed=SLOW)
    companion = Companion(sim)
    companion.wait(6)
    companion.set_mode(GUIDED)
    refused = companion.until_acknowledged(176)
    companion.set_mode(OFF_BOARD)
    early = companion.until_acknowledged(176)
    assert companion.command(400, 1) == 0
    assert companion.command(22, last=PX4_HOME_ALTITUDE_M + 6) == 0
    companion.until_higher(5.5)
    companion.until_heartbeat(lambda beat: beat.custom_mode == LOITER)
    companion.wait(0.5, (0, 0, 0))
    companion.set_mode(OFF_BOARD)
    accepted = companion.until_acknowledged(176)
    for velocity in SQUARE[:2]:
        companion.wait(LEG_S, velocity)
    companion.until_heartbeat(lambda beat: beat.custom_mode == RETURNING, limit_s=4)
    assert companion.command(21) == 0
    companion.until_heartbeat(lambda beat: not beat.base_mode & ARMED)
    companion.wait(1)
    return Px4Flight(companion.log, events(sim), refused, early, accepted)


def test_px4_flight_goes_through_its_modes(px4: Px4Flight):
    assert (px4.refused, px4.early, px4.accepted) == (1, 1, 0)
    assert px4.told == [True, "takeoff", False, "loiter", "offboard", "rtl", "land", True, "loiter", False]
    beats = {(m.base_mode, m.custom_mode) for _, m in px4.log.all("HEARTBEAT")}
    assert beats >= {(29, LOITER), (157, LOITER), (157, TAKING_OFF), (145, OFF_BOARD), (157, RETURNING)}


def test_px4_flies_what_is_asked(px4: Px4Flight):
    assert max(px4.log.values("GLOBAL_POSITION_INT", "vx")) == pytest.approx(300, abs=15)
    assert max(px4.log.values("GLOBAL_POSITION_INT", "vy")) == pytest.approx(300, abs=15)
    # Touching down it believes that it sinks, until it has disarmed.
    heights = px4.log.values("GLOBAL_POSITION_INT", "relative_alt")
    assert heights[-1] - min(heights) == pytest.approx(1300, abs=100)


def test_px4_streams_have_the_recorded_rates(px4: Px4Flight, recorded_px4: Log):
    recorded = recorded_px4.rates(5.5, 8)  # before anything is asked for
    ours = px4.log.rates(10, 25)
    compared = {name for name, rate in recorded.items() if rate >= 4 and name != "COMMAND_ACK"}
    assert compared >= READ - {"SYSTEM_TIME"}
    for name in compared:
        assert ours[name] == pytest.approx(recorded[name], rel=0.1), name
    assert ours["SYSTEM_TIME"] == pytest.approx(1, rel=0.1)


@pytest.mark.parametrize("which", ["ours", "recorded"])
def test_px4_sends_messages_that_the_dialect_does_not_know(which: str, px4: Px4Flight, recorded_px4: Log):
    log = px4.log if which == "ours" else recorded_px4
    names = {message.get_type() for _, message in log.messages}
    assert {f"UNKNOWN_{number}" for number in (8, 380, 410, 411, 436)} <= names
    assert {m.fix_type for _, m in log.all("GPS_RAW_INT")} <= {0, 3}
    assert set(log.values("GPS_RAW_INT", "time_usec")) == {0}
    assert all(micros > 10**15 for micros in log.values("SYSTEM_TIME", "time_unix_usec"))


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


def test_px4_answers_requests_for_messages(sims: Sims):
    companion = Companion(sims.start("px4"))
    assert [companion.command(511, number, 500_000) for number in (33, 124, 9999)] == [0, 0, 4]
    companion.wait(3)
    assert "GPS2_RAW" not in {message.get_type() for _, message in companion.log.messages}


# The operator


def test_operator_flies_too(sims: Sims):
    sim = sims.start("px4", "--boot-delay", "1", speed=SLOW)
    companion = Companion(sim)
    companion.wait(2)
    sim.process.write_line("arm")
    companion.until_heartbeat(lambda beat: beat.base_mode & ARMED)
    sim.process.write_line("mode offboard")
    assert "no set-points come" in sim.process.wait_for_log("refused")
    companion.wait(1, (0, 0, 0))
    sim.process.write_line("mode offboard")
    companion.wait(6, (0, 0, -1))
    sim.process.write_line("status")
    status = sim.process.wait_for_event("status")
    assert (status["mode"], status["armed"], status["landed"]) == ("offboard", True, False)
    assert status["heightM"] > 2
    sim.process.write_line("land")
    companion.until_heartbeat(lambda beat: not beat.base_mode & ARMED)


def test_operator_makes_the_line_worse_and_better(sims: Sims):
    companion = Companion(sims.start("px4", speed=1))
    companion.wait(1)
    assert 1 in steps(companion) and len(steps(companion)) == 1
    companion.sim.process.write_line("fault loss 0.5")
    while len(steps(companion)) == 1:
        companion.take()
    companion.sim.process.write_line("fault none")
    companion.wait(1)
    healed = len(companion.log.messages)
    companion.wait(1)
    assert steps(companion, healed) == {1}


def steps(companion: Companion, first: int = 0) -> set[int]:
    """Between the sequence numbers of neighbours."""
    sequence = [frame_of(message)[4] for _, message in companion.log.messages[first:]]
    return {(later - earlier) % 256 for earlier, later in zip(sequence, sequence[1:], strict=False)}


def test_operator_is_answered_in_one_line(sims: Sims):
    sim = sims.start("ardupilot")
    for line in ("fly", "mode", "mode nonsense", "arm now"):
        sim.process.write_line(line)
    sim.process.wait_for_log("arm takes no argument")
    assert len(sim.process.log_lines) == 4
    assert all(line.startswith("noflailsten-sim: ") for line in sim.process.log_lines)


def test_operator_can_quit(sims: Sims):
    sim = sims.start("ardupilot")
    sim.process.write_line("quit")
    assert sim.process.wait_for_end() == 0


def test_closed_input_changes_nothing(sims: Sims):
    sim = sims.start("ardupilot")
    sim.process.close_input()
    companion = Companion(sim)
    for _ in range(3):
        companion.station.receive_heartbeat()
    sim.process.ask_to_end(signal.SIGINT)
    assert sim.process.wait_for_end() == 0


def test_missing_input_changes_nothing(bin_dir: Path):
    command = (
        f"exec {shlex.quote(str(bin_dir / 'noflailsten-sim'))} --autopilot px4 --link tcp:127.0.0.1:0 <&-"
    )
    process = subprocess.Popen(command, shell=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    address = process.stdout.readline().removeprefix("listening on ").rstrip()
    station = Station(address, HOST)
    for _ in range(3):
        station.receive_heartbeat()
    station.close()
    process.send_signal(signal.SIGTERM)
    assert process.wait(TIMEOUT) == 0


# Bad lines


def test_lossy_line_leaves_gaps_in_the_sequence(sims: Sims):
    companion = Companion(sims.start("px4", "--loss", "0.2", "--seed", "3"))
    companion.wait(5)
    sequence = [frame_of(message)[4] for _, message in companion.log.messages]
    gaps = [(later - earlier - 1) % 256 for earlier, later in zip(sequence, sequence[1:], strict=False)]
    assert 0.1 < sum(gaps) / (sum(gaps) + len(sequence)) < 0.3


def test_corrupting_line_damages_frames(sims: Sims):
    sim = sims.start("px4", "--corrupt", "0.2", "--boot-delay", "0")
    transport = TcpTransport(sim.addresses[0])
    parser = mavlink.MAVLink(None)
    parser.robust_parsing = True
    names: Counter = Counter()
    while sum(names.values()) < 1000:
        names.update(message.get_type() for message in parser.parse_buffer(transport.read()) or [])
    transport.close()
    assert names["BAD_DATA"] > 50
    assert names["ATTITUDE"] > 50


def test_stalled_line_brings_everything_afterwards(sims: Sims):
    companion = Companion(sims.start("px4", speed=1))
    companion.wait(1)
    companion.sim.process.write_line("fault stall 1")
    begin = companion.log.now
    arrivals = []
    while companion.log.now < begin + 3:
        companion.take()
        arrivals.append(time.monotonic())
    pause = max(later - earlier for earlier, later in zip(arrivals, arrivals[1:], strict=False))
    assert 0.7 < pause < 5
    assert steps(companion) == {1}
