# SPDX-License-Identifier: MIT
"""A peer that goes away in one of the ways in which TCP peers do, or that never answers."""

import select
import socket
import struct
import time
from collections.abc import Iterator

import pytest
from faultrounds import SLACK, rounds, say, time_of
from jsonprocess import JsonProcess
from links import TcpLink

from autopilot import PX4, Autopilot, attitude, heartbeat

pytestmark = pytest.mark.alone

NOTICED_WITHIN = 7.0
CONNECT_TIMEOUT = 1.0
DISCONNECT_TIMEOUT = 1.0
STATUS_PERIOD_MS = 1000
LINK_FAILED = 4


def reset(connection: socket.socket) -> None:
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


def half_close(connection: socket.socket) -> None:
    connection.shutdown(socket.SHUT_WR)


def close(connection: socket.socket) -> None:
    connection.close()


def meet(host: JsonProcess, autopilot: Autopilot) -> None:
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4))
    host.wait_for("autopilotStatus", lambda status: status == 2)


@pytest.mark.parametrize("leave", [reset, half_close, close])
def test_peer_that_leaves_is_dialled_again_at_once(hosts, leave):
    link = TcpLink()
    autopilot = Autopilot(link)
    host = hosts.start(link, watched=True)
    meet(host, autopilot)
    seconds = []
    for number in range(1, rounds(6) + 1):
        old = link.connection
        begin = time.monotonic()
        leave(old)
        autopilot.meet(host)
        autopilot.send(attitude(float(number)))
        host.wait_for("roll", lambda roll, wanted=number: roll == wanted)
        seconds.append(time.monotonic() - begin)
        old.close()
    say(f"telemetry after {leave.__name__}", seconds)
    assert sorted(seconds)[len(seconds) // 2] < DISCONNECT_TIMEOUT + SLACK
    assert max(seconds) < NOTICED_WITHIN
    hosts.end()


def test_peer_that_falls_silent_is_noticed_and_dialled_again(hosts):
    """Several at once, as it takes its time. Bytes that are no heartbeat of an autopilot are silence too."""
    links = [TcpLink() for _ in range(4)]
    autopilots = [Autopilot(link) for link in links]
    started = [hosts.start(link, watched=True, APP__STATUS_PERIOD_MS=STATUS_PERIOD_MS) for link in links]
    for host, autopilot in zip(started, autopilots, strict=True):
        meet(host, autopilot)
    for autopilot in autopilots:
        autopilot.send(heartbeat(PX4))
    silent_since = time.time()
    links[0].write(bytes(100_000))
    autopilots[1].send(attitude(1.0), heartbeat(PX4), source=(255, 190))
    noticed = []
    dialled = []
    for host, autopilot in zip(started, autopilots, strict=True):
        lost = host.wait_for_event("link-lost")
        assert lost["reason"] == "autopilot silent"
        noticed.append(time_of(lost) - silent_since)
        dialled.append(time_of(host.wait_for_event("link-open")) - silent_since)
        autopilot.link.take_client(30)
        autopilot.send(heartbeat(PX4), attitude(2.0))
        host.wait_for("roll", lambda roll: roll == 2.0)
    say("silence noticed", noticed)
    say("dialled again after silence", dialled)
    assert max(noticed) < NOTICED_WITHIN
    assert max(dialled) < NOTICED_WITHIN + DISCONNECT_TIMEOUT + SLACK
    hosts.end()


class BlackHole(TcpLink):
    """An address whose packets get no answer: a queue of connections that is full."""

    def __init__(self):
        super().__init__(socket.create_server(("127.0.0.1", 0), backlog=0))
        self.fillers: list[socket.socket] = []
        while not self.fillers or self._is_taken(self.fillers[-1]):
            self.fillers.append(self._dial())

    def open(self) -> None:
        self.listener.listen(16)
        for filler in self.fillers:
            filler.close()

    def take_living_client(self, timeout: float) -> None:
        """Those that filled the queue have hung up."""
        self.take_client(timeout)
        while self._has_hung_up():
            self.connection.close()
            self.take_client(timeout)

    def _has_hung_up(self) -> bool:
        readable, _, _ = select.select([self.connection], [], [], 0.2)
        return bool(readable) and not self.connection.recv(1, socket.MSG_PEEK)

    def _dial(self) -> socket.socket:
        filler = socket.socket()
        filler.setblocking(False)
        filler.connect_ex(self.listener.getsockname())
        return filler

    @staticmethod
    def _is_taken(filler: socket.socket) -> bool:
        return bool(select.select([], [filler], [], 0.2)[1])


@pytest.fixture
def black_hole() -> Iterator[BlackHole]:
    made = BlackHole()
    yield made
    for filler in made.fillers:
        filler.close()
    made.close()


def longest_pause(records: list[dict]) -> float:
    times = [time_of(record) for record in records]
    return max(later - earlier for earlier, later in zip(times, times[1:], strict=False))


def test_address_that_never_answers_blocks_for_the_connect_timeout_and_is_told_of(hosts, black_hole):
    host = hosts.start(black_hole, watched=True)
    failures = [host.wait_for_event("link-failed") for _ in range(3)]
    pause = longest_pause(host.records)
    print(f"\nlongest silence of a host that dials into the void: {pause:.3f} s")
    assert CONNECT_TIMEOUT * 0.9 < pause < CONNECT_TIMEOUT + SLACK
    host_name, port = black_hole.listener.getsockname()
    for failure in failures:
        assert f"tcp:{host_name}:{port} did not open" in failure["reason"]
        assert "timed out" in failure["reason"]
        assert "next try in" in failure["reason"]
    black_hole.open()
    host.wait_for_event("link-open")
    black_hole.take_living_client(30)
    Autopilot(black_hole).send(heartbeat(PX4), attitude(1.5))
    assert host.wait_for("roll") == 1.5


@pytest.mark.parametrize("moment", [0.0, 0.3, 0.8])
def test_signal_ends_a_host_that_dials_into_the_void(hosts, black_hole, moment):
    host = hosts.start(black_hole, watched=True)
    host.wait_for_event("link-failed")
    time.sleep(moment)  # a moment of its pause, or of its next try
    begin = time.monotonic()
    host.ask_to_end()
    assert host.wait_for_end() == 0
    assert time.monotonic() - begin < CONNECT_TIMEOUT + SLACK


def test_unwatched_host_gives_an_address_that_never_answers_up(hosts, black_hole):
    host = hosts.start(black_hole)
    assert host.wait_for_end() == LINK_FAILED
    [failure] = [record for record in host.records if record.get("event") == "link-failed"]
    assert "timed out" in failure["reason"]
