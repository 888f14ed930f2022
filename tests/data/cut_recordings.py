# SPDX-License-Identifier: MIT
"""Cuts the recordings of this folder out of the full ones and renews the tables of the README.

    python tests/data/cut_recordings.py SOURCE_FOLDER

The same source gives the same files, byte for byte. Cuts fall between frames: a frame belongs to a window
that holds the time at which it was recorded, stray bytes belong to the frame after them.
"""

import sys
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

import recording_figures

HERE = Path(__file__).resolve().parent
WHOLE = float("inf")


@dataclass(frozen=True)
class Slice:
    name: str
    windows: tuple[tuple[float, float], ...]  # seconds since the first frame, [from, to)
    kept: frozenset[int] = frozenset()  # messages, by their ids, that are kept outside the windows too

    def holds(self, seconds: float, message: int) -> bool:
        return message in self.kept or any(begin <= seconds < end for begin, end in self.windows)


# What a flight can be told by: HEARTBEAT, SYSTEM_TIME, GPS_RAW_INT, ATTITUDE, GLOBAL_POSITION_INT,
# COMMAND_LONG, COMMAND_ACK, DISTANCE_SENSOR.
TRACK = frozenset((0, 2, 24, 30, 33, 76, 77, 132))


SLICES = (
    Slice("arducopter-flight.tlog", ((0, WHOLE),)),
    Slice("arducopter-idle.tlog", ((0, 12), (29.5, 33))),
    Slice("arducopter-mavlink1.tlog", ((0, 12),)),
    Slice("arducopter-serial-reboot.raw", ((0, 12), (24, 37))),
    Slice("px4-boot-57600.raw", ((0, 9), (14, 27))),
    Slice("px4-flight.tlog", ((0, 10.5), (15, 17), (31.5, 35.5), (63.5, 66), (115.5, WHOLE)), TRACK),
)


def timed_pieces(source: Path, name: str) -> Iterator[tuple[float, int, bytes]]:
    """The file in pieces of one frame each, with the seconds since the first and the message's id. The times
    of a .raw file are those of the .tlog taken along with it."""
    frames = recording_figures.read_tlog(source / f"{Path(name).stem}.tlog")
    first = frames[0].microseconds
    raw = (source / name).read_bytes() if name.endswith(".raw") else b""
    position = 0
    for frame in frames:
        piece = frame.record
        if raw:
            end = raw.index(frame.data, position) + len(frame.data)
            piece, position = raw[position:end], end
        yield (frame.microseconds - first) / 1e6, recording_figures.message_id(frame.data), piece


def main() -> int:
    if len(sys.argv) != 2:
        print(f"usage: {sys.argv[0]} SOURCE_FOLDER", file=sys.stderr)
        return 1
    source = Path(sys.argv[1])
    for cut in SLICES:
        pieces = timed_pieces(source, cut.name)
        kept = (piece for seconds, message, piece in pieces if cut.holds(seconds, message))
        (HERE / cut.name).write_bytes(b"".join(kept))
    recording_figures.renew_readme(HERE / "README.md", [HERE / cut.name for cut in SLICES])
    return 0


if __name__ == "__main__":
    sys.exit(main())
