# SPDX-License-Identifier: MIT
"""Hosts that are killed at any moment while they write settings. NOFLAILSTEN_FAULT_ROUNDS=1000 is the full
form."""

import configparser
import random
import signal
import time
from pathlib import Path

import pytest
from conftest import binaries, program_environment, write_config
from faultrounds import rounds, say
from jsonprocess import JsonProcess
from links import SerialLink

KILLS = [signal.SIGTERM, signal.SIGINT, signal.SIGKILL]
END_TIMEOUT = 20
STARTS = 4  # as long as so many starts take is the longest life
SETTING = "APP/POSITION_LOG_PERIOD_MS"
UPDATED = f"Updated: {SETTING}="
PADDING = {f"PAYLOADS/KEPT_{number}": "x" * 60 for number in range(200)}  # several pages


def settings_in(path: Path) -> dict[str, str]:
    parser = configparser.RawConfigParser(strict=True)
    parser.optionxform = str
    parser.read_string(path.read_text())
    return {f"{group}/{name}": value for group in parser.sections() for name, value in parser[group].items()}


class WritingHost:
    """Is asked to write a setting again and again until it is no more."""

    def __init__(self, config: Path, environment: dict):
        command = [binaries() / "noflailsten-host", "--config", config, "--json", "--script", "-"]
        self.host = JsonProcess(command, environment)
        self.asked = None  # for the last one

    def write_until(self, moment: float, numbers) -> None:
        while (left := moment - time.monotonic()) > 0:
            self.write(next(numbers), left)

    def write(self, number: int, timeout: float) -> None:
        """Waits until it is written, or for so long."""
        self.asked = number
        self.host.write_line(f"set {SETTING.replace('/', ' ')} {number}")
        self.host.log.wait_for(lambda line: line.startswith(UPDATED), timeout)

    def kill(self, how: signal.Signals) -> int:
        self.host.process.send_signal(how)
        return self.host.wait_for_end(END_TIMEOUT)

    def written(self) -> list[str]:
        lines = [line for line in self.host.log_lines if line.startswith(UPDATED)]
        return [line.removeprefix(UPDATED) for line in lines]


@pytest.fixture(autouse=True)
def default_interrupt():
    """A shell that starts the tests in the background has them ignore it, and they would hand that on."""
    before = signal.signal(signal.SIGINT, signal.default_int_handler)
    yield
    signal.signal(signal.SIGINT, before)


@pytest.fixture
def config(tmp_path: Path):
    link = SerialLink(tmp_path)
    yield write_config(tmp_path / "host.ini", {**link.settings, SETTING: 0, **PADDING})
    link.close()


def seconds_to_first_write(config: Path, environment: dict) -> float:
    begin = time.monotonic()
    writing = WritingHost(config, environment)
    writing.write(0, END_TIMEOUT)
    passed = time.monotonic() - begin
    assert writing.kill(signal.SIGTERM) == 0
    return passed


def test_settings_are_whole_whenever_the_host_is_killed(config, tmp_path):
    generator = random.Random(7)
    environment = program_environment(tmp_path)
    longest = STARTS * seconds_to_first_write(config, environment)
    before = settings_in(config)
    numbers = iter(range(1, 10**9))
    seconds = []
    writes = 0
    for number in range(rounds(60)):
        how = KILLS[number % len(KILLS)]
        begin = time.monotonic()
        writing = WritingHost(config, environment)
        writing.write_until(begin + generator.uniform(0, longest), numbers)
        code = writing.kill(how)
        seconds.append(time.monotonic() - begin)
        assert code in (0, -how), writing.host.story(f"Killed by {how.name} it ended with {code}.")
        after = settings_in(config)
        written = writing.written()
        writes += len(written)
        # The last one may have got into the file, and not into the log.
        newest = int(written[-1]) if written else int(before[SETTING])
        assert int(after[SETTING]) in (newest, writing.asked)
        assert {**after, SETTING: ""} == {**before, **after, SETTING: ""}, "a setting is missing"
        assert all(after[key] == value for key, value in before.items() if key != SETTING)
        before = after
    say("a host's life, start and end", seconds)
    print(f"{writes} settings written in {len(seconds)} lives")
    assert writes > len(seconds) / 4
    assert_next_start_works(config, environment, before)


def assert_next_start_works(config: Path, environment: dict, before: dict[str, str]) -> None:
    last = WritingHost(config, environment)
    last.write(4711, END_TIMEOUT)
    assert last.kill(signal.SIGTERM) == 0
    assert settings_in(config) == {**before, SETTING: "4711"}
    litter = [path.name for path in config.parent.iterdir() if path.name.startswith(config.name)]
    assert len(litter) < 50, litter


def test_lock_that_a_killed_host_has_left_empty_delays_nothing(hosts, tmp_path):
    """Qt would wait half a minute for its owner."""
    link = SerialLink(tmp_path)
    (tmp_path / "host0.ini.lock").touch()
    begin = time.monotonic()
    host = hosts.start(link, "--set", "MAV/SYSTEM_ID=7")
    host.wait_for_event("started", 60)
    assert time.monotonic() - begin < 15
    hosts.end()
    link.close()
