# SPDX-License-Identifier: MIT
"""The ground station's end of the on-board protocol, spoken by pymavlink over any of the test links."""

import time
from collections.abc import Callable

import onboard
from jsonprocess import TIMEOUT

GROUND = (255, 190)


class GroundEnd:
    """Sends and takes payloads through an Autopilot, which stands for the flight controller's relay."""

    def __init__(self, autopilot, source: tuple[int, int] = GROUND):
        self.autopilot = autopilot
        self.source = source
        self.position = 0  # among what the autopilot has received
        self.reassembly = onboard.Reassembly()

    def send_frame(self, frame: bytes) -> None:
        self.autopilot.send(onboard.to_v2_extension(frame), source=self.source)

    def send_payload(self, payload: onboard.Payload) -> None:
        for frame in onboard.payload_frames(payload, onboard.DATA):
            self.send_frame(frame)

    def ping(self, timestamp: int = 1_700_000_000_000) -> None:
        self.send_frame(onboard.pack_ping(onboard.PING, timestamp))

    def next_carrier(self, wanted: Callable[[onboard.Frame], bool], timeout: float = TIMEOUT):
        """The next MAVLink message with such a frame, and the frame; the others are passed over."""
        deadline = time.monotonic() + timeout
        while True:
            while self.position < len(self.autopilot.received):
                message = self.autopilot.received[self.position]
                self.position += 1
                data = onboard.carried_frame(message)
                if data is not None and wanted(frame := onboard.parse_frame(data)):
                    return message, frame
            left = deadline - time.monotonic()
            assert left > 0, "the frame did not come"
            self.autopilot.take_in(left)

    def pong(self, timeout: float = TIMEOUT) -> tuple[object, onboard.Ping]:
        message, frame = self.next_carrier(lambda frame: frame.kind == onboard.PONG, timeout)
        return message, onboard.parse_ping(frame.body)

    def payload(self, wanted: Callable[[onboard.Payload], bool], timeout: float = TIMEOUT) -> onboard.Payload:
        """The next such payload of the host's, whole."""
        deadline = time.monotonic() + timeout
        while True:
            _, frame = self.next_carrier(
                lambda frame: frame.kind == onboard.TELEMETRY, deadline - time.monotonic()
            )
            assert frame.crc_ok
            whole = self.reassembly.put(onboard.parse_fragment(frame.body))
            if whole and wanted(whole):
                return whole
