# SPDX-License-Identifier: MIT
"""Stands between an autopilot and a host and harms the frames to the host, the same for the same seed."""

import contextlib
import random
import socket
import threading
import time
from collections.abc import Iterator

from frameparser import CHECKSUM, V1_MARKER, V1_OVERHEAD, V2_MARKER, V2_OVERHEAD, claimed_length, message_id
from jsonprocess import TIMEOUT
from links import LinkClosed, SerialLink, TcpLink
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from pymavlink.generator.mavcrc import x25crc

KINDS = ("lost", "duplicated", "swapped", "flipped", "cut", "lying")
STALL_SECONDS = 2
MAX_PAYLOAD = 255


class FrameSplitter:
    """Cuts a healthy stream into its frames. Stray bytes between them are pieces of their own."""

    def __init__(self):
        self.pending = b""

    def feed(self, data: bytes) -> Iterator[bytes]:
        stream = self.pending + data
        start = 0
        while length := piece_length(stream, start):
            yield stream[start : start + length]
            start += length
        self.pending = stream[start:]


def piece_length(stream: bytes, start: int) -> int:
    """Of the frame or the stray byte that stands there; 0 if it is not all there yet."""
    head = stream[start : start + 3]
    if head and head[0] not in (V1_MARKER, V2_MARKER):
        return 1
    if len(head) < 3 or start + claimed_length(head) > len(stream):
        return 0
    return claimed_length(head)


def with_length(frame: bytes, length: int, filling: bytes) -> bytes:
    """The frame as if its message were so long: with a checksum that is right, if the message is known."""
    known = mavlink.mavlink_map.get(message_id(frame))
    if known is None:
        return frame
    head = (V1_OVERHEAD if frame[0] == V1_MARKER else V2_OVERHEAD) - CHECKSUM
    payload = (frame[head : head + frame[1]] + filling)[:length]
    changed = frame[:1] + bytes([length]) + frame[2:head] + payload
    crc = x25crc(changed[1:])
    crc.accumulate(bytes([known.crc_extra]))
    return changed + crc.crc.to_bytes(2, "little")


class Faults:
    """One kind of harm to a share of the frames."""

    def __init__(self, kind: str, rate: float, seed: str):
        self.harm = getattr(self, f"_{kind}")
        self.rate = rate
        self.random = random.Random(seed)
        self.held = b""
        self.harmed = 0

    def pass_on(self, frame: bytes) -> bytes:
        if len(frame) > 1 and self.random.random() < self.rate:
            self.harmed += 1
            return self.harm(frame)
        return frame + self.rest()

    def rest(self) -> bytes:
        held, self.held = self.held, b""
        return held

    def _lost(self, frame: bytes) -> bytes:
        return b""

    def _duplicated(self, frame: bytes) -> bytes:
        return frame + frame

    def _swapped(self, frame: bytes) -> bytes:
        if self.held:
            return frame + self.rest()
        self.held = frame
        return b""

    def _flipped(self, frame: bytes) -> bytes:
        bit = self.random.randrange(8 * len(frame))
        harmed = bytearray(frame)
        harmed[bit // 8] ^= 1 << bit % 8
        return bytes(harmed)

    def _cut(self, frame: bytes) -> bytes:
        return frame[: self.random.randrange(1, len(frame))]

    def _lying(self, frame: bytes) -> bytes:
        """Half of the lies are told with a right checksum, and get through."""
        length = self.random.randrange(1, MAX_PAYLOAD + 1)
        if self.random.random() < 0.5:
            return frame[:1] + bytes([length]) + frame[2:]
        return with_length(frame, length, self.random.randbytes(MAX_PAYLOAD))


class FaultProxy:
    """From a TCP connection to the autopilot's end of a link, which is TCP or a pseudo-terminal; what the
    host says goes back unharmed."""

    def __init__(self, autopilot: tuple[str, int], link: TcpLink | SerialLink, faults: Faults, stalls=()):
        self.source = socket.create_connection(autopilot)
        self.link = link
        self.faults = faults
        self.stalls = sorted(stalls, reverse=True)  # after so many bytes, each 2 s long
        self.splitter = FrameSplitter()
        self.written = bytearray()  # to the host
        self.ending = False
        self.threads = [threading.Thread(target=run, daemon=True) for run in (self._down, self._up)]

    def start(self) -> None:
        for thread in self.threads:
            thread.start()

    def join(self) -> None:
        """The autopilot's end has closed, and everything has gone through."""
        self.threads[0].join(TIMEOUT)
        assert not self.threads[0].is_alive()

    def close(self) -> None:
        self.ending = True
        self.threads[1].join(TIMEOUT)
        self.source.close()

    def write(self, data: bytes) -> None:
        while self.stalls and self.stalls[-1] < len(self.written) + len(data):
            position = self.stalls.pop() - len(self.written)
            self._write_through(data[:position])
            data = data[position:]
            time.sleep(STALL_SECONDS)  # this is the fault
        self._write_through(data)

    def _write_through(self, data: bytes) -> None:
        self.link.write(data)
        self.written += data

    def _down(self) -> None:
        while data := self.source.recv(65536):
            self.write(b"".join(map(self.faults.pass_on, self.splitter.feed(data))))
        self.write(self.faults.rest() + self.splitter.pending)

    def _up(self) -> None:
        with contextlib.suppress(LinkClosed, OSError):
            while not self.ending:
                if data := self.link.read(0.1):
                    self.source.sendall(data)
