# SPDX-License-Identifier: MIT
"""Judges what a soak sampled: whether anything grew, and whether there was enough to tell.

Usage: verdict.py SAMPLES
Exit codes: 0 nothing grew, 1 something grew or was not sampled, 3 not judged: too short.
"""

import csv
import statistics
import sys
from collections.abc import Collection, Iterable
from dataclasses import dataclass
from enum import Enum
from pathlib import Path

from trend import slope

# Until then buffers and tables grow to their sizes: that of the incomplete payloads, and that of the pings
# without an answer, take a quarter of an hour and more.
WARM_UP_S = 1200
WARM_UP = 0.15  # of the time, if that is more
# What is left of a shorter time tells nothing.
SHORTEST_S = 3000
FEWEST = 40  # samples
# A day in the air at fifty times the traffic is well over a month of a real vehicle's, and a megabyte is a
# thousandth of what the smallest companion computers have.
LIMIT_KB_PER_DAY = 1024
DAY_S = 86400
HEAP_NOISE_KB = 32  # in use; what the allocator keeps is not in it
# The allocator of the hosts keeps up to 128 kB at the end of the heap, and holes: what is in use is judged
# by less. When its peer stalls, a simulator has 256 KiB at once on each line, of which much is kept, once; up
# to 5.7 MB were seen.
NOISE_KB = {"ground": 128, "host": 256, "sim": 6144}
# A leak may begin late, or be hidden by what shrinks before it.
PARTS = (0, 1 / 2, 3 / 4)  # where they begin, of what comes after the warm-up
RARE = 3  # times
MEMORY = ("rss_kb", "anonymous_kb")
HEAP = "heap_kb"
COUNTS = ("fds", "threads", "timers")
LEVELS = ("objects",)  # go up and down with what is being done
SAMPLED = (*MEMORY, "fds", "threads")
SAMPLED_OF_HOSTS = (*SAMPLED, HEAP, "timers", *LEVELS)
ROLES = ("sim", "host", "ground-ping", "ground-watch")
PROGRAMS = tuple(f"{role}-{autopilot}" for autopilot in ("ardupilot", "px4") for role in ROLES)
FAILED = 1
NOT_JUDGED = 3


@dataclass(frozen=True)
class Series:
    program: str
    what: str
    times: list[float]
    values: list[float]


class Result(Enum):
    GOOD = ""
    GROWS = "GROWS "
    MISSING = "MISSING "
    SHORT = "too short "


@dataclass(frozen=True)
class Finding:
    program: str
    what: str
    text: str
    result: Result


@dataclass(frozen=True)
class Outcome:
    text: str
    code: int


def is_host(program: str) -> bool:
    return program.startswith("host")


def noise_kb(series: Series) -> float:
    """What comes and goes by itself, or comes once: no growth, whatever it would come to in a day."""
    return HEAP_NOISE_KB if series.what == HEAP else NOISE_KB[series.program.split("-")[0]]


def read_series(samples: Path) -> dict[tuple[str, str], Series]:
    columns: dict[tuple[str, str], Series] = {}
    with samples.open(newline="") as file:
        for row in csv.DictReader(file):
            for what in SAMPLED_OF_HOSTS:
                if row.get(what):
                    key = (row["program"], what)
                    series = columns.setdefault(key, Series(*key, [], []))
                    series.times.append(float(row["seconds"]))
                    series.values.append(float(row[what]))
    return columns


def duration_s(series: Series) -> float:
    return series.times[-1] - series.times[0]


def warm_up_s(duration: float) -> float:
    return max(WARM_UP_S, WARM_UP * duration)


def part(series: Series, first: int) -> Series:
    return Series(series.program, series.what, series.times[first:], series.values[first:])


def without_warm_up(series: Series) -> Series:
    begin = series.times[0] + warm_up_s(duration_s(series))
    return part(series, next(index for index, time in enumerate(series.times) if time >= begin))


def keeps_growing(series: Series) -> bool:
    """With 97.5 % confidence by more than the limit, and by more than noise."""
    surely = slope(series.times, series.values).lower
    return surely * DAY_S > LIMIT_KB_PER_DAY and surely * duration_s(series) > noise_kb(series)


