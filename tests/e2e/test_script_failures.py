# SPDX-License-Identifier: MIT
"""Scripts that fail while they fly a simulated vehicle: it hovers, and the host says why it gave up."""

from pathlib import Path

import pytest
from flights import Flight, flights, speed_of

STILL = (0, 0, 0, 0)
TAKE_OFF = [
    "wait-for autopilotStatus=2 60",
    "subscribe",
    "control",
    "arm 60",
    "takeoff",
    "wait-for altitude.value>5 60",
    "velocity 3 0 0 0 1",
]
FAILING_LINE = len(TAKE_OFF) + 1


@pytest.fixture
def fly(bin_dir, tmp_path):
    with flights(bin_dir, tmp_path) as begin:
        yield begin


def write_script(folder: Path, *lines: str) -> Path:
    script = folder / "flight.script"
    script.write_text("\n".join(lines) + "\n")
    return script


def complaints(host) -> list[str]:
    return [line for line in host.log_lines if line.startswith("noflailsten-host: ")]


def assert_complaint(host, line: int, *words: str) -> None:
    assert len(complaints(host)) == 1, host.story("Not one complaint.")
    complaint = complaints(host)[0]
    assert complaint.startswith(f"noflailsten-host: script line {line}: ")
    assert all(word in complaint for word in words), complaint


def assert_hovering(flight: Flight, host) -> None:
    assert [record for record in host.records if record.get("event") == "hover"]
    velocities = flight.tap.messages("SET_POSITION_TARGET_LOCAL_NED")
    assert velocities[0].vx == 3
    assert flight.tap.last_velocity() == STILL


def test_wait_that_runs_out_in_flight_leaves_a_hover(fly, tmp_path):
    flight = fly("tcp", "ardupilot", tapped=True)
    observer = flight.observe()
    script = write_script(tmp_path, *TAKE_OFF, "wait-for roll=99 0.2", "velocity 9 9 9 9")
    host = flight.start_host("--script", script)
    observer.until(lambda position: speed_of(position) > 2 and position.relative_alt > 4000)
    assert host.wait_for_end(90) == 5
    assert_complaint(host, FAILING_LINE, "wait-for", "timed out")
    assert_hovering(flight, host)
    observer.until_it_hovers()


@pytest.mark.parametrize(
    ("line", "word"),
    [
        ("velocity 0 nan 0 0 5", "velocity"),
        ("velocity 0 0 -inf 0", "velocity"),
        ("velocity 3000 0 0 0 5", "30 m/s"),
        ("fly away", "unknown command fly"),
    ],
)
def test_mistake_that_is_read_in_flight_leaves_a_hover(fly, line, word):
    flight = fly("tcp", "ardupilot", tapped=True)
    observer = flight.observe()
    host = flight.start_host("--script", "-")
    for each in (*TAKE_OFF, line):
        host.write_line(each)
    assert host.wait_for_end(90) == 1
    assert_complaint(host, FAILING_LINE, word)
    assert_hovering(flight, host)
    observer.until(lambda position: speed_of(position) > 2 and position.relative_alt > 4000)
    observer.until_it_hovers()


@pytest.mark.parametrize(
    ("line", "word"),
    [
        ("velocity 0 nan 0 0 5", "velocity"),
        ("velocity 3000 0 0 0 5", "30 m/s"),
        ("velocity 3 0 0", "velocity"),
        ("fly away", "unknown command fly"),
        ("wait-for dinner", "dinner"),
    ],
)
def test_mistake_in_a_file_is_told_before_anything_is_sent(fly, tmp_path, line, word):
    flight = fly("tcp", "ardupilot")
    script = write_script(tmp_path, *TAKE_OFF, line)
    host = flight.start("noflailsten-host", "--config", flight.write_host_config(), "--script", script)
    assert host.wait_for_end() == 1
    assert_complaint(host, FAILING_LINE, word)
    flight.sim.write_line("status")
    flight.sim.wait_for_event("status")
    assert not [record for record in flight.sim.records if record["event"] == "client"]


def test_vehicle_that_is_not_ready_is_asked_again_and_left_on_the_ground(fly, tmp_path):
    flight = fly("tcp", "ardupilot", boot_delay=300, tapped=True)
    script = write_script(tmp_path, "# not yet", "wait-for autopilotStatus=2", "control", "arm 3", "takeoff")
    host = flight.start_host("--script", script)
    assert host.wait_for_end() == 5
    assert_complaint(host, 4, "did not arm")
    commands = [message.command for message in flight.tap.messages("COMMAND_LONG")]
    assert commands == [400, 400]
    assert not flight.tap.messages("SET_POSITION_TARGET_LOCAL_NED")
    assert not [record for record in flight.sim.records if record["event"] == "armed"]
