# SPDX-License-Identifier: MIT
"""The autopilot and the vehicle behind it, as the ground end sees them, by pymavlink."""

import threading
import time
from collections.abc import Callable
from dataclasses import dataclass

import onboard
from jsonprocess import TIMEOUT
from links import LinkClosed
from pymavlink.dialects.v20 import ardupilotmega as mavlink


@dataclass
class Heard:
    """A MAVLink message of the ground, and when it came."""

    time: float
    message: object

    @property
    def name(self) -> str:
        return self.message.get_type()

    @property
    def frame(self) -> onboard.Frame | None:
        carried = onboard.carried_frame(self.message)
        return None if carried is None else onboard.parse_frame(carried)


class GroundPeer:
    """Listens in a thread of its own and answers pings as the host does, unless told otherwise."""

    def __init__(self, link, data_mode: bool = False):
        self.link = link
        self.data_mode = data_mode
        self.encoder = mavlink.MAVLink(None, srcSystem=2, srcComponent=5)
        self.answer: Callable[[onboard.Ping, int], bytes | None] = lambda ping, number: onboard.pack_ping(
            onboard.PONG, ping.timestamp
        )
        self.ping_count = 0
        self.heard: list[Heard] = []
        self.payloads: list[onboard.Payload] = []
        self.reassembly = onboard.Reassembly()
        self.failure: Exception | None = None
        self.closed = False
        self.ending = False
        self.changed = threading.Condition()
        self.thread = threading.Thread(target=self._run, daemon=True)

    def meet(self) -> None:
        self.link.take_client(TIMEOUT)
        self.thread.start()

    def end(self) -> None:
        self.ending = True
        if self.thread.is_alive():
            self.thread.join(TIMEOUT)
        assert self.failure is None, self.failure

    def send(self, *frames: bytes) -> None:
        """Frames of the on-board protocol; in DATA mode those too large for it are lost."""
        for frame in frames:
            message = onboard.to_data(frame) if self.data_mode else onboard.to_v2_extension(frame, 255)
            if message is not None:
                self.send_message(message)

    def send_message(self, message) -> None:
        self.link.write(bytes(message.pack(self.encoder)))
        self.encoder.seq = (self.encoder.seq + 1) % 256

    def wait_for(self, condition: Callable[[], bool], timeout: float = TIMEOUT) -> None:
        with self.changed:
            assert self.changed.wait_for(condition, timeout), f"did not come; heard: {self.heard[-5:]}"

    def frames(self, kind: int | None = None) -> list[Heard]:
        carried = [heard for heard in self.heard if heard.frame is not None]
        return [heard for heard in carried if kind in (None, heard.frame.kind)]

    def heartbeats(self) -> list[Heard]:
        return [heard for heard in self.heard if heard.name == "HEARTBEAT"]

    def _run(self) -> None:
        parser = mavlink.MAVLink(None)
        try:
            while not self.ending:
                data = self.link.read(0.05)
                with self.changed:
                    for message in parser.parse_buffer(data) or []:
                        self._take(message)
                    self.changed.notify_all()
        except LinkClosed:
            with self.changed:
                self.closed = True
                self.changed.notify_all()
        except (AttributeError, OSError, TypeError, ValueError):
            if not self.ending:  # the link was taken away by the test
                raise

    def _take(self, message) -> None:
        heard = Heard(time.monotonic(), message)
        self.heard.append(heard)
        frame = heard.frame
        if frame is None:
            return
        if frame.kind == onboard.DATA:
            payload = self.reassembly.put(onboard.parse_fragment(frame.body))
            if payload is not None:
                self.payloads.append(payload)
        elif frame.kind == onboard.PING:
            self.ping_count += 1
            answer = self.answer(onboard.parse_ping(frame.body), self.ping_count)
            if answer is not None:
                self.send(answer)
