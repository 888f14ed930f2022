# SPDX-License-Identifier: MIT
"""The soak: that its verdict sees what grows and passes what does not, and that a short one goes through."""

import contextlib
import csv
import json
import os
import random
import shlex
import signal
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from conftest import ROOT
from jsonprocess import TIMEOUT

SOAK = ROOT / "tests" / "soak"
sys.path.insert(0, str(SOAK))

import chain  # noqa: E402
import trend  # noqa: E402
import verdict  # noqa: E402
from verdict import DAY_S, LIMIT_KB_PER_DAY, Finding, Result, Series  # noqa: E402

PERIOD_S = 10
TWO_HOURS = range(0, 7200, PERIOD_S)
PAGE_KB = 4
SEEDS = range(10)
SHORT_HOURS = 0.015
END_S = 120  # a soak lets its programs end one after the other
AFTER_WARM_UP_S = [2000, 4000, 6000]

Growth = Callable[[float], float]  # kB after so many seconds


def memory(growth: Growth, seed: int = 1, program: str = "ground-ping-px4", what: str = "rss_kb") -> Series:
    """In whole pages, with noise that lasts for minutes and a warm-up of two megabytes."""
    generator = random.Random(seed)
    noise_kb = 5 if what == "heap_kb" else 20
    persistence = 0.9
    values, noise = [], 0.0
    for second in TWO_HOURS:
        noise = persistence * noise + (1 - persistence**2) ** 0.5 * generator.gauss(0, noise_kb)
        warm_up = -2000 * 0.95 ** (second / PERIOD_S)
        values.append(PAGE_KB * round((20_000 + warm_up + growth(second) + noise) / PAGE_KB))
    return Series(program, what, list(TWO_HOURS), values)


def a_day(kb: float) -> Growth:
    return lambda second: kb * second / DAY_S


def from_then_on(begin_s: float, kb_per_s: float) -> Growth:
    return lambda second: kb_per_s * max(0, second - begin_s)


def one_step(at_s: float, kb: float) -> Growth:
    return lambda second: kb if second >= at_s else 0


