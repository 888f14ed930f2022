# SPDX-License-Identifier: MIT
"""The ground link over a TCP link that stalls or breaks in the middle of a payload."""

import fcntl
import signal
import socket
import struct
import termios
import time

import onboard
import pytest
from groundend import GroundEnd
from jsonprocess import TIMEOUT
from links import TcpLink

from autopilot import Autopilot

PAYLOAD = bytes(range(256)) * 255
SENDS = 3  # of about 90 kB on the wire each
TOO_MANY = 80  # for the buffers of the system: these take 4 MB
SMALL_BUFFER = 4096


@pytest.fixture
def link():
    made = TcpLink()
    made.listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, SMALL_BUFFER)
    yield made
    made.close()


@pytest.fixture
def file(tmp_path):
    path = tmp_path / "payload"
    path.write_bytes(PAYLOAD)
    return path


def unread(connection: socket.socket) -> int:
    buffer = fcntl.ioctl(connection.fileno(), termios.FIONREAD, struct.pack("i", 0))
    return struct.unpack("i", buffer)[0]


def wait_until_stalled(host, connection: socket.socket) -> None:
    """Nothing more comes in, and the host gets nothing more done, though it is not done."""
    deadline = time.monotonic() + TIMEOUT
    seen = ()
    while (now := (unread(connection), sent_by(host))) != seen or 0 in now:
        assert time.monotonic() < deadline
        seen = now
        time.sleep(0.4)  # nothing announces that nothing happens


def sent_by(host) -> int:
    return sum(record.get("event") == "sent" for record in host.records)


def reset(link: TcpLink) -> None:
    link.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    link.interrupt()


def test_payloads_survive_a_peer_that_stalls(hosts, link, autopilot, file):
    host = hosts.start(link, "--script", "-", MAV__V2_EXTENSION="true")
    autopilot.meet(host)
    ground = GroundEnd(autopilot)
    for _ in range(TOO_MANY):
        host.write_line(f"send 3 254 @{file}")
    ground.ping(1)
    wait_until_stalled(host, link.connection)
    assert sent_by(host) < TOO_MANY
    for _ in range(TOO_MANY):
        assert ground.payload(lambda p: p.payload == 254).data == PAYLOAD
    ground.ping(2)
    assert ground.next_carrier(lambda f: f.kind == onboard.PONG and f.body[0] == 2)


def test_second_signal_ends_a_host_whose_peer_has_stalled(hosts, link, autopilot, file):
    host = hosts.start(link, "--script", "-", MAV__V2_EXTENSION="true")
    autopilot.meet(host)
    for _ in range(TOO_MANY):
        host.write_line(f"send 3 254 @{file}")
    wait_until_stalled(host, link.connection)
    deadline = time.monotonic() + TIMEOUT
    while host.is_running() and time.monotonic() < deadline:
        host.process.send_signal(signal.SIGTERM)  # two that come at once are one
        time.sleep(0.1)
    assert host.wait_for_end() == 128 + signal.SIGTERM


@pytest.mark.parametrize("watched", [True, False], ids=["watched", "unwatched"])
def test_host_survives_a_peer_that_resets_in_the_middle_of_a_payload(hosts, link, autopilot, file, watched):
    host = hosts.start(link, "--script", "-", watched=watched, MAV__V2_EXTENSION="true")
    for _ in range(5 if watched else 1):
        autopilot.meet(host)
        ground = GroundEnd(autopilot)
        autopilot.send_heartbeat()
        for _ in range(SENDS):
            host.write_line(f"send 3 254 @{file}")
        ground.next_carrier(lambda f: f.kind == onboard.TELEMETRY and len(f.body) == onboard.MAX_BODY)
        reset(link)
        autopilot.received.clear()
        autopilot.position = 0
        for _ in range(SENDS):
            host.wait_for_event("sent")
    if not watched:
        return
    autopilot.meet(host)
    ground = GroundEnd(Autopilot(link))
    ground.ping(77)
    assert ground.pong()[1].timestamp == 77
