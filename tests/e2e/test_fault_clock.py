# SPDX-License-Identifier: MIT
"""The clock on the wall jumps by ten years while a program runs. Only its own view of it does: libfaketime
stands between it and the system, and leaves the monotonic clock alone."""

import os
import subprocess
import time
from datetime import UTC, datetime
from pathlib import Path

import pytest
from conftest import program_environment
from faultrounds import SLACK
from groundpeer import GroundPeer
from jsonprocess import JsonProcess
from links import TcpLink
from simvehicles import Companion, Sims

from autopilot import ARDUPILOT, Autopilot, attitude, heartbeat

pytestmark = pytest.mark.alone

JUMPS = {"forward": "+3650d", "back": "-3650d"}
YEARS = 9
HEARTBEATS = 2
STATUS_PERIOD_MS = 200
STREAM_RATE = 10


def library() -> str:
    """What `faketime` preloads."""
    command = ["faketime", "-f", "+0", "printenv", "LD_PRELOAD"]
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.strip()


@pytest.fixture
def offset(tmp_path: Path, monkeypatch) -> Path:
    """The file that says by how much the clock of what is started next is wrong."""
    path = tmp_path / "clock-offset"
    path.write_text("+0")
    monkeypatch.setenv("LD_PRELOAD", library())
    monkeypatch.setenv("FAKETIME_TIMESTAMP_FILE", str(path))
    monkeypatch.setenv("FAKETIME_NO_CACHE", "1")
    monkeypatch.setenv("FAKETIME_DONT_FAKE_MONOTONIC", "1")
    options = filter(None, [os.environ.get("ASAN_OPTIONS"), "verify_asan_link_order=0"])
    monkeypatch.setenv("ASAN_OPTIONS", ":".join(options))
    return path


def year_of(record: dict) -> int:
    return datetime.fromisoformat(record["time"]).year


def set_offset(offset: Path, by: str) -> None:
    scratch = offset.with_suffix(".new")
    scratch.write_text(by)
    scratch.rename(offset)


def jump(process: JsonProcess, offset: Path, by: str) -> None:
    """Comes back when the program has seen it."""
    set_offset(offset, by)
    this_year = datetime.now(UTC).year
    process.wait_for_record(lambda record: abs(year_of(record) - this_year) >= YEARS)


def assert_timers_go_on(host: JsonProcess, autopilot: Autopilot) -> None:
    """At their periods: heartbeats, counted where they arrive, and statuses meanwhile."""
    autopilot.take_in(0)
    autopilot.received.clear()
    autopilot.position = 0
    autopilot.receive("HEARTBEAT")
    statuses, begin = len(host.values("autopilotStatus")), time.monotonic()
    for number in range(HEARTBEATS):
        autopilot.send(heartbeat(ARDUPILOT), attitude(float(number)))
        autopilot.receive("HEARTBEAT")
    passed = time.monotonic() - begin
    assert HEARTBEATS - SLACK < passed < HEARTBEATS + SLACK
    came = len(host.values("autopilotStatus")) - statuses
    assert came == pytest.approx(passed * 1000 / STATUS_PERIOD_MS, abs=3)
    assert host.values("roll")[-HEARTBEATS:] == [float(number) for number in range(HEARTBEATS)]


@pytest.mark.parametrize("direction", JUMPS)
def test_host_does_not_notice_that_the_clock_on_the_wall_jumps(hosts, link, autopilot, offset, direction):
    host = hosts.start(link, watched=True, APP__STATUS_PERIOD_MS=STATUS_PERIOD_MS)
    autopilot.meet(host)
    autopilot.send(heartbeat(ARDUPILOT))
    host.wait_for("autopilotStatus", lambda status: status == 2)
    jump(host, offset, JUMPS[direction])
    assert_timers_go_on(host, autopilot)
    assert {record["event"] for record in host.records if "event" in record} == {"started", "link-open"}
    assert host.values("autopilotStatus")[-HEARTBEATS:] == [2] * HEARTBEATS


@pytest.mark.parametrize("direction", JUMPS)
def test_round_trips_of_pings_do_not_change_with_the_clock_on_the_wall(bin_dir, offset, direction):
    link = TcpLink()
    address = "tcp:{}:{}".format(*link.listener.getsockname())
    command = [
        bin_dir / "noflailsten-ground",
        "--connect",
        address,
        "--json",
        "ping",
        "-c",
        "20",
        "-i",
        "0.1",
    ]
    ground = JsonProcess(command, program_environment(offset.parent))
    peer = GroundPeer(link)
    peer.meet()
    ground.wait_for_event("pong")
    jump(ground, offset, JUMPS[direction])
    assert ground.wait_for_end() == 0
    assert [record["seq"] for record in ground.records if record["event"] == "pong"] == list(range(1, 21))
    assert 0 < ground.records[-1]["minMs"] <= ground.records[-1]["maxMs"] < 5000
    peer.end()
    link.close()


@pytest.mark.parametrize("direction", JUMPS)
def test_simulated_vehicle_goes_on_at_its_pace(bin_dir, tmp_path, offset, direction):
    sims = Sims(bin_dir, tmp_path)
    companion = Companion(sims.start("ardupilot", speed=1))
    companion.request_streams(STREAM_RATE)
    companion.until(lambda message: message.get_type() == "ATTITUDE")
    set_offset(offset, JUMPS[direction])
    seconds = 4
    first, begin = companion.log.now, time.monotonic()
    companion.wait(seconds)
    assert time.monotonic() - begin == pytest.approx(seconds, abs=SLACK)
    rates = companion.log.rates(first, first + seconds)
    assert rates["HEARTBEAT"] == pytest.approx(1, abs=0.25)
    assert rates["ATTITUDE"] == pytest.approx(STREAM_RATE, rel=0.1)
    sims.close()