def steps(period_s: float, kb: float, offset_s: float = 0) -> Growth:
    return lambda second: kb * ((second + offset_s) // period_s)


def settling_then_leaking(second: float) -> float:
    return 3000 * max(0, 1 - second / 4000) + from_then_on(4000, 13_000 / DAY_S)(second)


LEAKS = {
    "slow": a_day(3 * LIMIT_KB_PER_DAY),
    "two pages at every third minute": steps(180, 2 * PAGE_KB),
    "in the last quarter": from_then_on(0.75 * 7200, 10),
    "in the last fifth": from_then_on(0.8 * 7200, 10),
    "after what settles slowly": settling_then_leaking,
    "every hour": steps(3600, 250),
    "every hour, half an hour later": steps(3600, 250, 1800),
    "every 50 minutes": steps(3000, 500),
    "every 40 minutes": steps(2400, 500),
    "every 30 minutes": steps(1800, 500),
}


def counts(level: int, last_quarter: int) -> Series:
    """With a peak of one more every minute."""
    values = [(level if second < 0.75 * 7200 else last_quarter) + (second % 60 == 0) for second in TWO_HOURS]
    return Series("host-px4", "fds", list(TWO_HOURS), values)


def count(value: Callable[[int], int]) -> Series:
    return Series("host-px4", "fds", list(TWO_HOURS), [value(second) for second in TWO_HOURS])


def grows(finding: Finding) -> bool:
    return finding.result is Result.GROWS


@pytest.mark.parametrize("what", ["rss_kb", "heap_kb"])
@pytest.mark.parametrize("leak", LEAKS)
def test_memory_that_leaks_is_noticed(leak: str, what: str) -> None:
    assert all(grows(verdict.judge_memory(memory(LEAKS[leak], seed, what=what))) for seed in SEEDS)


@pytest.mark.parametrize("what", ["rss_kb", "heap_kb"])
@pytest.mark.parametrize("kb_per_day", [0, LIMIT_KB_PER_DAY / 2])
def test_memory_that_is_flat_or_all_but_flat_passes(kb_per_day: float, what: str) -> None:
    flat = [memory(a_day(kb_per_day), seed, what=what) for seed in SEEDS]
    assert not any(grows(verdict.judge_memory(series)) for series in flat)


@pytest.mark.parametrize("at_s", AFTER_WARM_UP_S)
def test_a_small_step_passes_and_a_large_one_does_not(at_s: int) -> None:
    """It may be the first of many; what a program needs once it is to need while it warms up."""
    assert not grows(verdict.judge_memory(memory(one_step(at_s, 100))))
    assert grows(verdict.judge_memory(memory(one_step(at_s, 500))))
    assert not grows(verdict.judge_memory(memory(one_step(500, 5000))))


@pytest.mark.parametrize("at_s", AFTER_WARM_UP_S)
def test_heap_in_use_is_judged_by_less(at_s: int) -> None:
    """A host's: its allocator may keep more than that."""
    assert not grows(verdict.judge_memory(memory(one_step(at_s, 250), program="host-px4")))
    assert grows(verdict.judge_memory(memory(one_step(at_s, 500), program="host-px4")))
    assert not grows(verdict.judge_memory(memory(one_step(at_s, 50), what="heap_kb")))
    assert grows(verdict.judge_memory(memory(one_step(at_s, 150), what="heap_kb")))


@pytest.mark.parametrize("at_s", AFTER_WARM_UP_S)
def test_a_simulator_may_keep_what_a_stall_took(at_s: int) -> None:
    assert not grows(verdict.judge_memory(memory(one_step(at_s, 5000), program="sim-px4")))
    assert grows(verdict.judge_memory(memory(one_step(at_s, 8000), program="sim-px4")))


def test_counts_may_peak_but_not_rise() -> None:
    assert not grows(verdict.judge_count(counts(9, 9)))
    assert not grows(verdict.judge_count(counts(9, 8)))
    assert grows(verdict.judge_count(counts(9, 10)))


def test_an_early_peak_hides_no_leak() -> None:
    leaking = count(lambda second: 9 + second // 1980 + 4 * (second == 1500))
    assert grows(verdict.judge_count(leaking))


def test_a_rare_peak_is_no_leak_but_higher_peaks_are() -> None:
    assert not grows(verdict.judge_count(count(lambda second: 9 + 3 * (second == 6500))))
    assert grows(verdict.judge_count(count(lambda second: 9 + (second > 5000 and second % 60 == 0))))


def test_levels_rise_when_the_usual_one_does() -> None:
    assert not grows(verdict.judge_level(counts(9, 9)))
    assert grows(verdict.judge_level(counts(9, 10)))


def healthy() -> dict[tuple[str, str], Series]:
    def series(program: str, what: str) -> Series:
        if what.endswith("_kb"):
            return memory(a_day(0), program=program, what=what)
        return Series(program, what, list(TWO_HOURS), [9] * len(TWO_HOURS))

    return {
        (program, what): series(program, what)
        for program in verdict.PROGRAMS
        for what in (verdict.SAMPLED_OF_HOSTS if verdict.is_host(program) else verdict.SAMPLED)
    }


def verdict_on(columns: dict[tuple[str, str], Series], folder: Path) -> tuple[int, str]:
    """The exit code and the last line of the program, for samples in which each value has its own row."""
    samples = folder / "samples.csv"
    with samples.open("w", newline="") as file:
        writer = csv.DictWriter(file, ["seconds", "program", *verdict.SAMPLED_OF_HOSTS], restval="")
        writer.writeheader()
        for (program, what), series in columns.items():
            for second, value in zip(series.times, series.values, strict=True):
                writer.writerow({"seconds": second, "program": program, what: value})
    command = [sys.executable, SOAK / "verdict.py", samples]
    result = subprocess.run(command, capture_output=True, text=True, timeout=TIMEOUT)
    return result.returncode, result.stdout.splitlines()[-1]


def test_a_soak_in_which_nothing_grows_passes(tmp_path: Path) -> None:
    assert verdict_on(healthy(), tmp_path) == (0, "PASSED")


def test_one_series_that_grows_fails_the_soak_even_if_another_is_short(tmp_path: Path) -> None:
    columns = healthy()
    columns["host-px4", "heap_kb"] = memory(LEAKS["slow"], what="heap_kb")
    fds = columns["sim-px4", "fds"]
    columns["sim-px4", "fds"] = Series("sim-px4", "fds", fds.times[:60], fds.values[:60])
    assert verdict_on(columns, tmp_path) == (1, "FAILED")


def test_one_series_that_is_too_short_is_no_pass(tmp_path: Path) -> None:
    columns = healthy()
    fds = columns["sim-px4", "fds"]
    columns["sim-px4", "fds"] = Series("sim-px4", "fds", fds.times[:60], fds.values[:60])
    assert verdict_on(columns, tmp_path)[0] == verdict.NOT_JUDGED


@pytest.mark.parametrize("missing", [("host-px4", "heap_kb"), ("sim-px4", "fds")])
def test_a_series_that_is_missing_fails_the_soak(missing: tuple[str, str], tmp_path: Path) -> None:
    columns = healthy()
    del columns[missing]
    assert verdict_on(columns, tmp_path) == (1, "FAILED")


def test_no_samples_at_all_fail_the_soak(tmp_path: Path) -> None:
    assert verdict_on({}, tmp_path) == (1, "FAILED")


@pytest.mark.parametrize(
    ("result", "wrong", "interrupted", "asked_s", "code"),
    [
        (Result.GOOD, [], False, 7200, 0),
        (Result.GOOD, ["a program has ended"], False, 7200, 1),
        (Result.GOOD, ["a program has ended"], True, 7200, 1),
        (Result.GROWS, [], True, 7200, 1),
        (Result.GOOD, [], True, 7200, 3),
        (Result.SHORT, [], True, 60, 3),
        (Result.SHORT, [], False, 7200, 3),
        (Result.SHORT, [], False, 60, 0),
        (Result.MISSING, [], False, 60, 1),
    ],
)
def test_what_was_not_judged_is_no_pass(
    result: Result, wrong: list[str], interrupted: bool, asked_s: float, code: int
) -> None:
    findings = [Finding("host-px4", "fds", "", Result.GOOD), Finding("sim-px4", "fds", "", result)]
    outcome = verdict.decide(findings, wrong, interrupted, asked_s)
    assert outcome.code == code
    assert outcome.text.startswith({0: "PASSED", 1: "FAILED", 3: "NOT JUDGED"}[code])


def test_slope_of_a_line_is_its_own() -> None:
    times = list(TWO_HOURS)
    slope = trend.slope(times, [3 * second + 7 for second in times])
    assert slope.lower == pytest.approx(3) and slope.middle == pytest.approx(3)
    assert slope.upper == pytest.approx(3)


def test_slope_does_not_follow_outliers() -> None:
    generator = random.Random(1)
    values = [generator.gauss(1000, 1) + 50_000 * (generator.random() < 0.05) for _ in TWO_HOURS]
    slope = trend.slope(list(TWO_HOURS), values)
    assert slope.lower < 0 < slope.upper
    assert abs(slope.middle) * 7200 < 2


def write_ground_station(folder: Path, what_sends_do: str, bin_dir: Path) -> Path:
    """Binaries, of which the ground station does that when it is to send."""
    folder.mkdir()
    for name in ("noflailsten-host", "noflailsten-sim"):
        (folder / name).symlink_to(bin_dir / name)
    script = folder / "noflailsten-ground"
    real = shlex.quote(str(bin_dir / script.name))
    script.write_text(f'#!/bin/sh\ncase "$*" in *" send "*) {what_sends_do} ;; esac\nexec {real} "$@"\n')
    script.chmod(0o755)
    return folder


@pytest.fixture
def hanging(bin_dir: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> chain.Chain:
    """With a ground station that does not end."""
    monkeypatch.setattr(chain, "START_S", 0.1)
    binaries = write_ground_station(tmp_path / "bin", "exec sleep 1000", bin_dir)
    made = chain.Chain("px4", 1, 1, binaries, tmp_path, ROOT / "tools" / "standins")
    made.ground_address = ["tcp", "127.0.0.1", "1"]
    made.send_from_ground(1)
    return made


def test_a_ground_station_that_does_not_end_is_told_of(hanging: chain.Chain) -> None:
    hanging.end_oneshots()
    assert hanging.oneshot_codes == {-signal.SIGKILL: 1}


def test_no_ground_station_outlives_a_chain(hanging: chain.Chain) -> None:
    station = hanging.oneshots[0]
    hanging.kill()
    assert station.returncode == -signal.SIGKILL


@contextlib.contextmanager
def start_soak(bin_dir: Path, folder: Path, hours: float = 1) -> Iterator[subprocess.Popen]:
    """In a process group of its own. Not left running, and so neither its programs."""
    command = [sys.executable, SOAK / "soak.py", bin_dir, str(hours), folder, "1"]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, process_group=0) as soak:
        try:
            yield soak
        finally:
            soak.terminate()
            try:
                soak.wait(END_S)
            except subprocess.TimeoutExpired:
                soak.kill()


def wait_until(condition: Callable[[], bool], soak: subprocess.Popen) -> None:
    deadline = time.monotonic() + END_S
    while not condition():
        assert soak.poll() is None and time.monotonic() < deadline
        time.sleep(0.1)


def wait_for_samples(soak: subprocess.Popen, folder: Path) -> None:
    samples = folder / "samples.csv"
    wait_until(lambda: samples.exists() and "host" in samples.read_text(), soak)


def child_of(soak: subprocess.Popen, name: str) -> int | None:
    """The process id of its first child of that name."""
    children = Path(f"/proc/{soak.pid}/task/{soak.pid}/children").read_text().split()
    commands = {pid: Path(f"/proc/{pid}/cmdline").read_bytes() for pid in children}
    return next((int(pid) for pid, command in commands.items() if name.encode() in command), None)


@pytest.mark.alone
def test_a_program_that_dies_fails_the_soak(bin_dir: Path, tmp_path: Path) -> None:
    with start_soak(bin_dir, tmp_path) as soak:
        wait_for_samples(soak, tmp_path)
        os.kill(child_of(soak, "noflailsten-host"), signal.SIGKILL)
        output, _ = soak.communicate(timeout=END_S)
    assert soak.returncode == 1
    assert "WRONG: host-ardupilot has ended" in output and "FAILED" in output


@pytest.mark.alone
def test_a_host_that_tells_nothing_of_its_resources_fails_the_soak(bin_dir: Path, tmp_path: Path) -> None:
    with start_soak(bin_dir, tmp_path) as soak:
        wait_for_samples(soak, tmp_path)
        host, ping = child_of(soak, "noflailsten-host"), child_of(soak, "ping")
        os.kill(host, signal.SIGSTOP)
        wait_until(lambda: child_of(soak, "ping") != ping, soak)  # the soak has begun to end
        os.kill(host, signal.SIGCONT)
        output, _ = soak.communicate(timeout=END_S)
    assert soak.returncode == 1
    assert "WRONG: host-ardupilot has not told its resources" in output


@pytest.mark.alone
@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_a_soak_that_is_interrupted_is_not_judged(
    number: signal.Signals, bin_dir: Path, tmp_path: Path
) -> None:
    """As from a terminal: everything in its process group gets the signal."""
    with start_soak(bin_dir, tmp_path, SHORT_HOURS) as soak:
        wait_for_samples(soak, tmp_path)
        os.killpg(soak.pid, number)
        output, _ = soak.communicate(timeout=END_S)
    assert soak.returncode == verdict.NOT_JUDGED, output
    assert output.splitlines()[-1] == "NOT JUDGED: interrupted"
    assert not json.loads((tmp_path / "result.json").read_text())["good"]


@pytest.mark.alone
def test_ground_stations_that_crash_fail_the_soak(bin_dir: Path, tmp_path: Path) -> None:
    crashing = write_ground_station(tmp_path / "bin", "kill -SEGV $$", bin_dir)
    with start_soak(crashing, tmp_path, 0.003) as soak:
        output, _ = soak.communicate(timeout=END_S)
    assert soak.returncode == 1
    assert f"WRONG: ground-send-px4 ended with {-signal.SIGSEGV}, " in output


@pytest.mark.alone
def test_a_minute_goes_through(bin_dir: Path, tmp_path: Path) -> None:
    result = subprocess.run(
        [sys.executable, SOAK / "soak.py", bin_dir, str(SHORT_HOURS), tmp_path, "5"],
        capture_output=True,
        text=True,
        timeout=300,
    )
    assert result.returncode == 0, result.stdout + result.stderr
    told = json.loads((tmp_path / "result.json").read_text())
    assert told["good"] and told["wrong"] == [] and told["outcome"] == "PASSED, growth not judged"
    sends = told["ends of ground stations that come and go"]
    assert all(set(codes) == {"0"} for codes in sends.values()) and len(sends) == 2
    assert all(rate > 500 for rate in told["signals a second"].values())
    with (tmp_path / "samples.csv").open(newline="") as file:
        rows = list(csv.DictReader(file))
    assert {row["program"].split("-")[0] for row in rows} == {"ground", "host", "sim"}
    assert all(int(row["timers"]) > 0 for row in rows if row["program"].startswith("host"))
    assert len((tmp_path / "faults.csv").read_text().splitlines()) > 5
    events = told["events"]
    assert events["ground-ping-ardupilot"]["pong"] > 500 and events["ground-watch-px4"]["payload"] > 50
    assert events["host-ardupilot"]["link-open"] > 1, "no fault has touched the link"
