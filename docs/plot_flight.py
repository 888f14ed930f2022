# SPDX-License-Identifier: MIT
"""Plots a flight from a recording: track from above, height, and velocity.

Usage: plot_flight.py RECORDING.tlog PICTURE
Needs pymavlink and matplotlib; docs/first-flight.md tells how to record a flight.
"""

import math
import sys

import matplotlib.pyplot as plt
from pymavlink import mavutil

METRES_PER_DEGREE = 111_194.9


def positions(path: str) -> list[tuple[float, ...]]:
    """Seconds, metres north and east of the first fix, metres of height, m/s north, east and down."""
    log = mavutil.mavlink_connection(path)
    flown = []
    first = None
    while message := log.recv_match(type="GLOBAL_POSITION_INT"):
        if message.lat == 0:
            continue
        first = first or message
        north = (message.lat - first.lat) * 1e-7 * METRES_PER_DEGREE
        east = (message.lon - first.lon) * 1e-7 * METRES_PER_DEGREE * math.cos(math.radians(first.lat * 1e-7))
        velocity = (message.vx / 100, message.vy / 100, message.vz / 100)
        flown.append((message.time_boot_ms / 1000, north, east, message.relative_alt / 1000, *velocity))
    return flown


def main() -> int:
    if len(sys.argv) != 3:
        print("usage: plot_flight.py RECORDING.tlog PICTURE", file=sys.stderr)
        return 1
    time, north, east, height, vn, ve, vd = zip(*positions(sys.argv[1]), strict=True)
    figure, (track, upper, lower) = plt.subplots(1, 3, figsize=(13, 4), layout="constrained")
    track.plot(east, north)
    track.plot(east[0], north[0], "k+", markersize=12)
    track.set(xlabel="east, m", ylabel="north, m", title="track", aspect="equal")
    upper.plot(time, height)
    upper.set(xlabel="s since boot", ylabel="m above home", title="height")
    for values, label in ((vn, "north"), (ve, "east"), (vd, "down")):
        lower.plot(time, values, label=label)
    lower.set(xlabel="s since boot", ylabel="m/s", title="velocity")
    lower.legend()
    for axes in (track, upper, lower):
        axes.grid(alpha=0.3)
    figure.savefig(sys.argv[2], dpi=80)
    return 0


if __name__ == "__main__":
    sys.exit(main())
