# SPDX-License-Identifier: MIT
import random

import pytest
from frameparser import FrameParser, message_id
from pymavlink.dialects.v20 import ardupilotmega as mavlink

from autopilot import ARDUPILOT, PX4, attitude, heartbeat

# As long as the longest frame: whatever a broken one before it claims, it is over after this.
LONGEST_FRAME = 280
QUIET = bytes(LONGEST_FRAME)
ATTITUDE = mavlink.MAVLINK_MSG_ID_ATTITUDE


@pytest.fixture
def host(hosts, link, autopilot):
    started = hosts.start(link, "--script", "-")
    autopilot.meet(started)
    return started


def test_our_heartbeat_says_who_we_are(host, autopilot):
    ours = autopilot.receive("HEARTBEAT")
    fields = ours.to_dict()
    assert fields == {
        "mavpackettype": "HEARTBEAT",
        "type": 18,
        "autopilot": 8,
        "base_mode": 0,
        "custom_mode": 0,
        "system_status": 4,
        "mavlink_version": 3,
    }
    assert (ours.get_srcSystem(), ours.get_srcComponent()) == (2, 5)
    frame = bytes(ours.get_msgbuf())
    assert (frame[0], frame[2], frame[3]) == (0xFD, 0, 0)


def test_the_first_heartbeat_is_told_of_once(hosts, link, autopilot):
    host = hosts.start(link, APP__VERBOSE="true")
    autopilot.meet(host)
    for _ in range(3):
        autopilot.receive("HEARTBEAT")
    told = [line for line in host.log_lines if "heartbeat sent" in line]
    assert told == ["[AP] Dbg: First MAVLink heartbeat sent"]


def test_our_ids_are_those_of_the_settings(hosts, link, autopilot):
    host = hosts.start(link, MAV__SYSTEM_ID=7, MAV__COMPONENT_ID=261)
    autopilot.meet(host)
    ours = autopilot.receive("HEARTBEAT")
    assert (ours.get_srcSystem(), ours.get_srcComponent()) == (7, 5)


def test_our_ids_can_be_changed_while_running(host, autopilot):
    host.write_line("set MAV SYSTEM_ID 42")
    host.wait_for_log("Updated: MAV/SYSTEM_ID=42")
    assert (
        autopilot.receive("HEARTBEAT", lambda message: message.get_srcSystem() == 42).get_srcComponent() == 5
    )


@pytest.mark.parametrize(("kind", "line"), [(PX4, "PX4 Detected"), (ARDUPILOT, "ArduPilot Detected")])
def test_an_autopilot_is_detected_by_its_heartbeat(host, autopilot, kind, line):
    assert host.wait_for("autopilotStatus") == 0
    autopilot.send(heartbeat(kind), source=(33, 44))
    host.wait_for_log("[AP] Autopilot systemid detected  33")
    host.wait_for_log(f"[AP] {line}")
    host.wait_for("autopilotStatus", lambda status: status == 2)


def noise() -> bytes:
    generator = random.Random(11)
    return bytes(generator.randrange(256) for _ in range(20000))


def starts_of_frames() -> bytes:
    generator = random.Random(12)
    return b"".join(bytes([generator.choice((0xFD, 0xFE)), generator.randrange(256), 0]) for _ in range(3000))


def broken_frames() -> bytes:
    """Good frames with one byte changed, cut short, or with a length that lies."""
    generator = random.Random(13)
    encoder = mavlink.MAVLink(None, 1, 1)
    damaged = []
    for i in range(200):
        frame = bytearray(attitude(float(i)).pack(encoder, force_mavlink1=i % 2 == 1))
        if i % 3 == 0:
            frame[generator.randrange(1, len(frame))] ^= 1 << generator.randrange(8)
        elif i % 3 == 1:
            del frame[generator.randrange(1, len(frame)) :]
        else:
            frame[1] = generator.randrange(256)
        damaged.append(bytes(frame))
    return b"".join(damaged)


