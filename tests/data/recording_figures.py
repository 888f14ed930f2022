# SPDX-License-Identifier: MIT
"""What pymavlink finds in a recording, and the tables of the README that say so."""

import hashlib
from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path

from pymavlink.dialects.v20 import ardupilotmega as mavlink

V1_MARKER, V2_MARKER = 0xFE, 0xFD
V1_OVERHEAD, V2_OVERHEAD, SIGNATURE = 8, 12, 13
SIGNED_FLAG = 0x01
TIMESTAMP_BYTES = 8
RAW_BYTES_PER_SECOND = 57600 / 10  # a byte on a serial line takes ten bits

TABLES_BEGIN = "<!-- tables: written by cut_recordings.py -->"
TABLES_END = "<!-- end of tables -->"


@dataclass(frozen=True)
class Frame:
    microseconds: int
    data: bytes
    record: bytes  # as in the file: with the time in front


@dataclass
class Figures:
    size: int
    sha256: str
    frames: int = 0
    mavlink1: int = 0
    mavlink2: int = 0
    stray_bytes: int = 0
    unknown_frames: int = 0
    seconds: float = 0
    arming: list[str] = field(default_factory=list)
    messages: Counter = field(default_factory=Counter)  # (source, message name) -> frames


def frame_length(data: bytes, start: int) -> int:
    if data[start] == V1_MARKER:
        return V1_OVERHEAD + data[start + 1]
    if data[start] != V2_MARKER:
        raise ValueError(f"no frame starts at byte {start}")
    signed = data[start + 2] & SIGNED_FLAG
    return V2_OVERHEAD + data[start + 1] + (SIGNATURE if signed else 0)


def message_id(data: bytes) -> int:
    return data[5] if data[0] == V1_MARKER else int.from_bytes(data[7:10], "little")


def read_tlog(path: Path) -> list[Frame]:
    data = path.read_bytes()
    frames = []
    position = 0
    while position < len(data):
        start = position + TIMESTAMP_BYTES
        end = start + frame_length(data, start)
        record = data[position:end]
        microseconds = int.from_bytes(record[:TIMESTAMP_BYTES], "big")
        frames.append(Frame(microseconds, record[TIMESTAMP_BYTES:], record))
        position = end
    return frames


def recorded_bytes(path: Path) -> bytes:
    """What the autopilot wrote to the line."""
    if path.suffix == ".raw":
        return path.read_bytes()
    return b"".join(frame.data for frame in read_tlog(path))


def timed_chunks(path: Path) -> list[tuple[float, bytes]]:
    if path.suffix == ".raw":
        data = path.read_bytes()
        return [(i / RAW_BYTES_PER_SECOND, data[i : i + 1]) for i in range(len(data))]
    frames = read_tlog(path)
    return [((frame.microseconds - frames[0].microseconds) / 1e6, frame.data) for frame in frames]


def figures_of(path: Path) -> Figures:
    content = path.read_bytes()
    figures = Figures(len(content), hashlib.sha256(content).hexdigest())
    parser = mavlink.MAVLink(None)
    parser.robust_parsing = True
    armed: dict[str, bool] = {}
    for seconds, chunk in timed_chunks(path):
        figures.seconds = seconds
        for message in parser.parse_buffer(chunk) or ():
            count_message(figures, message, seconds, armed)
    return figures


def count_message(figures: Figures, message, seconds: float, armed: dict[str, bool]) -> None:
    name = message.get_type()
    if name == "BAD_DATA":
        figures.stray_bytes += len(message.data)
        return
    # Of a message that its dialect does not know pymavlink keeps the frame alone.
    known = not isinstance(message, mavlink.MAVLink_unknown)
    data = bytes(message.get_msgbuf() if known else message.data)
    source = source_of(data)
    figures.frames += 1
    figures.mavlink1 += data[0] == V1_MARKER
    figures.mavlink2 += data[0] == V2_MARKER
    figures.unknown_frames += not known
    figures.messages[source, name.replace("UNKNOWN_", "id ")] += 1
    if name == "HEARTBEAT" and message.autopilot != mavlink.MAV_AUTOPILOT_INVALID:
        now = bool(message.base_mode & mavlink.MAV_MODE_FLAG_SAFETY_ARMED)
        if armed.get(source) != now:
            figures.arming.append(f"{'armed' if now else 'disarmed'} {seconds:.3f}")
        armed[source] = now


def source_of(frame: bytes) -> str:
    system = 5 if frame[0] == V2_MARKER else 3
    return f"{frame[system]}/{frame[system + 1]}"


def table(rows: list[list[str]]) -> list[str]:
    lines = ["| " + " | ".join(row) + " |" for row in rows]
    return [lines[0], "|" + "---|" * len(rows[0]), *lines[1:]]


def overview_rows(figures: dict[str, Figures]) -> list[list[str]]:
    counted = ["bytes", "frames", "MAVLink 1", "MAVLink 2", "unknown id", "stray bytes"]
    rows = [["file", *counted, "seconds", "arming", "sha256"]]
    for name, f in figures.items():
        counts = [f.size, f.frames, f.mavlink1, f.mavlink2, f.unknown_frames, f.stray_bytes]
        rows.append([name, *map(str, counts), f"{f.seconds:.3f}", ", ".join(f.arming), f.sha256])
    return rows


def message_rows(figures: dict[str, Figures]) -> list[list[str]]:
    keys = sorted({key for f in figures.values() for key in f.messages})
    rows = [["source", "message", *figures]]
    for source, name in keys:
        rows.append([source, name, *(str(f.messages[source, name]) for f in figures.values())])
    return rows


def renew_readme(readme: Path, recordings: list[Path]) -> None:
    figures = {path.name: figures_of(path) for path in recordings}
    before, rest = readme.read_text().split(TABLES_BEGIN)
    after = rest.split(TABLES_END)[1]
    tables = "\n".join([*table(overview_rows(figures)), "", *table(message_rows(figures))])
    readme.write_text(f"{before}{TABLES_BEGIN}\n\n{tables}\n\n{TABLES_END}{after}")


def readme_tables(readme: Path) -> list[list[list[str]]]:
    """The rows of the written tables, without the rulers."""
    text = readme.read_text().split(TABLES_BEGIN)[1].split(TABLES_END)[0]
    tables = []
    for block in text.strip().split("\n\n"):
        lines = [line for line in block.splitlines() if not line.startswith("|---")]
        tables.append([[cell.strip() for cell in line.strip("|").split("|")] for line in lines])
    return tables
