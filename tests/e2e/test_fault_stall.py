# SPDX-License-Identifier: MIT
"""A peer that accepts and reads nothing, or a byte a second."""

import time

import onboard
import pytest
from faultrounds import SLACK, say, time_of
from jsonprocess import JsonProcess
from links import SerialLink
from stalledpeer import FILLING, StalledPeer

from autopilot import PX4, Autopilot, attitude, heartbeat

pytestmark = pytest.mark.alone

WRITE_TIMEOUT = 0.5
DISCONNECT_TIMEOUT = 1.0
SUBSCRIBE_PERIOD = 10.0
NOTICED_WITHIN = 7.0
# Longer than any test here: the host sends its heartbeats and nothing else by itself.
NO_STATUS_MS = 600_000
MESSAGES = 50
PERIOD = 0.05


@pytest.fixture
def peer():
    made = StalledPeer()
    yield made
    made.close()


def lateness(host: JsonProcess, autopilot: Autopilot, messages: int = MESSAGES) -> list[float]:
    """Of telemetry that comes at its rate, whether what came before has been published or not."""
    sent = []
    for number in range(1, messages + 1):
        sent.append(time.time())
        autopilot.send(attitude(float(number)))
        time.sleep(PERIOD)
    host.wait_for("roll", lambda roll: roll == messages)
    published = [record for record in host.records if record.get("signal") == "roll"]
    assert [record["value"] for record in published] == [float(number) for number in range(1, messages + 1)]
    return [time_of(record) - begin for record, begin in zip(published, sent, strict=True)]


@pytest.mark.parametrize("way", ["reads nothing", "sips"])
def test_telemetry_comes_past_a_send_that_blocks(hosts, peer, way):
    """Nobody is detected, so that the heartbeat is all that is sent."""
    host = hosts.start(peer, "--script", "-", MAV__V2_EXTENSION="true", APP__STATUS_PERIOD_MS=NO_STATUS_MS)
    autopilot = Autopilot(peer)
    autopilot.meet(host)
    peer.fill(host)
    if way == "sips":
        peer.sip()
    seconds = lateness(host, autopilot)
    say(f"telemetry while the peer {way}", seconds)
    assert max(seconds) > WRITE_TIMEOUT / 2, "nothing blocked"
    assert max(seconds) < WRITE_TIMEOUT + SLACK


def test_telemetry_comes_past_everything_that_is_sent(hosts, peer):
    """At the product's settings: heartbeats, statuses, and two subscriptions of fifteen messages."""
    host = hosts.start(peer, "--script", "-", MAV__V2_EXTENSION="true")
    autopilot = Autopilot(peer)
    autopilot.meet(host)
    peer.fill(host, lambda: autopilot.send(heartbeat(PX4)))
    seconds = lateness(host, autopilot, int(2 * SUBSCRIBE_PERIOD / PERIOD))
    say("telemetry at the product's settings", seconds)
    assert max(seconds) > WRITE_TIMEOUT / 2, "nothing blocked"
    assert max(seconds) < WRITE_TIMEOUT + SLACK


def test_silence_of_a_peer_that_reads_nothing_is_noticed_in_time(hosts, peer):
    host = hosts.start(peer, "--script", "-", watched=True, MAV__V2_EXTENSION="true")
    autopilot = Autopilot(peer)
    autopilot.meet(host)
    peer.fill(host, lambda: autopilot.send(heartbeat(PX4)))
    autopilot.send(heartbeat(PX4))
    silent_since = time.time()
    noticed = time_of(host.wait_for_event("link-lost")) - silent_since
    dialled = time_of(host.wait_for_event("link-open")) - silent_since
    print(f"\nsilence noticed after {noticed:.1f} s, dialled again after {dialled:.1f} s")
    assert noticed < NOTICED_WITHIN + SLACK
    assert dialled < NOTICED_WITHIN + DISCONNECT_TIMEOUT + 2 * SLACK
    assert not any(record.get("event") == "link-failed" for record in host.records)


def test_each_send_blocks_for_its_timeout_at_most(hosts, peer):
    host = hosts.start(peer, "--script", "-", MAV__V2_EXTENSION="true", APP__STATUS_PERIOD_MS=NO_STATUS_MS)
    Autopilot(peer).meet(host)
    peer.fill(host)
    sends = 4
    begin = time.monotonic()
    peer.ask_for(host, sends)
    peer.wait_for_sends(host)
    passed = time.monotonic() - begin
    heartbeats = 1 + int(passed)  # they block as well
    assert sends * WRITE_TIMEOUT * 0.9 < passed < (sends + heartbeats) * WRITE_TIMEOUT + SLACK


def test_what_has_gathered_is_gone_after_the_reconnect(hosts, peer):
    host = hosts.start(peer, "--script", "-", watched=True, MAV__V2_EXTENSION="true")
    autopilot = Autopilot(peer)
    autopilot.meet(host)
    peer.fill(host, lambda: autopilot.send(heartbeat(PX4)))
    sent, received = peer.gathered()
    print(f"\n{peer.sends} frames sent; {sent} bytes wait on the host's side and {received} on the peer's")
    assert sent > 5 * received
    host.wait_for_event("link-lost")  # nobody is heard any more
    host.wait_for_event("link-open")
    peer.take_client(30)
    autopilot = Autopilot(peer)
    autopilot.receive("HEARTBEAT")
    assert FILLING.encode() not in b"".join(onboard.carried_frames(autopilot.received))
    autopilot.send(heartbeat(PX4), attitude(3.5))
    host.wait_for("roll", lambda roll: roll == 3.5)
    assert peer.gathered()[0] < sent / 10


def test_serial_line_that_nobody_reads_blocks_nothing_and_forgets_what_gathered(hosts, tmp_path):
    link = SerialLink(tmp_path)
    autopilot = Autopilot(link)
    host = hosts.start(link, "--script", "-", watched=True, MAV__V2_EXTENSION="true")
    autopilot.meet(host)
    sends = 2000
    begin = time.monotonic()
    for _ in range(sends):
        host.write_line(f"send 3 254 text:{FILLING}")
    for _ in range(sends):
        host.wait_for_event("sent")
    assert time.monotonic() - begin < sends * WRITE_TIMEOUT / 10
    say("telemetry while nobody reads the serial line", lateness(host, autopilot, 20))
    link.interrupt()
    host.wait_for_event("link-lost")
    link.restore()
    host.wait_for_event("link-open")
    autopilot = Autopilot(link)
    autopilot.receive("HEARTBEAT")
    autopilot.send(attitude(3.5))
    host.wait_for("roll", lambda roll: roll == 3.5)
    assert FILLING.encode() not in b"".join(onboard.carried_frames(autopilot.received))
    hosts.end()
    link.close()
