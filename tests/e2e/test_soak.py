# SPDX-License-Identifier: MIT
"""The soak: that its verdict sees what grows and passes what does not, and that a short one goes through."""

import csv
import json
import os
import random
import signal
import subprocess
import sys
import time
from pathlib import Path

import pytest
from conftest import ROOT
from jsonprocess import TIMEOUT

SOAK = ROOT / "tests" / "soak"
sys.path.insert(0, str(SOAK))

import trend  # noqa: E402
import verdict  # noqa: E402
from verdict import LIMIT_KB_PER_DAY, Series  # noqa: E402

PERIOD_S = 10
TWO_HOURS = range(0, 7200, PERIOD_S)
PAGE_KB = 4
SEEDS = range(10)
SHORT_HOURS = 0.015


def memory(kb_per_day: float, seed: int, noise_kb: float = 20, step_at_s: float = 7200) -> Series:
    """In whole pages, with a warm-up of two megabytes, and one step of half of one."""
    generator = random.Random(seed)
    values = []
    for second in TWO_HOURS:
        warm_up = -2000 * 0.95 ** (second / PERIOD_S)
        step = 500 if second > step_at_s else 0
        kb = 20_000 + warm_up + step + kb_per_day * second / verdict.DAY_S + generator.gauss(0, noise_kb)
        values.append(PAGE_KB * round(kb / PAGE_KB))
    return Series("host", "rss_kb", list(TWO_HOURS), values)


def counts(level: int, last_quarter: int) -> Series:
    """With a peak of one more every minute."""
    values = [(level if second < 0.75 * 7200 else last_quarter) + (second % 60 == 0) for second in TWO_HOURS]
    return Series("host", "fds", list(TWO_HOURS), values)


@pytest.mark.parametrize("seed", SEEDS)
def test_memory_that_leaks_is_noticed(seed: int) -> None:
    assert verdict.judge_memory(memory(3 * LIMIT_KB_PER_DAY, seed)).bad


@pytest.mark.parametrize("seed", SEEDS)
def test_memory_that_is_flat_or_all_but_flat_passes(seed: int) -> None:
    assert not verdict.judge_memory(memory(0, seed)).bad
    assert not verdict.judge_memory(memory(LIMIT_KB_PER_DAY / 2, seed)).bad


@pytest.mark.parametrize("step_at_s", [500, 2000, 4000, 6000])
def test_memory_that_grows_once_passes(step_at_s: int) -> None:
    assert not verdict.judge_memory(memory(0, 1, step_at_s=step_at_s)).bad


def test_memory_that_is_lost_at_every_fault_is_noticed() -> None:
    """A page for every third minute: 80 kB an hour and more, in steps."""
    flat = memory(0, 1)
    values = [kb + 2 * PAGE_KB * (second // 180) for kb, second in zip(flat.values, flat.times, strict=True)]
    assert verdict.judge_memory(Series("host", "rss_kb", flat.times, values)).bad


def test_counts_may_peak_but_not_rise() -> None:
    assert not verdict.judge_count(counts(9, 9)).bad
    assert not verdict.judge_count(counts(9, 8)).bad
    assert verdict.judge_count(counts(9, 10)).bad


def test_levels_rise_when_the_usual_one_does() -> None:
    assert not verdict.judge_level(counts(9, 9)).bad
    assert verdict.judge_level(counts(9, 10)).bad


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


def host_of(soak: subprocess.Popen) -> int | None:
    """Its process id, once the soak has taken samples."""
    children = Path(f"/proc/{soak.pid}/task/{soak.pid}/children").read_text().split()
    names = {pid: Path(f"/proc/{pid}/cmdline").read_bytes() for pid in children}
    return next((int(pid) for pid, name in names.items() if b"noflailsten-host" in name), None)


def test_a_program_that_dies_fails_the_soak(bin_dir: Path, tmp_path: Path) -> None:
    command = [sys.executable, SOAK / "soak.py", bin_dir, "1", tmp_path, "1"]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as soak:
        deadline = time.monotonic() + TIMEOUT
        samples = tmp_path / "samples.csv"
        while not (samples.exists() and "host" in samples.read_text()):
            assert soak.poll() is None and time.monotonic() < deadline
            time.sleep(0.1)
        os.kill(host_of(soak), signal.SIGKILL)
        output, _ = soak.communicate(timeout=TIMEOUT)
    assert soak.returncode == 1
    assert "WRONG: host-ardupilot has ended" in output and "FAILED" in output


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
    assert told["good"] and told["wrong"] == []
    assert all(rate > 500 for rate in told["signals a second"].values())
    with (tmp_path / "samples.csv").open(newline="") as file:
        rows = list(csv.DictReader(file))
    assert {row["program"].split("-")[0] for row in rows} == {"ground", "host", "sim"}
    assert all(int(row["timers"]) > 0 for row in rows if row["program"].startswith("host"))
    assert len((tmp_path / "faults.csv").read_text().splitlines()) > 5
    events = told["events"]
    assert events["ground-ping-ardupilot"]["pong"] > 500 and events["ground-watch-px4"]["payload"] > 50
    assert events["host-ardupilot"]["link-open"] > 1, "no fault has touched the link"
