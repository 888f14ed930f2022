# SPDX-License-Identifier: MIT
"""Payloads between the host and the ground, with pymavlink at the far end of the host's link."""

import struct

import onboard
import pytest
from conftest import STATUS_PERIOD_MS
from groundend import GroundEnd

from autopilot import ARDUPILOT, PX4, distance

ALTIMETER = struct.Struct("<hfB")
# Around one, two and all fragments; 65472 + 88 does not fit the field of the offset.
SIZES = [1, 84, 85, 88, 89, 176, 177, 4096, 65472, 65473, 65535]


def pattern(size: int) -> bytes:
    return bytes(i * 7 % 251 for i in range(size))


@pytest.fixture
def start(hosts, link, autopilot):
    def start(v2: bool = True, *arguments, **settings):
        host = hosts.start(link, "--script", "-", *arguments, MAV__V2_EXTENSION=str(v2).lower(), **settings)
        autopilot.meet(host)
        return host

    return start


@pytest.fixture
def ground(autopilot) -> GroundEnd:
    return GroundEnd(autopilot)


def is_altimeter_status(payload: onboard.Payload) -> bool:
    return (payload.message, payload.payload) == (1, 4)


@pytest.mark.parametrize("v2", [True, False], ids=["v2", "data"])
def test_altimeter_status_arrives(start, autopilot, ground, v2):
    start(v2)
    before = ground.payload(is_altimeter_status)
    assert ALTIMETER.unpack(before.data) == (7, 0.0, 4)
    autopilot.send_heartbeat()
    autopilot.send(distance(725))
    status = ground.payload(lambda p: is_altimeter_status(p) and ALTIMETER.unpack(p.data)[1] == 7.25)
    assert ALTIMETER.unpack(status.data) == (7, 7.25, 0)
    assert status.payload_id > before.payload_id


@pytest.mark.parametrize(("v2", "name"), [(True, "V2_EXTENSION"), (False, "DATA16")], ids=["v2", "data"])
def test_pings_are_answered(start, ground, v2, name):
    host = start(v2)
    for timestamp in 1_700_000_000_123, 0, -1, 2**63 - 1:
        ground.ping(timestamp)
        message, pong = ground.pong()
        assert pong == onboard.Ping(timestamp, (0, 2))
        assert message.get_type() == name
        assert (message.get_srcSystem(), message.get_srcComponent()) == (2, 5)
        if v2:
            assert (message.target_network, message.target_system, message.target_component) == (0, 255, 0)
    host.wait_for_log("Protocol version received from Zor")
    log = host.log_lines
    assert sum("Ping message: timestamp" in line for line in log) == 1
    assert '[COMM] Date-time:  "2023-11-15 03:43:20"' in log  # half past five east of Greenwich
    assert '[COMM] "Protocol version on Kelm Tervon: 0.2"' in log
    assert '[DISPATCHER] "Protocol version received from Zor: 0.2"' in log


def test_whoever_spoke_last_is_answered(start, ground, autopilot):
    start()
    for system in 254, 7:
        GroundEnd(autopilot, (system, 1)).ping()
        message, _ = ground.pong()
        assert message.target_system == system


@pytest.mark.parametrize("size", SIZES)
def test_payloads_reach_the_host(start, ground, size):
    host = start()
    payload = onboard.Payload(size % 65536, 3, 200, pattern(size))
    ground.send_payload(payload)
    received = host.wait_for("communicator.receivedData")
    assert received == {
        "id": payload.payload_id,
        "messageId": 3,
        "payloadId": 200,
        "data": payload.data.hex(),
    }


@pytest.mark.parametrize("size", SIZES)
@pytest.mark.parametrize("kind", [254, 7], ids=["at-once", "queued"])
def test_payloads_reach_the_ground(start, ground, tmp_path, size, kind):
    host = start()
    path = tmp_path / "payload"
    path.write_bytes(pattern(size))
    host.write_line(f"send 3 {kind} @{path}")
    sent = host.wait_for_event("sent")["payload"]
    assert sent == {"id": sent["id"], "messageId": 3, "payloadId": kind, "size": size}
    arrived = ground.payload(lambda p: p.payload == kind)
    assert arrived == onboard.Payload(sent["id"], 3, kind, pattern(size))


