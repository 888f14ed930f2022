# SPDX-License-Identifier: MIT
"""What `./dev demo` shows: a flight, a recorded one (as lines and as a table), the ground link."""

import fcntl
import os
import pty
import re
import struct
import subprocess
import termios
import time
from pathlib import Path

import pytest
from conftest import DATA, ROOT
from jsonprocess import JsonProcess

DEMO = ROOT / "tools" / "demo"
SPEED = 30
TIMEOUT = 90
ROWS, COLUMNS = 40, 120


@pytest.fixture
def demo_config(bin_dir, environment, tmp_path) -> Path:
    """Settings for a simulator that replays the flight."""
    recording = DATA / "arducopter-flight.tlog"
    link = "tcp:127.0.0.1:0"
    command = [bin_dir / "noflailsten-sim", "--replay", recording, "--link", link, "--speed", SPEED, "--json"]
    simulator = JsonProcess(command, environment)
    address = simulator.wait_for_event("listening")["address"]
    config = tmp_path / "host.ini"
    config.write_text((DEMO / "host.ini").read_text().replace("@PORT@", address.rsplit(":", 1)[1]))
    yield config
    simulator.ask_to_end()
    assert simulator.wait_for_end() == 0, simulator.story("It did not end well.")


def host_command(bin_dir: Path, config: Path) -> list:
    script = DEMO / "replay.script"
    return [bin_dir / "noflailsten-host", "--config", config, "--no-reconnect", "--script", script]


def test_piped_the_demo_prints_the_flight_line_by_line(bin_dir, environment, demo_config, standin_calls):
    command = host_command(bin_dir, demo_config)
    result = subprocess.run(
        command, env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=TIMEOUT
    )
    assert result.returncode == 0, result.stdout + result.stderr
    for line in (
        "[AP] Autopilot systemid detected  1",
        "[AP] ArduPilot Detected",
        "[AP] The drone is arming",
    ):
        assert line in result.stderr.splitlines()
    for text in (
        "Logging started (auto)",
        "Disable Wi-Fi",
        "New system date/time: ",
        "Logging stopped (auto)",
    ):
        assert f"to the ground: [AP] {text}" in result.stdout
    for shown in ("roll", "pitch", "yaw", "position 35.36", "local position", "velocity", "altimeter"):
        assert shown in result.stdout
    assert "above the maximum" in result.stdout
    assert re.search(r"satellites \d", result.stdout)
    calls = standin_calls()
    assert re.fullmatch(r"date --set \d{4}\.\d\d\.\d\d-\d\d:\d\d:\d\d", calls[0])
    assert calls[1:] == ["nmcli radio wifi off", "nmcli radio wifi on"]


def longest_demo_s(bin_dir: Path) -> float:
    """What a user is promised; sanitizers make the programs several times as slow."""
    sanitized = b"__asan_init" in (bin_dir / "noflailsten-host").read_bytes()
    return 4 * TIMEOUT if sanitized else TIMEOUT


@pytest.mark.alone
def test_the_demo_flies_and_tells_of_it_in_90_seconds(bin_dir, environment):
    begin = time.monotonic()
    result = subprocess.run(
        [DEMO / "demo.sh", bin_dir],
        env=environment,
        stdin=subprocess.DEVNULL,
        capture_output=True,
        text=True,
        timeout=4 * TIMEOUT,
    )
    took = time.monotonic() - begin
    print(f"the demo took {took:.1f} s")
    assert result.returncode == 0, result.stdout + result.stderr
    assert took < longest_demo_s(bin_dir), f"{took} s\n{result.stdout}{result.stderr}"
    heights = [float(h) for h in re.findall(r"away, (-?[\d.]+) m above it", result.stdout)]
    assert 14 < max(heights) < 16
    away = [float(d) for d in re.findall(r"from origin ([\d.]+) m away", result.stdout)]
    assert 14 < max(away) < 20 and away[-1] < 3
    for text in "Logging started (auto)", "the square is flown", "Logging stopped (auto)":
        assert text in result.stdout
    pings = re.search(r"(\d+) pings sent, (\d+) answered", result.stdout)
    assert pings and int(pings[2]) > 0.8 * int(pings[1]) > 20
    assert "ground  pong" in result.stdout  # its second part


def test_the_ground_links_part_shows_pings_and_a_payload_each_way(bin_dir, environment):
    command = [DEMO / "demo.sh", bin_dir, "ground-link"]
    result = subprocess.run(
        command, env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=TIMEOUT
    )
    assert result.returncode == 0, result.stdout + result.stderr
    lines = result.stdout.splitlines()
    pongs = [line for line in lines if re.fullmatch(r"ground  pong seq=\d time=[\d.]+ ms version=0\.2", line)]
    assert len(pongs) == 3
    ours, theirs = "a payload from the vehicle", "a payload from the ground"
    assert any(line.startswith("host ") and theirs in line for line in lines)
    assert any(line.startswith("ground ") and ours.encode().hex() in line for line in lines)
    assert any("altimeter 0 m, status 4" in line for line in lines)


def run_on_terminal(command: list, environment: dict) -> tuple[int, str]:
    """Exit status, and everything written to the terminal."""
    master, slave = pty.openpty()
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", ROWS, COLUMNS, 0, 0))
    environment = {**environment, "TERM": "xterm-256color"}
    process = subprocess.Popen(command, env=environment, stdin=slave, stdout=slave, stderr=slave)
    os.close(slave)
    written = bytearray()
    while True:
        try:
            chunk = os.read(master, 65536)
        except OSError:  # the far end is closed: the program has ended
            break
        if not chunk:
            break
        written += chunk
    os.close(master)
    return process.wait(timeout=TIMEOUT), written.decode()


def test_on_a_terminal_the_demo_shows_a_table_and_leaves_the_terminal_as_it_was(
    bin_dir, environment, demo_config
):
    status, screen = run_on_terminal(host_command(bin_dir, demo_config), environment)
    assert status == 0, screen
    for label in (
        "Autopilot",
        "Attitude",
        "Position",
        "Velocity",
        "Altitude",
        "Altimeter",
        "Satellites",
        "Logging",
    ):
        assert label in screen
    assert re.search(r"\x1b\[\d+;\d*r", screen), "no scroll region below the table"
    assert screen.rindex("\x1b[r") > screen.rindex("Satellites"), "the scroll region stays behind"
    assert "[AP] ArduPilot Detected" in screen
