# SPDX-License-Identifier: MIT
"""Judges what was sampled: whether anything grew."""

import csv
import statistics
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

from trend import Slope, slope

WARM_UP = 0.15  # of the time; buffers and tables grow to their sizes then
# A day in the air at fifty times the traffic is well over a month of a real vehicle's, and a megabyte is a
# thousandth of what the smallest companion computers have.
LIMIT_KB_PER_DAY = 1024
# Less than this in the whole time is the allocator's noise, whatever it would come to in a day.
NOISE_KB = 64
# What buffers and tables do in a shorter time tells nothing.
SHORTEST_S = 1200
DAY_S = 86400
MEMORY = ("rss_kb", "anonymous_kb", "heap_kb")
COUNTS = ("fds", "threads", "timers")  # their peaks
LEVELS = ("objects",)  # go up and down with what is being done


@dataclass(frozen=True)
class Series:
    program: str
    what: str
    times: list[float]
    values: list[float]


@dataclass(frozen=True)
class Finding:
    program: str
    what: str
    text: str
    bad: bool


def read_series(samples: Path) -> list[Series]:
    columns: dict[tuple[str, str], Series] = {}
    with samples.open(newline="") as file:
        for row in csv.DictReader(file):
            for what in (*MEMORY, *COUNTS, *LEVELS):
                if row[what]:
                    key = (row["program"], what)
                    series = columns.setdefault(key, Series(*key, [], []))
                    series.times.append(float(row["seconds"]))
                    series.values.append(float(row[what]))
    return list(columns.values())


def without_warm_up(series: Series) -> Series:
    begin = series.times[0] + WARM_UP * (series.times[-1] - series.times[0])
    first = next(index for index, time in enumerate(series.times) if time >= begin)
    return Series(series.program, series.what, series.times[first:], series.values[first:])


def kb_per_day(slope: Slope) -> tuple[float, float, float]:
    return slope.lower * DAY_S, slope.middle * DAY_S, slope.upper * DAY_S


def grows(times: list[float], values: list[float]) -> bool:
    """With 97.5 % confidence by more than the limit, and by more than noise."""
    surely = slope(times, values).lower
    return surely * DAY_S > LIMIT_KB_PER_DAY and surely * (times[-1] - times[0]) > NOISE_KB


def judge_memory(series: Series) -> Finding:
    """A leak goes on: what grows before the half and no more after it is none."""
    judged = without_warm_up(series)
    half = len(judged.times) // 2
    bad = grows(judged.times, judged.values) and (
        slope(judged.times[half:], judged.values[half:]).lower * DAY_S > LIMIT_KB_PER_DAY
    )
    lower, middle, upper = kb_per_day(slope(judged.times, judged.values))
    text = (
        f"{judged.values[0]:.0f} to {judged.values[-1]:.0f} kB, slope {middle:+.0f} kB a day "
        f"(95 %: {lower:+.0f} to {upper:+.0f})"
    )
    return Finding(series.program, series.what, text, bad)


def quarters(series: Series) -> tuple[list[float], list[float]]:
    judged = without_warm_up(series).values
    quarter = max(1, len(judged) // 4)
    return judged[:quarter], judged[-quarter:]


def judge_count(series: Series) -> Finding:
    first, last = map(max, quarters(series))
    text = f"at most {first:.0f} in the first quarter, {last:.0f} in the last"
    return Finding(series.program, series.what, text, last > first)


def judge_level(series: Series) -> Finding:
    first, last = map(statistics.median, quarters(series))
    text = f"usually {first:.0f} in the first quarter, {last:.0f} in the last"
    return Finding(series.program, series.what, text, last > first)


def judge(samples: Path) -> Iterator[Finding]:
    for series in read_series(samples):
        if series.what in MEMORY:
            yield judge_memory(series)
        else:
            yield judge_count(series) if series.what in COUNTS else judge_level(series)


def is_long_enough(samples: Path) -> bool:
    return all(series.times[-1] - series.times[0] >= SHORTEST_S for series in read_series(samples))