@pytest.mark.parametrize(
    ("size", "name"),
    [(1, "DATA16"), (4, "DATA16"), (5, "DATA32"), (20, "DATA32"), (21, "DATA64")]
    + [(52, "DATA64"), (53, "DATA96"), (84, "DATA96")],
)
def test_data_messages_carry_up_to_84_bytes(start, ground, size, name):
    host = start(False)
    host.write_line(f"send 3 254 hex:{pattern(size).hex()}")
    message, frame = ground.next_carrier(lambda f: f.body[7:8] == b"\xfe")
    assert message.get_type() == name
    assert onboard.parse_fragment(frame.body).data == pattern(size)
    assert bytes(message.data)[message.len :].strip(b"\0") == b""


def test_data_messages_carry_no_full_fragment(start, ground):
    host = start(False)
    host.write_line(f"send 3 254 hex:{pattern(89).hex()}")  # 88 and 1
    hint = host.wait_for_event("hint")["message"]
    assert "up to 84 bytes" in hint and "this one has 89" in hint
    _, frame = ground.next_carrier(lambda f: f.body[7:8] == b"\xfe")
    assert onboard.parse_fragment(frame.body).offset == 88
    host.write_line(f"send 3 254 hex:{pattern(85).hex()}")  # one frame of 97 bytes: nothing
    host.write_line("send 3 254 text:last")
    _, frame = ground.next_carrier(lambda f: f.body[7:8] == b"\xfe")
    assert onboard.parse_fragment(frame.body).data == b"last"


def test_mode_is_switched_at_run_time(start, ground):
    host = start(False)
    for value, name in ("true", "V2_EXTENSION"), ("false", "DATA32"), ("true", "V2_EXTENSION"):
        host.write_line(f"set MAV V2_EXTENSION {value}")
        host.write_line(f"send 3 254 text:{name}")
        body = name.encode()
        message, _ = ground.next_carrier(lambda f, body=body: f.body[8:] == body)
        assert message.get_type() == name


def test_queued_payloads_leave_in_order(start, ground):
    host = start()
    for i in range(10):
        host.write_line(f"send 3 7 hex:{i:02x}")
    arrived = [ground.payload(lambda p: p.payload == 7).data[0] for _ in range(10)]
    assert arrived == list(range(10))


def test_malformed_frames_are_dropped_with_one_warning(start, ground):
    host = start()
    malformed = [
        b"",
        b"\xfc",
        b"\xfc\x05abcd",
        onboard.pack_frame(onboard.DATA, bytes(7)),
        onboard.pack_frame(onboard.TELEMETRY),
        onboard.pack_frame(onboard.PING, bytes(7)),
        onboard.pack_frame(onboard.PONG),
    ]
    for frame in malformed:
        ground.send_frame(frame)
    ground.send_frame(onboard.pack_frame(3, bytes(7)))  # a type that nobody uses is none of them
    ground.ping(1)
    assert ground.pong()[1].timestamp == 1
    host.wait_for_log("Ping message")  # comes after the warnings
    warnings = [line for line in host.log_lines if line.startswith("[COMM] WARN:")]
    assert warnings == ["[COMM] WARN: Received invalid message"] * len(malformed)
    assert host.values("communicator.receivedData") == []


def test_lying_length_is_clamped(start, ground, autopilot):
    host = start()
    message = onboard.to_v2_extension(b"\xfc")
    message.payload[0] = 255
    autopilot.send(message, source=ground.source)
    ground.send_payload(onboard.Payload(1, 2, 3, b"alive"))
    assert host.wait_for("communicator.receivedData")["data"] == b"alive".hex()


def test_zeros_that_mavlink_trims_are_part_of_the_payload(start, ground):
    """Fragment header, data and checksum may all end in zeros, which a MAVLink 2 frame does not carry."""
    host = start()
    frame = onboard.payload_frames(onboard.Payload(0, 0, 0, bytes(40)), onboard.DATA)[0]
    ground.send_frame(frame[:-2] + b"\0\0")  # nobody looks at the checksum
    assert host.wait_for("communicator.receivedData")["data"] == bytes(40).hex()


