# SPDX-License-Identifier: MIT
"""A simulated autopilot that relays, and the stations on its links, which speak pymavlink."""

import os
import select
import signal
import socket
import time
from collections.abc import Callable
from pathlib import Path

from jsonprocess import TIMEOUT, JsonProcess
from pymavlink.dialects.v20 import ardupilotmega as mavlink

AUTOPILOT = (1, 1)
HOST = (2, 5)
GROUND = (255, 190)
THIRD = (3, 1)


class TcpTransport:
    def __init__(self, address: str):
        kind, host, port = address.split(":")
        assert kind == "tcp"
        self.socket = socket.create_connection((host, int(port)), timeout=TIMEOUT)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def fileno(self) -> int:
        return self.socket.fileno()

    def read(self) -> bytes:
        return self.socket.recv(65536)

    def write(self, data: bytes) -> None:
        self.socket.sendall(data)

    def close(self) -> None:
        self.socket.close()


class TerminalTransport:
    def __init__(self, address: str):
        assert address.startswith("pty:")
        self.descriptor = os.open(address.removeprefix("pty:"), os.O_RDWR | os.O_NOCTTY)

    def fileno(self) -> int:
        return self.descriptor

    def read(self) -> bytes:
        return os.read(self.descriptor, 65536)

    def write(self, data: bytes) -> None:
        while data:
            data = data[os.write(self.descriptor, data) :]

    def close(self) -> None:
        os.close(self.descriptor)


class Station:
    """One client of the autopilot. Frames come out in the order in which they came in."""

    def __init__(self, address: str, source: tuple[int, int]):
        self.transport = TcpTransport(address) if address.startswith("tcp:") else TerminalTransport(address)
        self.source = source
        self.encoder = mavlink.MAVLink(None, *source)
        self.parser = mavlink.MAVLink(None)
        self.parser.robust_parsing = True
        self.messages: list = []

    def encode(self, message, version1: bool = False) -> bytes:
        frame = bytes(message.pack(self.encoder, force_mavlink1=version1))
        self.encoder.seq = (self.encoder.seq + 1) % 256
        return frame

    def write(self, data: bytes) -> None:
        self.transport.write(data)

    def send(self, message, version1: bool = False) -> bytes:
        """The frame that was sent."""
        frame = self.encode(message, version1)
        self.write(frame)
        return frame

    def send_heartbeat(self) -> bytes:
        return self.send(heartbeat())

    def receive(self, wanted: Callable = lambda message: True):
        """The next such message; those before it are passed over."""
        deadline = time.monotonic() + TIMEOUT
        while True:
            while self.messages:
                message = self.messages.pop(0)
                assert message.get_type() != "BAD_DATA", message
                if wanted(message):
                    return message
            self._take_in(deadline)

    def receive_until(self, last: bytes) -> list[bytes]:
        """The frames of others than the autopilot, up to the one given, which is left out."""
        frames = []
        while (frame := self.receive_frame()) != last:
            frames.append(frame)
        return frames

    def receive_frame(self) -> bytes:
        """The next frame of another than the autopilot."""
        return frame_of(self.receive(lambda message: source_of(message) != AUTOPILOT))

    def receive_heartbeat(self):
        """The autopilot's next."""
        return self.receive(lambda m: source_of(m) == AUTOPILOT and m.get_type() == "HEARTBEAT")

    def messages_until_heartbeats(self, count: int) -> list:
        """What comes beside the autopilot's next heartbeats, until so many have come."""
        others = []
        while count:
            message = self.receive()
            if source_of(message) == AUTOPILOT:
                count -= 1
            else:
                others.append(message)
        return others

    def _take_in(self, deadline: float) -> None:
        left = deadline - time.monotonic()
        assert left > 0, f"what was waited for did not come to {self.source}"
        if select.select([self.transport], [], [], left)[0]:
            data = self.transport.read()
            assert data, f"the autopilot has closed the link of {self.source}"
            self.messages += self.parser.parse_buffer(data) or []

    def close(self) -> None:
        self.transport.close()


class RelaySim:
    """A running `noflailsten-sim --autopilot` with its stations. Asked to end, it must end with 0."""

    def __init__(self, program: Path, environment: dict, *arguments: str):
        self.process = JsonProcess([program, "--json", *arguments], environment)
        links = sum(argument == "--link" for argument in arguments)
        self.addresses = [self.process.wait_for_event("listening")["address"] for _ in range(links)]
        self.stations: list[Station] = []

    def join(self, index: int, source: tuple[int, int], heard: bool = True) -> Station:
        """A station on the link, which has got the autopilot's first heartbeat. When it is to be heard, it
        has sent its own, and the other stations have it where they get it."""
        station = Station(self.addresses[index], source)
        self.stations.append(station)
        station.receive_heartbeat()
        if heard:
            station.send_heartbeat()
        return station

    def end(self) -> dict:
        """The last counters."""
        self.process.ask_to_end(signal.SIGTERM)
        assert self.process.wait_for_end() == 0, self.process.story("It did not end well.")
        return [record for record in self.process.records if record["event"] == "relay"][-1]

    def close(self) -> None:
        for station in self.stations:
            station.close()
        if self.process.is_running():
            self.end()


def frame_of(message) -> bytes:
    """Of a message that its dialect does not know pymavlink keeps the frame alone."""
    known = not isinstance(message, mavlink.MAVLink_unknown)
    return bytes(message.get_msgbuf() if known else message.data)


def source_of(message) -> tuple[int, int]:
    frame = frame_of(message)
    system = 5 if frame[0] == 0xFD else 3
    return frame[system], frame[system + 1]


def heartbeat():
    return mavlink.MAVLink_heartbeat_message(mavlink.MAV_TYPE_GCS, mavlink.MAV_AUTOPILOT_INVALID, 0, 0, 4, 3)


def extension(target_system: int, target_component: int = 0, payload: bytes = b"payload"):
    body = list(payload.ljust(249, b"\0"))
    return mavlink.MAVLink_v2_extension_message(0, target_system, target_component, 251, body)


def data_message(size: int):
    kind = {
        16: mavlink.MAVLink_data16_message,
        32: mavlink.MAVLink_data32_message,
        64: mavlink.MAVLink_data64_message,
        96: mavlink.MAVLink_data96_message,
    }[size]
    return kind(1, size, list(range(1, size + 1)))
