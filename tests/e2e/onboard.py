# SPDX-License-Identifier: MIT
"""The on-board protocol, written anew: frames, fragments, and their carriage in MAVLink messages."""

import struct
from collections.abc import Iterator
from dataclasses import dataclass

from pymavlink.dialects.v20 import ardupilotmega as mavlink
from pymavlink.generator.mavcrc import x25crc

TELEMETRY, PONG, DATA, PING = 2, 4, 252, 254
VERSION = (0, 2)
MAX_BODY = 96
HEADER = struct.Struct("<HHHBB")
CHUNK = MAX_BODY - HEADER.size
DATA_TYPE = 175
V2_EXTENSION_ROOM = 248
DATA_MESSAGES = {
    16: mavlink.MAVLink_data16_message,
    32: mavlink.MAVLink_data32_message,
    64: mavlink.MAVLink_data64_message,
    96: mavlink.MAVLink_data96_message,
}
GROUP_CAP = 20


class Malformed(ValueError):
    """Bytes that the protocol does not allow."""


def crc(data: bytes) -> int:
    return x25crc(data).crc


# Frames


def pack_frame(kind: int, body: bytes = b"") -> bytes:
    head = bytes([kind, len(body)]) + body
    return head + struct.pack("<H", crc(head))


@dataclass(frozen=True)
class Frame:
    kind: int
    body: bytes
    crc_ok: bool


def parse_frame(data: bytes) -> Frame:
    """The checksum is looked at but, as by every receiver, not insisted on."""
    if len(data) < 2 or len(data) < 2 + data[1]:
        raise Malformed(f"frame cut short: {data.hex()}")
    end = 2 + data[1]
    return Frame(data[0], data[2:end], data[end : end + 2] == struct.pack("<H", crc(data[:end])))


# Fragments


@dataclass(frozen=True)
class Fragment:
    total: int
    payload_id: int  # of the payload as a whole: its sequence number
    offset: int
    message: int
    payload: int
    data: bytes

    def pack(self) -> bytes:
        head = HEADER.pack(self.total, self.payload_id, self.offset, self.message, self.payload)
        return head + self.data


def parse_fragment(body: bytes) -> Fragment:
    if len(body) < HEADER.size:
        raise Malformed(f"fragment of {len(body)} bytes")
    return Fragment(*HEADER.unpack_from(body), body[HEADER.size :])


@dataclass(frozen=True)
class Payload:
    payload_id: int
    message: int
    payload: int
    data: bytes


def split(payload: Payload, chunk: int = CHUNK) -> list[Fragment]:
    total = len(payload.data) % 65536
    return [
        Fragment(
            total,
            payload.payload_id,
            offset,
            payload.message,
            payload.payload,
            payload.data[offset : min(offset + chunk, total)],
        )
        for offset in range(0, total, chunk)
    ]


def payload_frames(payload: Payload, kind: int = TELEMETRY) -> list[bytes]:
    return [pack_frame(kind, fragment.pack()) for fragment in split(payload)]


class Reassembly:
    """Puts fragments together by the rules of the protocol, discards included."""

    def __init__(self):
        self.groups: dict[int, tuple[Fragment, dict[int, bytes]]] = {}

    def put(self, fragment: Fragment) -> Payload | None:
        key = fragment.payload_id
        if key not in self.groups:
            while len(self.groups) >= GROUP_CAP:
                del self.groups[min(self.groups)]
            fits = len(fragment.data) <= fragment.total
            self.groups[key] = (fragment, {fragment.offset: fragment.data} if fits else {})
        elif not self._add(fragment):
            del self.groups[key]
            return None
        return self._take_if_complete(key)

    def _add(self, fragment: Fragment) -> bool:
        first, chunks = self.groups[fragment.payload_id]
        same = (first.total, first.message, first.payload) == (
            fragment.total,
            fragment.message,
            fragment.payload,
        )
        missing = first.total - sum(map(len, chunks.values()))
        if not same or len(fragment.data) > missing or fragment.offset in chunks:
            return False
        chunks[fragment.offset] = fragment.data
        return True

    def _take_if_complete(self, key: int) -> Payload | None:
        first, chunks = self.groups[key]
        if sum(map(len, chunks.values())) != first.total:
            return None
        data = b""
        for offset in sorted(chunks):
            if offset != len(data):
                return None
            data += chunks[offset]
        del self.groups[key]
        return Payload(key, first.message, first.payload, data)


# Pings and pongs


@dataclass(frozen=True)
class Ping:
    timestamp: int  # milliseconds since 1970-01-01 UTC
    version: tuple[int, int]


def pack_ping(kind: int, timestamp: int, version: tuple[int, ...] = VERSION) -> bytes:
    return pack_frame(kind, struct.pack("<q", timestamp) + bytes(version))


def parse_ping(body: bytes) -> Ping:
    if len(body) < 8:
        raise Malformed(f"ping of {len(body)} bytes")
    major = body[8] if len(body) > 8 else 0
    minor = body[9] if len(body) > 9 else 1
    return Ping(struct.unpack_from("<q", body)[0], (major, minor))


# In MAVLink


def to_v2_extension(frame: bytes, target_system: int = 0, target_component: int = 0):
    if len(frame) > V2_EXTENSION_ROOM:
        raise Malformed(f"frame of {len(frame)} bytes")
    payload = (bytes([len(frame)]) + frame).ljust(1 + V2_EXTENSION_ROOM, b"\0")
    return mavlink.MAVLink_v2_extension_message(0, target_system, target_component, 0, list(payload))


def to_data(frame: bytes):
    """The smallest DATA message that holds the frame; None if none does."""
    for room, message in DATA_MESSAGES.items():
        if len(frame) <= room:
            return message(DATA_TYPE, len(frame), list(frame.ljust(room, b"\0")))
    return None


def carried_frame(message) -> bytes | None:
    """The frame inside a MAVLink message, None for a message that carries none."""
    name = message.get_type()
    if name == "V2_EXTENSION":
        payload = bytes(message.payload)
        return payload[1 : 1 + min(payload[0], V2_EXTENSION_ROOM)]
    if name in ("DATA16", "DATA32", "DATA64", "DATA96") and message.type == DATA_TYPE:
        return bytes(message.data)[: message.len]
    return None


def carried_frames(messages) -> Iterator[bytes]:
    return (frame for frame in map(carried_frame, messages) if frame is not None)