def ends(values: list[float], share: int) -> tuple[list[float], list[float]]:
    size = len(values) // share
    return values[:size], values[-size:]


def judge_memory(series: Series) -> Finding:
    """No part may keep growing, and the whole may not gain more than limit and noise: a large step may be
    the only one, and may be the first of many."""
    judged = without_warm_up(series)
    first, last = map(statistics.median, ends(judged.values, 10))
    allowed = noise_kb(series) + LIMIT_KB_PER_DAY * duration_s(judged) / DAY_S
    growing = [begin for begin in PARTS if keeps_growing(part(judged, int(begin * len(judged.times))))]
    whole = slope(judged.times, judged.values)
    lower, middle, upper = (round(kb * DAY_S) for kb in (whole.lower, whole.middle, whole.upper))
    text = f"{first:.0f} to {last:.0f} kB, {allowed:.0f} more are allowed; "
    text += f"slope {middle:+} kB a day (95 %: {lower:+} to {upper:+})"
    text += "".join(f"; keeps growing from {begin:.0%} on" for begin in growing)
    return finding(series, text, bool(growing) or last - first > allowed)


def judge_count(series: Series) -> Finding:
    """By what is usual, and by the peaks: rare ones come by chance, and early or late."""
    values = without_warm_up(series).values
    before = max(ends(values, 2)[0])
    peak = sorted(ends(values, 4)[1])[-RARE]
    usual = judge_level(series)
    text = (
        f"{usual.text}; at most {before:.0f} in the first half, {peak:.0f} {RARE} times in the last quarter"
    )
    return finding(series, text, peak > before or usual.result is Result.GROWS)


def judge_level(series: Series) -> Finding:
    first, last = map(statistics.median, ends(without_warm_up(series).values, 4))
    text = f"usually {first:.0f} in the first quarter, {last:.0f} in the last"
    return finding(series, text, last > first)


def finding(series: Series, text: str, grows: bool) -> Finding:
    return Finding(series.program, series.what, text, Result.GROWS if grows else Result.GOOD)


def judge_series(series: Series) -> Finding:
    if duration_s(series) < SHORTEST_S or len(series.times) < FEWEST:
        text = f"to judge growth: {len(series.times)} samples in {duration_s(series):.0f} s"
        return Finding(series.program, series.what, text, Result.SHORT)
    if series.what in COUNTS:
        return judge_count(series)
    return judge_level(series) if series.what in LEVELS else judge_memory(series)


def judge(samples: Path, programs: Iterable[str] = PROGRAMS) -> list[Finding]:
    columns = read_series(samples)
    expected = [
        (name, what) for name in programs for what in (SAMPLED_OF_HOSTS if is_host(name) else SAMPLED)
    ]
    return [
        judge_series(columns[key]) if key in columns else Finding(*key, "was never sampled", Result.MISSING)
        for key in expected
    ]


def decide(
    findings: list[Finding],
    wrong: Collection[str] = (),
    interrupted: bool = False,
    asked_s: float = SHORTEST_S,
) -> Outcome:
    """A time that is too short is good enough if no more was asked for, as far as it goes."""
    results = {finding.result for finding in findings}
    if wrong or Result.GROWS in results:
        return Outcome("FAILED", FAILED)
    if interrupted:
        return Outcome("NOT JUDGED: interrupted", NOT_JUDGED)
    if Result.MISSING in results or not findings:
        return Outcome("FAILED", FAILED)
    if Result.SHORT not in results:
        return Outcome("PASSED", 0)
    if asked_s < SHORTEST_S:
        return Outcome("PASSED, growth not judged", 0)
    return Outcome("NOT JUDGED: too short, or sampled too seldom", NOT_JUDGED)


def lines(findings: list[Finding]) -> list[str]:
    return [f"{f.program:26} {f.what:13} {f.result.value}{f.text}" for f in findings]


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    findings = judge(Path(sys.argv[1]))
    outcome = decide(findings)
    print(*lines(findings), outcome.text, sep="\n")
    return outcome.code


if __name__ == "__main__":
    sys.exit(main())
