# SPDX-License-Identifier: MIT
"""A ground station that sends far more than anybody should. The host answers, publishes what is right, and
does not grow. NOFLAILSTEN_FAULT_ROUNDS makes it last ten times as long."""

import os
import time
from collections.abc import Iterator

import onboard
import pytest
from faultrounds import is_full, resident_kb
from groundend import GROUND
from jsonprocess import TIMEOUT
from onboardrules import HostRules, assert_published
from pymavlink.dialects.v20 import ardupilotmega as mavlink

from autopilot import PX4, Autopilot, attitude, heartbeat

SECONDS = 20 if is_full() else 2
RATE = 10_000
BURSTS_PER_SECOND = 200
GROWTH_KB = 4096
UNFINISHED = 65535  # bytes that a payload claims to have
HIGHEST_ID = 65535


@pytest.fixture
def host(hosts, link, autopilot, monkeypatch):
    # What a sanitizer sets aside is no growth of ours.
    options = filter(None, [os.environ.get("ASAN_OPTIONS"), "quarantine_size_mb=1"])
    monkeypatch.setenv("ASAN_OPTIONS", ":".join(options))
    started = hosts.start(link, MAV__V2_EXTENSION="true")
    autopilot.meet(started)
    return started


class Flood:
    """Frames as fast as is asked for, with the autopilot's telemetry in between; and what comes back."""

    def __init__(self, autopilot: Autopilot, host):
        self.autopilot = autopilot
        self.host = host
        self.rules = HostRules()
        self.answers = b""
        self.telemetry = 0
        self.sent = 0

    def run(self, frames: Iterator[list[bytes]]) -> float:
        """Bursts at their pace, or slower where the host does not take them. Frames a second."""
        before, begin = self.sent, time.monotonic()
        for number, burst in enumerate(frames):
            burst.append(self.next_telemetry())
            self.autopilot.link.write(b"".join(burst))
            self.sent += len(burst)
            for message in mavlink.MAVLink(None).parse_buffer(b"".join(burst)):
                self.rules.take(message)
            self.read_until(begin + number / BURSTS_PER_SECOND)
        return (self.sent - before) / (time.monotonic() - begin)

    def read_until(self, moment: float) -> None:
        self.answers += self.autopilot.link.read(0)
        while (left := moment - time.monotonic()) > 0:
            self.answers += self.autopilot.link.read(left)

    def next_telemetry(self) -> bytes:
        self.telemetry += 1
        messages = [attitude(float(self.telemetry))] + [heartbeat(PX4)] * (self.telemetry % 100 == 1)
        return b"".join(map(self.autopilot.encode, messages))

    def finish(self) -> None:
        """The host has dealt with everything."""
        self.host.wait_for("roll", lambda roll: roll == self.telemetry)
        self.host.wait_for("yaw")  # the last of the same message
        deadline = time.monotonic() + TIMEOUT
        while len(self.pongs()) < len(self.rules.pongs):
            assert time.monotonic() < deadline, "not every ping is answered"
            self.answers += self.autopilot.link.read(1)

    def pongs(self) -> list[tuple[int, int]]:
        """To which system, and to which ping."""
        found = []
        for message in mavlink.MAVLink(None).parse_buffer(self.answers) or []:
            data = onboard.carried_frame(message)
            if data and (frame := onboard.parse_frame(data)).kind == onboard.PONG:
                found.append((message.target_system, onboard.parse_ping(frame.body).timestamp))
        return found


@pytest.fixture
def flood(host, autopilot) -> Flood:
    return Flood(autopilot, host)


def bursts(autopilot: Autopilot, frames: Iterator[bytes], sources: list) -> Iterator[list[bytes]]:
    """Made beforehand, so that making them does not slow the flood down."""
    size = RATE // BURSTS_PER_SECOND
    made = [
        autopilot.encode(onboard.to_v2_extension(frame), sources[number % len(sources)])
        for number, frame in enumerate(frames)
    ]
    return iter([made[i : i + size] for i in range(0, len(made), size)])


def pings(count: int) -> Iterator[bytes]:
    return (onboard.pack_ping(onboard.PING, number) for number in range(count))


def first_fragments(count: int) -> Iterator[bytes]:
    """Of payloads whose other fragments never come. The highest id is left to one that comes whole: of those
    that are open at once the lowest goes first."""
    for number in range(count):
        fragment = onboard.Fragment(UNFINISHED, number % HIGHEST_ID, 0, 3, 200, bytes(88))
        yield onboard.pack_frame(onboard.DATA, fragment.pack())


def test_pings_at_ten_thousand_a_second_are_all_answered(host, autopilot, flood):
    flood.run(bursts(autopilot, pings(RATE // 10), [GROUND]))
    flood.finish()
    resident = resident_kb(host.process.pid)
    rate = flood.run(bursts(autopilot, pings(SECONDS * RATE), [GROUND]))
    flood.finish()
    growth = resident_kb(host.process.pid) - resident
    print(
        f"\n{flood.sent} frames at {rate:.0f} a second, {len(flood.rules.pongs)} pings, grown by {growth} kB"
    )
    assert flood.pongs() == [(GROUND[0], ping) for ping in flood.rules.pongs]
    assert_published(host, flood.rules)
    assert growth < GROWTH_KB


def test_fragments_that_never_complete_do_not_pile_up(host, autopilot, flood):
    flood.run(bursts(autopilot, first_fragments(RATE // 10), [GROUND]))
    flood.finish()
    resident = resident_kb(host.process.pid)
    rate = flood.run(bursts(autopilot, first_fragments(SECONDS * RATE), [GROUND]))
    payload = onboard.Payload(HIGHEST_ID, 3, 200, bytes(range(256)))
    flood.run(iter([[autopilot.encode(onboard.to_v2_extension(f), GROUND) for f in frames_of(payload)]]))
    flood.finish()
    growth = resident_kb(host.process.pid) - resident
    print(f"\n{flood.sent} frames at {rate:.0f} a second, grown by {growth} kB")
    assert_published(host, flood.rules)
    assert host.values("communicator.receivedData")[-1]["data"] == payload.data.hex()
    assert growth < GROWTH_KB


def frames_of(payload: onboard.Payload) -> list[bytes]:
    return onboard.payload_frames(payload, onboard.DATA)


def test_every_one_of_255_systems_is_answered(host, autopilot, flood):
    sources = [(system, 190) for system in range(1, 256)]
    flood.run(bursts(autopilot, pings(RATE // 10), sources))
    flood.finish()
    resident = resident_kb(host.process.pid)
    rate = flood.run(bursts(autopilot, pings(RATE), sources))
    flood.finish()
    growth = resident_kb(host.process.pid) - resident
    print(f"\n{flood.sent} frames at {rate:.0f} a second, grown by {growth} kB")
    assert flood.pongs() == [(sources[ping % 255][0], ping) for ping in flood.rules.pongs]
    assert flood.rules.pongs[-RATE:] == list(range(RATE))
    assert_published(host, flood.rules)
    assert growth < GROWTH_KB
