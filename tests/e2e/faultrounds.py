# SPDX-License-Identifier: MIT
"""How long the tests of faults go on, and what they measure of a process meanwhile."""

import os
import statistics
from datetime import datetime
from pathlib import Path

# Seconds beyond what the host itself may take, for a machine that is busy with other things.
SLACK = 0.5
ROUNDS = os.environ.get("NOFLAILSTEN_FAULT_ROUNDS")


def rounds(short: int) -> int:
    """NOFLAILSTEN_FAULT_ROUNDS=1000 makes the full form; without it there are a few."""
    return int(ROUNDS or short)


def is_full() -> bool:
    return ROUNDS is not None


def cpu_seconds(pid: int) -> float:
    fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def resident_kb(pid: int) -> int:
    status = Path(f"/proc/{pid}/status").read_text()
    return int(status.split("VmRSS:")[1].split()[0])


def open_files(pid: int) -> int:
    return len(list(Path(f"/proc/{pid}/fd").iterdir()))


def time_of(record: dict) -> float:
    """When a host has printed it, by the clock on the wall."""
    return datetime.fromisoformat(record["time"]).timestamp()


def say(what: str, seconds: list[float]) -> None:
    """For docs/reliability.md; shown with -s."""
    median, longest = statistics.median(seconds), max(seconds)
    print(f"\n{what}: {len(seconds)} times, p50 {median:.3f} s, max {longest:.3f} s")
