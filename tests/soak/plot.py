# SPDX-License-Identifier: MIT
"""Plots what a soak sampled: memory, file descriptors and timers over the hours, and when there was trouble.

Usage: plot.py FOLDER PICTURE
"""

import csv
import sys
from collections import defaultdict
from pathlib import Path

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402
from verdict import warm_up_s  # noqa: E402

PANELS = (
    ("rss_kb", "resident memory, MB", 1 / 1024),
    ("heap_kb", "heap in use, kB", 1),
    ("fds", "file descriptors", 1),
    ("timers", "timers", 1),
)
HOUR_S = 3600


def read(folder: Path, name: str) -> list[dict[str, str]]:
    with (folder / name).open(newline="") as file:
        return list(csv.DictReader(file))


def curves(samples: list[dict[str, str]], column: str, scale: float) -> dict[str, tuple[list, list]]:
    found: dict[str, tuple[list, list]] = defaultdict(lambda: ([], []))
    for row in samples:
        if row.get(column):
            times, values = found[row["program"]]
            times.append(float(row["seconds"]) / HOUR_S)
            values.append(float(row[column]) * scale)
    return found


def draw_trouble(axes, faults: list[dict[str, str]]) -> None:
    kinds = sorted({row["fault"] for row in faults})
    for number, kind in enumerate(kinds):
        times = [float(row["seconds"]) / HOUR_S for row in faults if row["fault"] == kind]
        axes.plot(times, [number] * len(times), "|", color="tab:red", markersize=6)
    axes.set_yticks(range(len(kinds)), [kind.replace("_", " ") for kind in kinds], fontsize=7)
    axes.set_ylabel("trouble")
    axes.set_xlabel("hours")


def main() -> int:
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    folder = Path(sys.argv[1])
    samples, faults = read(folder, "samples.csv"), read(folder, "faults.csv")
    plt.rcParams["svg.hashsalt"] = "soak"  # the same samples, the same file
    figure, axes = plt.subplots(
        len(PANELS) + 1,
        1,
        sharex=True,
        figsize=(10, 13),
        layout="constrained",
        height_ratios=(4, 2, 2, 1.5, 2.5),
    )
    colors = {
        program: f"C{number}" for number, program in enumerate(sorted({row["program"] for row in samples}))
    }
    for panel, (column, label, scale) in zip(axes, PANELS, strict=False):
        for program, (times, values) in sorted(curves(samples, column, scale).items()):
            panel.plot(times, values, linewidth=1, label=program, color=colors[program])
        panel.set_ylabel(label)
        panel.set_ylim(bottom=0)
        panel.axvspan(0, warm_up_s(panel.dataLim.x1 * HOUR_S) / HOUR_S, color="0.93", zorder=0)
        panel.grid(color="0.9")
    axes[0].legend(fontsize=7, ncols=4, loc="upper center", bbox_to_anchor=(0.5, 1.18))
    draw_trouble(axes[-1], faults)
    figure.savefig(sys.argv[2], metadata={"Date": None})
    return 0


if __name__ == "__main__":
    sys.exit(main())
