# SPDX-License-Identifier: MIT
"""Recordings and a ground station's payloads over bad links: the host publishes what the parser and the rules
of reassembly make of the same bytes, and nothing else. NOFLAILSTEN_FAULT_ROUNDS has all recordings played
with each harm, and from beginning to end."""

import itertools
import random
import socket
import time
from collections.abc import Iterator

import onboard
import pytest
from conftest import DATA
from faultproxy import KINDS, STALL_SECONDS, FaultProxy, Faults, FrameSplitter
from faultrounds import is_full
from frameparser import parse_messages
from groundend import GROUND
from jsonprocess import TIMEOUT
from onboardrules import HostRules, assert_published
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from recording_figures import recorded_bytes

from autopilot import PX4, Autopilot, attitude, heartbeat

RECORDINGS = [path.name for path in sorted([*DATA.glob("*.tlog"), *DATA.glob("*.raw")])]
STREAMS = [*RECORDINGS, "ground"]
RATES = (0.01, 0.1, 0.5)
EXCERPT = 1000  # frames
# As long as the longest frame: whatever a broken one before it claims, it is over after this.
QUIET = bytes(280)
GOOD_FRAMES = 20
RECOVERED, LAST = 1000.0, 5000.0  # rolls


def ground_stream(seed: str) -> bytes:
    """Payloads, some at once with others, pings, and telemetry of the autopilot in between."""
    generator = random.Random(seed)
    autopilot = Autopilot(None)
    frames: list[bytes] = []
    for number in range(60):
        payload = onboard.Payload(number, 3, 200, generator.randbytes(generator.randrange(1, 1200)))
        frames += onboard.payload_frames(payload, onboard.DATA)
        frames.insert(generator.randrange(len(frames)), onboard.pack_ping(onboard.PING, number))
        for _ in range(generator.randrange(4)):
            here, there = (max(0, len(frames) - generator.randrange(1, 30)) for _ in range(2))
            frames[here], frames[there] = frames[there], frames[here]
    stream = b""
    for number, frame in enumerate(frames):
        stream += autopilot.encode(heartbeat(PX4))
        stream += autopilot.encode(onboard.to_v2_extension(frame), GROUND)
        stream += autopilot.encode(attitude(number / 8))
    return stream


def stream_of(name: str, seed: str) -> bytes:
    if name == "ground":
        return ground_stream(seed)
    frames = list(FrameSplitter().feed(recorded_bytes(DATA / name)))
    if not is_full() and len(frames) > EXCERPT:
        start = random.Random(seed).randrange(len(frames) - EXCERPT)
        frames = frames[start : start + EXCERPT]
    return b"".join(frames)


def ending() -> tuple[bytes, bytes]:
    """Good frames right after the last harm, and what surely ends the stream."""
    autopilot = Autopilot(None)
    good = b"".join(autopilot.encode(attitude(RECOVERED + i)) for i in range(GOOD_FRAMES))
    return good, QUIET + autopilot.encode(attitude(LAST))


class Played:
    """A stream that has gone through a proxy to a host."""

    def __init__(self, host, link, faults: Faults, stream: bytes, stalls=()):
        with socket.create_server(("127.0.0.1", 0)) as server:
            self.proxy = FaultProxy(server.getsockname(), link, faults, stalls)
            self.autopilot, _ = server.accept()
        self.proxy.start()
        self.autopilot.sendall(stream)
        self.autopilot.shutdown(socket.SHUT_WR)
        self.proxy.join()
        for data in ending():
            self.proxy.write(data)
        host.wait_for("roll", lambda roll: roll == LAST)
        host.wait_for("yaw")  # the last of the same message

    def rules(self) -> HostRules:
        rules = HostRules()
        for message in parse_messages(bytes(self.proxy.written)):
            rules.take(message)
        return rules

    def said_by_host(self) -> bytes:
        """All of it, as its end of the link is closed."""
        self.proxy.close()
        with self.autopilot:
            return b"".join(iter(lambda: self.autopilot.recv(65536), b""))


def pongs_in(data: bytes) -> list[int]:
    messages = mavlink.MAVLink(None).parse_buffer(data) or []
    frames = map(onboard.parse_frame, onboard.carried_frames(messages))
    return [onboard.parse_ping(frame.body).timestamp for frame in frames if frame.kind == onboard.PONG]


def wait_for_pongs(played: Played, count: int) -> list[int]:
    """The host writes them before it reads what comes after, but they are still on their way back."""
    played.autopilot.settimeout(TIMEOUT)
    data = b""
    while len(pongs := pongs_in(data)) < count:
        data += played.autopilot.recv(65536)
    return pongs + pongs_in(played.said_by_host())


def cases() -> Iterator[tuple[str, float, str]]:
    """Each harm at each rate; all recordings in the full form, else each time another."""
    turns = itertools.cycle(RECORDINGS)
    for kind, rate in itertools.product(KINDS, RATES):
        yield kind, rate, "ground"
        for name in RECORDINGS if is_full() else [next(turns)]:
            yield kind, rate, name


def assert_all_as_by_the_rules(host, played: Played) -> None:
    rules = played.rules()
    assert_published(host, rules)
    assert wait_for_pongs(played, len(rules.pongs)) == rules.pongs
    assert host.log_lines.count("[COMM] WARN: Received invalid message") == rules.malformed
    recovered = [value for signal, value in rules.published if signal == "roll" and value >= RECOVERED]
    assert len(recovered) > 1, "the good frames after the last harm were all lost"


@pytest.mark.parametrize(("kind", "rate", "name"), cases())
def test_host_publishes_what_the_parser_makes_of_the_same_bytes(hosts, link, standin_calls, kind, rate, name):
    host = hosts.start(link, MAV__V2_EXTENSION="true")
    host.wait_for_log("[AP] Connected to autopilot")
    link.take_client(TIMEOUT)
    seed = f"{kind} {rate} {name}"
    faults = Faults(kind, rate, seed)
    played = Played(host, link, faults, stream_of(name, seed))
    assert faults.harmed > 0
    assert_all_as_by_the_rules(host, played)
    assert standin_calls() == played.rules().commands


def test_line_that_stalls_for_two_seconds_within_frames_costs_nothing(hosts, link):
    host = hosts.start(link, watched=True, MAV__V2_EXTENSION="true")
    host.wait_for_log("[AP] Connected to autopilot")
    link.take_client(TIMEOUT)
    stream = ground_stream("stalls")
    begin = time.monotonic()
    played = Played(
        host, link, Faults("lost", 0, ""), stream, [int(len(stream) * rate) + 5 for rate in RATES]
    )
    assert time.monotonic() - begin >= len(RATES) * STALL_SECONDS
    assert bytes(played.proxy.written).startswith(stream)
    assert_all_as_by_the_rules(host, played)
    assert not [record for record in host.records if record.get("event") == "link-lost"]