@pytest.mark.parametrize(
    "garbage",
    [noise(), b"\xfd" * 5000, b"\xfe" * 5000, b"\x00" * 5000, starts_of_frames(), broken_frames()],
    ids=["noise", "all fd", "all fe", "all zero", "starts of frames", "broken frames"],
)
def test_after_garbage_messages_come_through_again(host, autopilot, garbage):
    after = autopilot.encode(heartbeat(PX4)) + autopilot.encode(attitude(0.5, 0.5, 0.5))
    stream = garbage + QUIET + after
    attitudes = [frame for frame in FrameParser().parse(stream) if message_id(frame) == ATTITUDE]
    autopilot.link.write(stream)
    host.wait_for("yaw", lambda value: value == 0.5)
    host.wait_for("autopilotStatus", lambda status: status == 2)
    assert len(host.values("yaw")) == len(attitudes)


def unknown_frame_ending_in(last: int) -> bytes:
    """A version 2 frame of an id that no dialect of ours knows; of these the checksum is not looked at."""
    return bytes([0xFD, 1, 0, 0, 0, 1, 1, 0xB4, 0x01, 0x00, 5, 0x11, last])


def test_unknown_messages_are_passed_over(host, autopilot):
    autopilot.link.write(unknown_frame_ending_in(0x22) + autopilot.encode(attitude(0.25)))
    assert host.wait_for("roll") == 0.25


def test_a_bad_frame_that_ends_in_a_start_marker_hides_what_follows(host, autopilot):
    hidden = autopilot.encode(attitude(0.25))
    stream = unknown_frame_ending_in(0xFD) + hidden + QUIET + autopilot.encode(attitude(0.5))
    assert len(list(FrameParser().parse(stream))) == 1
    autopilot.link.write(stream)
    assert host.wait_for("roll") == 0.5


def test_frames_may_come_in_pieces(host, autopilot):
    for byte in autopilot.encode(heartbeat(PX4)) + autopilot.encode(attitude(0.75)):
        autopilot.link.write(bytes([byte]))
    assert host.wait_for("roll") == 0.75


def test_many_frames_at_once_keep_their_order(host, autopilot):
    rolls = [i / 8 for i in range(2000)]
    autopilot.send(*(attitude(roll) for roll in rolls))
    host.wait_for("roll", lambda roll: roll == rolls[-1])
    assert host.values("roll") == rolls


@pytest.fixture
def watched_host(hosts, link, autopilot):
    started = hosts.start(link, watched=True)
    autopilot.meet(started)
    return started


def test_a_link_that_breaks_is_opened_again(watched_host, link, autopilot):
    host = watched_host
    autopilot.send(heartbeat(PX4), attitude(1.0))
    host.wait_for("roll", lambda roll: roll == 1.0)
    for roll in 2.0, 3.0:
        link.interrupt()
        link.restore()
        autopilot.meet(host)
        autopilot.send(attitude(roll))
        host.wait_for("roll", lambda value, r=roll: value == r)
        autopilot.receive("HEARTBEAT")


def test_a_link_that_breaks_before_detection_is_opened_again(watched_host, link, autopilot):
    link.interrupt()
    link.restore()
    autopilot.meet(watched_host)
    autopilot.send(heartbeat(PX4))
    watched_host.wait_for("autopilotStatus", lambda status: status == 2)


def test_a_frame_cut_off_by_a_break_costs_at_most_the_next_messages(watched_host, link, autopilot):
    host = watched_host
    autopilot.send(heartbeat(PX4))
    host.wait_for("autopilotStatus", lambda status: status == 2)
    autopilot.link.write(autopilot.encode(attitude(1.0))[:20])
    link.interrupt()
    link.restore()
    autopilot.meet(host)
    autopilot.link.write(QUIET)
    autopilot.send(attitude(2.0))
    assert host.wait_for("roll") == 2.0