def test_data_messages_from_the_ground_are_ignored(start, ground, autopilot):
    host = start()
    for size in 1, 40, 60:
        frame = onboard.payload_frames(onboard.Payload(1, 2, 3, pattern(size)), onboard.DATA)[0]
        autopilot.send(onboard.to_data(frame), source=ground.source)
    ground.send_payload(onboard.Payload(2, 2, 3, b"last"))
    assert host.wait_for("communicator.receivedData")["id"] == 2


def test_telemetry_from_the_ground_is_logged_and_not_handed_on(start, ground):
    host = start()
    for frame in onboard.payload_frames(onboard.Payload(1, 2, 3, pattern(100)), onboard.TELEMETRY):
        ground.send_frame(frame)
    host.wait_for_log("[COMM] Telemetry Message received")
    ground.send_payload(onboard.Payload(2, 2, 3, b"last"))
    assert host.wait_for("communicator.receivedData")["id"] == 2


def test_px4_and_data_messages_do_not_go_together(start, autopilot):
    host = start(False)
    autopilot.send_heartbeat(PX4)
    hint = host.wait_for_event("hint")["message"]
    assert "a PX4 does not relay DATA messages" in hint
    assert "set MAV V2_EXTENSION true" in hint
    host.write_line("set MAV V2_EXTENSION true")
    host.write_line(f"send 3 254 hex:{pattern(177).hex()}")
    hint = host.wait_for_event("hint")["message"]
    assert "up to 176 bytes" in hint and "this one has 177" in hint


def test_ardupilot_gives_no_hints(start, ground, autopilot):
    host = start(True)
    autopilot.send_heartbeat(ARDUPILOT)
    host.wait_for("autopilotStatus", lambda status: status == 2)
    host.write_line(f"send 3 254 hex:{pattern(2000).hex()}")
    assert ground.payload(lambda p: p.payload == 254).data == pattern(2000)
    assert not [r for r in host.records if r.get("event") == "hint"]


@pytest.mark.parametrize(
    ("line", "complaint"),
    [
        ("send 1", "expected send MESSAGEID PAYLOADID"),
        ("send 1 256 text:a", "expected send MESSAGEID PAYLOADID"),
        ("send 1 7 hex:0", "expected pairs of hexadecimal digits"),
        ("send 1 7 text:", "an empty payload cannot be sent"),
        ("send 1 7 a", "expected hex:DIGITS, text:WORDS or @FILE"),
    ],
)
def test_bad_payload_ends_the_script(start, line, complaint):
    host = start()
    host.write_line(line)
    assert host.wait_for_end() == 1
    assert any("script line 1: " + complaint in logged for logged in host.log_lines)


def test_unreadable_and_oversized_files_end_the_script(start, tmp_path):
    host = start()
    host.write_line(f"send 1 7 @{tmp_path / 'missing'}")
    assert host.wait_for_end() == 2
    assert any("script line 1: cannot read file" in line for line in host.log_lines)


def test_oversized_payload_ends_the_script(start, tmp_path):
    path = tmp_path / "payload"
    path.write_bytes(bytes(65536))
    host = start()
    host.write_line(f"send 1 7 @{path}")
    assert host.wait_for_end() == 2
    assert any(f"file {path}: a payload has at most 65535 bytes" in line for line in host.log_lines)


def test_host_that_answers_in_a_burst_stays_alive(start, ground):
    """Pings by the hundred, while payloads go out: pongs may fall between fragments, nothing gets lost."""
    host = start()
    timestamps = []
    for burst in range(10):
        host.write_line(f"send 3 254 hex:{pattern(2000).hex()}")
        for i in range(30):
            ground.ping(30 * burst + i)
        timestamps += [ground.pong()[1].timestamp for _ in range(30)]
    assert timestamps == list(range(300))


def test_statuses_keep_coming_at_their_period(start, ground):
    start()
    ids = [ground.payload(is_altimeter_status).payload_id for _ in range(1000 // STATUS_PERIOD_MS)]
    assert ids == list(range(ids[0], ids[0] + len(ids)))
