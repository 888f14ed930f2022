# SPDX-License-Identifier: MIT
"""Whole flights: the host's script, the plugin, the simulated vehicle, many times as fast as real."""

import math
import os
import re
import signal
import subprocess
import sys
from pathlib import Path

import pytest
from conftest import program_environment, write_config
from jsonprocess import JsonProcess, Lines

SPEED = 5
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


class Flight:
    """A simulated vehicle with its operator, and a host on its first link."""

    def __init__(self, bin_dir: Path, folder: Path, kind: str, autopilot: str, speed: int = SPEED):
        self.bin_dir = bin_dir
        self.folder = folder
        self.processes: list[JsonProcess] = []
        link = "tcp:127.0.0.1:0" if kind == "tcp" else f"pty:{folder / 'host-port'}"
        links = ["--link", link, "--link", "tcp:127.0.0.1:0"]
        boot = ["--autopilot", autopilot, "--boot-delay", "5", "--speed", speed]
        self.sim = self.start("noflailsten-sim", *boot, *links)
        self.addresses = [self.sim.wait_for_event("listening")["address"] for _ in range(2)]

    def start(self, program: str, *arguments) -> JsonProcess:
        command = [self.bin_dir / program, *arguments, "--json"]
        process = JsonProcess(command, program_environment(self.folder))
        self.processes.append(process)
        return process

    def start_host(self, *arguments) -> JsonProcess:
        """It hears positions seconds later, when the vehicle has its fix: the first is the stick's origin."""
        if self.addresses[0].startswith("tcp"):
            _, device, parameter = self.addresses[0].split(":")
            kind = "TCP"
        else:
            device, parameter, kind = self.addresses[0].removeprefix("pty:"), "921600", "UART"
        settings = {
            "MAV/CONNECTION_TYPE": kind,
            "MAV/SERIAL_DEVICE": device,
            "MAV/BAUD_RATE": parameter,
            "MAV/V2_EXTENSION": "true",
        }
        config = write_config(self.folder / "host.ini", settings)
        host = self.start("noflailsten-host", "--config", config, *arguments)
        host.wait_for("virtualStick.statusChanged")
        return host

    def play(self, host: JsonProcess, script: str) -> None:
        for line in script.strip().splitlines():
            host.write_line(line)

    def end(self) -> None:
        for process in reversed(self.processes):
            was_running = process.is_running()
            process.ask_to_end()
            code = process.wait_for_end()
            assert code == 0 or not was_running, process.story(f"Asked to end, it ended with {code}.")


@pytest.fixture
def fly(bin_dir, tmp_path):
    flights = []

    def fly(kind: str, autopilot: str, speed: int = SPEED) -> Flight:
        flights.append(Flight(bin_dir, tmp_path, kind, autopilot, speed))
        return flights[-1]

    yield fly
    for flight in flights:
        flight.end()


def track(host) -> list[dict]:
    return host.values("virtualStick.localPositionChanged")


@pytest.mark.parametrize("kind", ["tcp", "pty"])
def test_ardupilot_flies_a_square(fly, kind):
    flight = fly(kind, "ardupilot")
    host = flight.start_host("--script", "-")
    host.write_line("wait-for timeIsSet=true 60")  # the fix is there
    flight.play(host, SQUARE)
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
    host.write_line("wait-for timeIsSet=true 60")
    flight.play(host, SQUARE.split("velocity", 1)[0] + "velocity 5 0 0 0 60")
    host.wait_for("velocity", lambda speed: speed > 4)
    host.ask_to_end(signal.SIGINT)
    assert host.wait_for_end() == 0
    assert [record for record in host.records if record.get("event") == "hover"]
    again = flight.start_host()
    again.wait_for("velocity", lambda speed: speed < 0.5)
    assert again.values("virtualStick.statusChanged")[-1]["armed"] is True


@pytest.mark.parametrize("kind", ["tcp", "pty"])
def test_px4_refuses_the_mode_and_flies_when_the_operator_switches(fly, kind):
    flight = fly(kind, "px4", speed=2)  # off-board is lost 1 s after the last velocity
    host = flight.start_host("--script", "-")
    host.wait_for("timeIsSet")
    flight.play(host, "subscribe\ncontrol\narm 60\ntakeoff")
    host.wait_for_record(lambda r: r.get("event") == "hint" and "Offboard" in r["message"])
    host.wait_for("virtualStick.statusChanged", lambda status: status["armed"])
    host.write_line("velocity 3 0 -1 0 20")
    host.write_line("text the velocities are over")
    while not any(2.5 < speed < 4 for speed in host.values("velocity")):
        flight.sim.write_line("mode offboard")  # refused until the first velocity has come
        host.wait_for("velocity")
        over = {"text": "the velocities are over", "type": 0}
        assert over not in host.values("textToGround"), host.story("It did not fly.")


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
        host.write_line("wait-for timeIsSet=true 60")
        flight.play(host, SQUARE)
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
