# SPDX-License-Identifier: MIT
"""What a process holds, from /proc."""

import os
from dataclasses import dataclass
from pathlib import Path

TICKS = os.sysconf("SC_CLK_TCK")


@dataclass(frozen=True)
class Memory:
    rss_kb: int
    pss_kb: int
    anonymous_kb: int  # heap and stacks: what the system does not take and give back by itself


def memory(pid: int) -> Memory:
    lines = Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()[1:]
    values = {name: int(rest.split()[0]) for name, rest in (line.split(":") for line in lines)}
    return Memory(values["Rss"], values["Pss"], values["Anonymous"])


def descriptors(pid: int) -> int:
    return len(os.listdir(f"/proc/{pid}/fd"))  # noqa: PTH208: no need to make paths of them


def stat_fields(pid: int) -> list[str]:
    return Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()


def cpu_seconds(pid: int) -> float:
    fields = stat_fields(pid)
    return (int(fields[11]) + int(fields[12])) / TICKS


def threads(pid: int) -> int:
    return int(stat_fields(pid)[17])
