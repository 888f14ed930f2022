# SPDX-License-Identifier: MIT
"""Whole flights: the host's script, the plugin, the simulated vehicle, many times as fast as real."""

import math
import os
import re
import signal
import subprocess
import sys
import time
from pathlib import Path

import pytest
from flights import SPEED, flights
from jsonprocess import TIMEOUT, Lines
from livetable import wait_for_table
from test_prompt import Terminal

SIDE = 3.0 * 1.0 * SPEED  # metres: 3 m/s for a second of ours
SQUARE = """
subscribe
control
arm 60
takeoff
wait-for altitude.value>14 60
velocity 3 0 0 0 1
velocity 0 3 0 0 1
velocity -3 0 0 0 1
velocity 0 -3 0 0 1
velocity 0 0 0 0 0.4
text the square is flown
"""


@pytest.fixture
def fly(bin_dir, tmp_path):
    with flights(bin_dir, tmp_path) as begin:
        yield begin


@pytest.fixture
def terminal(bin_dir, environment):
    """Starts hosts on terminals."""
    started = []

    def start(flight, *arguments) -> Terminal:
        command = [bin_dir / "noflailsten-host", "--config", flight.write_host_config(), "--no-reconnect"]
        state = {"XDG_STATE_HOME": str(flight.folder / "state")}
        started.append(Terminal([*command, *arguments], {**environment, **state}))
        return started[-1]

    yield start
    for terminal in started:
        terminal.close()


def track(host) -> list[dict]:
    return host.values("virtualStick.localPositionChanged")


def play(host, script: str) -> None:
    for line in script.strip().splitlines():
        host.write_line(line)


@pytest.mark.parametrize("kind", ["tcp", "pty"])
def test_ardupilot_flies_a_square(fly, kind):
    flight = fly(kind, "ardupilot")
    flight.wait_for_fix()
    host = flight.start_host("--script", "-")
    play(host, SQUARE)
    host.wait_for("textToGround", lambda text: text["text"] == "the square is flown")
    flown = track(host)
    height = [-p["z"] for p in flown]
    assert 13 < max(height) < 17
    north, east = [p["x"] for p in flown], [p["y"] for p in flown]
    assert 0.6 * SIDE < max(north) - min(north) < 1.6 * SIDE
    assert 0.6 * SIDE < max(east) - min(east) < 1.6 * SIDE
    assert math.hypot(flown[-1]["x"], flown[-1]["y"]) < SIDE
    speeds = [math.hypot(p["vx"], p["vy"]) for p in flown]
    assert 2.5 < max(speeds) < 4
    flight.sim.write_line("mode land")
    host.wait_for("daqEnabled", lambda enabled: not enabled)
    host.wait_for("virtualStick.statusChanged", lambda status: not status["armed"])


def test_host_that_is_interrupted_leaves_the_vehicle_in_a_hover(fly):
    flight = fly("tcp", "ardupilot")
    host = flight.start_host("--script", "-")
    play(host, SQUARE.split("velocity", 1)[0] + "velocity 5 0 0 0 60")
    host.wait_for("velocity", lambda speed: speed > 4)
    host.ask_to_end(signal.SIGINT)
    assert host.wait_for_end() == 0
    assert [record for record in host.records if record.get("event") == "hover"]
    again = flight.start_host("--script", "-")
    again.write_line("subscribe")
    again.wait_for("velocity", lambda speed: speed < 0.5)
    assert again.values("virtualStick.statusChanged")[-1]["armed"] is True


def test_interrupt_at_the_prompt_leaves_the_vehicle_in_a_hover(fly, terminal):
    flight = fly("tcp", "ardupilot", tapped=True)
    observer = flight.observe()
    host = terminal(flight, "--quiet")
    host.wait_for("> ")
    host.type("control\rarm 60\r")
    flight.sim.wait_for_record(lambda record: record.get("armed"))
    host.type("takeoff\r")
    observer.until(lambda position: position.relative_alt > 4000)
    host.type("velocity 3 0 0 0 60\r")
    observer.until(lambda position: position.vx > 200)
    host.type("stat\x03")
    assert host.wait_for_end() == 0
    assert flight.tap.last_velocity() == (0, 0, 0, 0)
    observer.until_it_hovers()


def test_live_view_before_the_fix_tells_no_distance(fly, terminal, tmp_path):
    flight = fly("tcp", "ardupilot", boot_delay=1000)
    script = tmp_path / "listen.script"
    script.write_text("wait-for autopilotStatus=2\nsubscribe\n")
    host = terminal(flight, "--script", script)
    table = wait_for_table(host, lambda table: table.text("From origin").startswith("no fix yet"))
    assert table.text("Autopilot").startswith("heard")
    assert table.text("Position").startswith("0.0000000")
    assert not table.has_track()


