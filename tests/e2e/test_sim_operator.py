# SPDX-License-Identifier: MIT
"""What an operator does to a simulated vehicle, and bad lines."""

import shlex
import signal
import subprocess
import time
from collections import Counter
from collections.abc import Iterator
from pathlib import Path

import pytest
from jsonprocess import TIMEOUT
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from relaylinks import HOST, Station, TcpTransport, frame_of
from simvehicles import ARMED, LOITER, PX4_HOME_ALTITUDE_M, SLOW, Companion, Sims


@pytest.fixture
def sims(bin_dir: Path, tmp_path: Path) -> Iterator[Sims]:
    made = Sims(bin_dir, tmp_path)
    yield made
    made.close()


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


@pytest.mark.parametrize("end", ["fault none", "fault loss 0"])
def test_operator_makes_the_line_worse_and_better(end: str, sims: Sims):
    companion = Companion(sims.start("px4", speed=1))
    companion.wait(1)
    assert 1 in steps(companion) and len(steps(companion)) == 1
    companion.sim.process.write_line("fault loss 0.5")
    while len(steps(companion)) == 1:
        companion.take()
    companion.sim.process.write_line(end)
    companion.wait(1)
    healed = len(companion.log.messages)
    companion.wait(1)
    assert steps(companion, healed) == {1}


def steps(companion: Companion, first: int = 0) -> set[int]:
    """Between the sequence numbers of neighbours."""
    sequence = [frame_of(message)[4] for _, message in companion.log.messages[first:]]
    return {(later - earlier) % 256 for earlier, later in zip(sequence, sequence[1:], strict=False)}


def test_operator_makes_the_line_slow_and_quick(sims: Sims):
    companion = Companion(sims.start("px4", speed=1))
    companion.sim.process.write_line("fault latency 1500")
    while answer_seconds(companion) < 1.5:
        assert companion.log.now < 60
    assert answer_seconds(companion) >= 1.5
    companion.sim.process.write_line("fault latency 0")
    while answer_seconds(companion) > 1:
        assert companion.log.now < 60


def answer_seconds(companion: Companion) -> float:
    begin = time.monotonic()
    assert companion.command(511, 33, 1e5) == 0
    return time.monotonic() - begin


def test_operator_makes_the_line_damage_frames_and_heals_it(sims: Sims):
    sim = sims.start("px4", "--boot-delay", "0", speed=1)
    listener = Listener(sim.addresses[0])
    assert "BAD_DATA" not in listener.names(200)
    sim.process.write_line("fault corrupt 0.5")
    while "BAD_DATA" not in listener.names(20):
        pass
    sim.process.write_line("fault corrupt 0")
    while "BAD_DATA" in listener.names(200):
        pass
    listener.close()


class Listener:
    """Takes bad data too."""

    def __init__(self, address: str):
        self.transport = TcpTransport(address)
        self.parser = mavlink.MAVLink(None)
        self.parser.robust_parsing = True

    def names(self, at_least: int) -> Counter:
        """Of the next messages."""
        names: Counter = Counter()
        while names.total() < at_least:
            messages = self.parser.parse_buffer(self.transport.read()) or []
            names.update(message.get_type() for message in messages)
        return names

    def close(self) -> None:
        self.transport.close()


def test_operator_can_reboot_it_in_the_air(sims: Sims):
    sim = sims.start("px4")
    companion = Companion(sim)
    companion.wait(6)
    assert companion.command(400, 1) == 0
    assert companion.command(22, last=PX4_HOME_ALTITUDE_M + 10) == 0
    companion.until_higher(9)
    sim.process.write_line("reboot")
    booted = companion.until(lambda m: m.get_type() == "ATTITUDE" and m.time_boot_ms < 5000)
    beat = companion.until_heartbeat(lambda beat: True)
    assert (beat.base_mode, beat.custom_mode) == (29, LOITER)
    assert booted.time_boot_ms < 1000
    sim.process.wait_for_record(lambda record: record.get("landed") is True)


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
    listener = Listener(sims.start("px4", "--corrupt", "0.2", "--boot-delay", "0").addresses[0])
    names = listener.names(1000)
    listener.close()
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
