# SPDX-License-Identifier: MIT
"""Recordings of real autopilots, played to the host: what it publishes, value by value, against what
pymavlink decodes from the same bytes."""

from dataclasses import dataclass
from pathlib import Path

import pytest
import recording_figures
from conftest import DATA
from frameparser import parse_messages
from jsonprocess import JsonProcess
from links import SERIAL_BAUD_RATE
from telemetryrules import READINGS, TelemetryRules, message_driven

RECORDINGS = sorted([*DATA.glob("*.tlog"), *DATA.glob("*.raw")])
SPEED = 500
MIN_ALTITUDE_M, MAX_ALTITUDE_M = 1.5, 12.3


@dataclass
class SimulatorLink:
    settings: dict


@pytest.fixture
def play(bin_dir, environment):
    started = []

    def start(recording: Path, address: str) -> JsonProcess:
        command = [
            bin_dir / "noflailsten-sim",
            "--replay",
            recording,
            "--link",
            address,
            "--speed",
            SPEED,
            "--json",
        ]
        started.append(JsonProcess(command, environment))
        return started[-1]

    yield start
    for simulator in started:
        simulator.ask_to_end()
        assert simulator.wait_for_end() == 0, simulator.story("It did not end well.")


@pytest.fixture(params=["tcp", "serial"])
def address(request, tmp_path) -> str:
    return "tcp:127.0.0.1:0" if request.param == "tcp" else f"pty:{tmp_path / 'autopilot-port'}"


def settings_for(address: str) -> dict:
    kind, place = address.split(":", 1)
    if kind == "tcp":
        name, port = place.rsplit(":", 1)
        return {"MAV/CONNECTION_TYPE": "TCP", "MAV/SERIAL_DEVICE": name, "MAV/BAUD_RATE": port}
    return {"MAV/CONNECTION_TYPE": "UART", "MAV/SERIAL_DEVICE": place, "MAV/BAUD_RATE": SERIAL_BAUD_RATE}


def rules_for(recording: Path) -> TelemetryRules:
    rules = TelemetryRules(MIN_ALTITUDE_M, MAX_ALTITUDE_M, wifi_off_in_air=True)
    for message in parse_messages(recording_figures.recorded_bytes(recording)):
        rules.take(message)
    return rules


def wait_for_published(host: JsonProcess, expected: list) -> None:
    signals = {signal for signal, _ in expected}
    for _ in expected:
        host.wait_for_record(lambda record: record.get("signal") in signals)


@pytest.mark.parametrize("recording", RECORDINGS, ids=lambda path: path.stem)
def test_the_host_publishes_what_pymavlink_decodes(hosts, play, standin_calls, recording, address):
    rules = rules_for(recording)
    simulator = play(recording, address)
    listening = simulator.wait_for_event("listening")["address"]
    host = hosts.start(
        SimulatorLink(settings_for(listening)),
        ALTIMETER__MIN_ALTITUDE_M=MIN_ALTITUDE_M,
        ALTIMETER__MAX_ALTITUDE_M=MAX_ALTITUDE_M,
        APP__DISABLE_WIFI_IN_AIR="true",
    )
    assert simulator.wait_for_end() == 0
    wait_for_published(host, rules.published)
    host.ask_to_end()
    assert host.wait_for_end() == 0

    published = message_driven(host.records)
    for position, (ours, expected) in enumerate(zip(published, rules.published, strict=False)):
        assert ours == expected, f"number {position}"
    assert len(published) == len(rules.published)
    assert standin_calls() == rules.commands
    assert_times_rise(host)


def assert_times_rise(host: JsonProcess) -> None:
    altitudes, altimeter = ([reading["time"] for reading in host.values(signal)] for signal in READINGS)
    assert altitudes == sorted(altitudes)
    assert len(set(altimeter)) == 1
    assert altimeter[0] <= altitudes[0]


def test_the_recordings_hold_what_they_are_there_for():
    """Or the comparison above would compare too little."""
    published = {path.stem: rules_for(path).published for path in RECORDINGS}
    flags = {name: [v for s, v in entries if s == "daqEnabled"] for name, entries in published.items()}
    assert flags == {
        "arducopter-flight": [True, False],
        "arducopter-idle": [],
        "arducopter-mavlink1": [],
        "arducopter-serial-reboot": [],
        "px4-boot-57600": [],
        "px4-flight": [True, False],
    }
    for name, entries in published.items():
        signals = {signal for signal, _ in entries}
        assert {
            "roll",
            "gpsCoordinate",
            "velocity",
            "altitude",
            "vehicleLocalPos",
            "rawAltimeterValue",
        } <= signals
        assert "timeIsSet" in signals, name
    for name in "arducopter-flight", "px4-flight":
        statuses = {value["status"] for signal, value in published[name] if signal == "altitude"}
        assert statuses == {0, 1, 2}