def test_live_view_shows_the_flight_and_its_track(fly, terminal, tmp_path):
    flight = fly("tcp", "ardupilot")
    flight.wait_for_fix()
    script = tmp_path / "corner.script"
    flown = SQUARE.split("velocity", 1)[0].replace(">14", ">5")
    script.write_text(f"wait-for autopilotStatus=2\n{flown}velocity 3 0 0 0 1\nvelocity 0 3 0 0 600\n")
    host = terminal(flight, "--script", script)
    wait_for_table(host, lambda table: any("Logging started (auto)" in row for row in table.rows))
    moving = wait_for_table(host, lambda table: (table.number("Velocity") or 0) > 2)
    assert moving.text("Logging").startswith("on")
    assert re.match(r"35\.36\d+° S, 149\.16\d+° E", moving.text("Position"))
    assert re.match(r"roll -?\d+\.\d°, pitch -?\d+\.\d°, yaw", moving.text("Attitude"))
    far = wait_for_table(host, lambda table: (table.number("From origin") or 0) > 25)
    assert re.match(r"[\d.]+ m away, [\d.]+ m above it", far.text("From origin"))
    assert far.number("Altitude") > 4
    (origin_row, origin_column), (row, column) = far.place("+"), far.place("#")
    assert row < origin_row and column > origin_column + 5, far.rows  # to the north-east
    assert sum(line.count(".") for line in far.track()) > 5


@pytest.mark.parametrize("kind", ["tcp", "pty"])
def test_px4_refuses_the_mode_and_flies_when_the_operator_switches(fly, kind):
    flight = fly(kind, "px4", speed=1)  # off-board is lost 1 s after the last velocity
    host = start_px4_flight(flight)
    host.write_line("velocity 3 0 -1 0 600")
    switch_to_off_board(flight, host)
    host.wait_for("velocity", lambda speed: 2.5 < speed < 4)
    assert flight.modes()[-1] == "offboard"
    assert "rtl" not in flight.modes()


def test_px4_returns_home_when_the_velocities_stop(fly):
    flight = fly("tcp", "px4", speed=2)
    host = start_px4_flight(flight)
    host.write_line("velocity 3 0 -1 0 600")
    switch_to_off_board(flight, host)
    host.ask_to_end()
    assert host.wait_for_end() == 0
    flight.wait_for_mode("rtl")
    assert flight.modes()[-2:] == ["offboard", "rtl"]


def start_px4_flight(flight):
    """In the air, and refused the mode."""
    host = flight.start_host("--script", "-")
    host.wait_for("timeIsSet")
    play(host, "subscribe\ncontrol\narm 60\ntakeoff")
    host.wait_for_record(lambda r: r.get("event") == "hint" and "Offboard" in r["message"])
    flight.sim.wait_for_record(lambda record: record.get("landed") is False)
    return host


def switch_to_off_board(flight, host) -> None:
    """The autopilot refuses it until the first velocity has come."""
    deadline = time.monotonic() + TIMEOUT
    while "offboard" not in flight.modes():
        assert time.monotonic() < deadline, flight.sim.story("It refuses.")
        flight.sim.write_line("mode offboard")
        host.wait_for("velocity")


def test_mavproxy_sees_the_flight(fly):
    flight = fly("tcp", "ardupilot")
    mavproxy = Path(sys.executable).parent / "mavproxy.py"
    command = [sys.executable, mavproxy, "--master", flight.addresses[1], "--source-system", "254"]
    command += ["--default-modules", "mode,arm,cmdlong,link", "--state-basedir", flight.folder]
    environment = {**os.environ, "HOME": str(flight.folder), "PYTHONUNBUFFERED": "1"}
    process = subprocess.Popen(
        command,
        cwd=flight.folder,
        env=environment,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
    )
    try:
        said = Lines(process.stdout, str)
        assert said.wait_for(lambda line: "online system 1" in line, 60)
        host = flight.start_host("--script", "-")
        play(host, SQUARE)
        wait_for_all(said, "Mode GUIDED", "ARMED")
        host.wait_for("textToGround", lambda text: text["text"] == "the square is flown")
        flight.sim.write_line("mode land")
        wait_for_all(said, "Mode LAND", "DISARMED")
    finally:
        process.kill()
        process.wait()


def wait_for_all(said: Lines, *texts: str) -> None:
    missing = set(texts)
    while missing:
        line = said.wait_for(
            lambda line, texts=frozenset(missing): any(re.search(rf"\b{text}\b", line) for text in texts), 60
        )
        assert line, f"no {missing} in:\n" + "\n".join(said.snapshot()[-20:])
        missing -= {text for text in missing if re.search(rf"\b{text}\b", line)}
