# SPDX-License-Identifier: MIT
"""What the host's link counters have to say of a stream, reckoned from all of it at once."""

from collections.abc import Iterator
from dataclasses import dataclass, field

from frameparser import (
    CHECKSUM,
    SIGNATURE,
    SIGNED_FLAG,
    V1_MARKER,
    V1_OVERHEAD,
    V2_MARKER,
    V2_OVERHEAD,
    message_id,
)
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from pymavlink.generator.mavcrc import x25crc

ROUND = 256
WINDOW = 32  # a frame that is overtaken by so many others is late, not lost
STEP_BACK_MS = 1000
TIMED = (
    mavlink.MAVLINK_MSG_ID_SYSTEM_TIME,
    mavlink.MAVLINK_MSG_ID_ATTITUDE,
    mavlink.MAVLINK_MSG_ID_GLOBAL_POSITION_INT,
)
Source = tuple[int, int]


@dataclass
class Piece:
    """Of a stream: a frame, good or "bad", of an "unknown" message, or "stray" bytes."""

    kind: str
    data: bytes


def pieces(stream: bytes) -> Iterator[Piece]:
    """As the C parser cuts the stream up; what is begun at its end is left out.

    If the last byte of a dropped frame is the marker of version 2, it belongs to the next one instead, which
    is read as one of the version of the dropped one.
    """
    position, version = 0, 0
    while position < len(stream):
        version = version or stream[position]
        kind, length = judge(stream[position:], version)
        if not length:
            return
        dropped = kind in ("bad", "unknown")
        resumed = dropped and stream[position + length - 1] == V2_MARKER
        data = bytes([version]) + stream[position + 1 : position + length]
        yield Piece(kind, data[:-1] if resumed else data)
        position += length - resumed
        version = version if resumed else 0


def judge(stream: bytes, version: int) -> tuple[str, int]:
    """What stands at the beginning and how long it is; 0: more would have to come to tell."""
    if version not in (V1_MARKER, V2_MARKER):
        return "stray", 1
    if len(stream) < 3:
        return "", 0
    is_v2 = version == V2_MARKER
    if is_v2 and stream[2] & ~SIGNED_FLAG:
        return "stray", 3
    length = (V2_OVERHEAD if is_v2 else V1_OVERHEAD) + stream[1]
    if len(stream) < length:
        return "", 0
    frame = bytes([version]) + stream[1:length]
    kind = judge_checksum(frame)
    if kind == "frame" and is_v2 and stream[2] & SIGNED_FLAG:
        length += SIGNATURE
    return (kind, length) if len(stream) >= length else ("", 0)


def judge_checksum(frame: bytes) -> str:
    claimed = int.from_bytes(frame[-CHECKSUM:], "little")
    known = mavlink.mavlink_map.get(message_id(frame))
    extras = range(ROUND) if known is None else [known.crc_extra]
    body = x25crc(frame[1:-CHECKSUM]).crc
    for extra in extras:
        checksum = x25crc()
        checksum.crc = body
        checksum.accumulate(bytes([extra]))
        if checksum.crc == claimed:
            return "frame" if known else "unknown"
    return "bad"


def source_of(frame: bytes) -> Source:
    return (frame[3], frame[4]) if frame[0] == V1_MARKER else (frame[5], frame[6])


def number_of(frame: bytes) -> int:
    return frame[2] if frame[0] == V1_MARKER else frame[4]


def boot_time_of(frame: bytes) -> int | None:
    if message_id(frame) not in TIMED:
        return None
    return mavlink.MAVLink(None).decode(bytearray(frame)).time_boot_ms


@dataclass
class SenderFigures:
    """The numbers of a sender, each list from one start of the sender to the next."""

    lives: list[list[int]] = field(default_factory=lambda: [[]])
    since_time: int = 0  # frames of the last life that came after the last one that told the time
    boot_time: int | None = None

    def take(self, number: int, boot_time: int | None) -> None:
        self.lives[-1].append(number)
        self.since_time += 1
        if boot_time is None:
            return
        if self.boot_time is not None and self.boot_time - boot_time >= STEP_BACK_MS:
            self._split()
        self.boot_time = boot_time
        self.since_time = 0

    def _split(self) -> None:
        """Where the numbers jump furthest."""
        life = self.lives[-1]
        indices = unwrapped(life)
        jumps = [
            (abs((life[i] - max(indices[:i]) - 1 + 127) % ROUND - 127), i)
            for i in range(len(life) - self.since_time, len(life))
        ]
        first = max(jumps)[1]
        self.lives[-1:] = [life[:first], life[first:]]

    @property
    def received(self) -> int:
        return sum(len(set(unwrapped(life))) for life in self.lives)

    @property
    def duplicates(self) -> int:
        return sum(len(life) for life in self.lives) - self.received

    @property
    def lost(self) -> int:
        spans = (unwrapped(life) for life in self.lives if life)
        return sum(max(span) - min(span) + 1 - len(set(span)) for span in spans)

    @property
    def restarts(self) -> int:
        return len(self.lives) - 1


def unwrapped(numbers: list[int]) -> list[int]:
    """Numbers that do not begin again at 0."""
    newest = numbers[0] if numbers else 0
    result = []
    for number in numbers:
        behind = (newest - number) % ROUND
        index = newest - behind if behind <= WINDOW else newest - behind + ROUND
        newest = max(newest, index)
        result.append(index)
    return result


class LinkFigures:
    def __init__(self, stream: bytes):
        self.bytes = len(stream)
        self.counts = {"frame": 0, "bad": 0, "unknown": 0, "stray": 0}
        self.senders: dict[Source, SenderFigures] = {}
        for piece in pieces(stream):
            self.counts[piece.kind] += len(piece.data) if piece.kind == "stray" else 1
            self._take(piece)

    def _take(self, piece: Piece) -> None:
        if piece.kind == "frame":
            source = source_of(piece.data)
            sender = self.senders.setdefault(source, SenderFigures())
            sender.take(number_of(piece.data), boot_time_of(piece.data))
        elif piece.kind == "unknown" and (sender := self.senders.get(source_of(piece.data))):
            sender.take(number_of(piece.data), None)
