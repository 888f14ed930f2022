# SPDX-License-Identifier: MIT
"""Whether a series of measurements grows: Theil-Sen, the median of the slopes between all pairs of points,
with Sen's bounds of confidence. It asks for no distribution; a few outliers or one step move it little."""

import math
import statistics
from collections.abc import Sequence
from dataclasses import dataclass
from itertools import combinations

BLOCKS = 60
Z = 1.96  # between the bounds with 95 %: below the lower one in 2.5 of 100


@dataclass(frozen=True)
class Slope:
    """Per second, in the unit of the series."""

    lower: float
    middle: float
    upper: float


def block_medians(times: Sequence[float], values: Sequence[float]) -> list[tuple[float, float]]:
    """At most so many points: neighbouring samples of a process are all but the same one, and would make the
    bounds look far narrower than they are."""
    count = min(BLOCKS, len(times))
    edges = [len(times) * block // count for block in range(count + 1)]
    pairs = list(zip(edges, edges[1:], strict=False))
    return [(statistics.median(times[a:b]), statistics.median(values[a:b])) for a, b in pairs]


def theil_sen(points: Sequence[tuple[float, float]]) -> Slope:
    n = len(points)
    slopes = sorted((y2 - y1) / (x2 - x1) for (x1, y1), (x2, y2) in combinations(points, 2))
    spread = Z * math.sqrt(n * (n - 1) * (2 * n + 5) / 18)
    lower = max(0, math.floor((len(slopes) - spread) / 2))
    upper = min(len(slopes) - 1, math.ceil((len(slopes) + spread) / 2))
    return Slope(slopes[lower], statistics.median(slopes), slopes[upper])


def slope(times: Sequence[float], values: Sequence[float]) -> Slope:
    return theil_sen(block_medians(times, values))
