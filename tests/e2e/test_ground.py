# SPDX-License-Identifier: MIT
"""noflailsten-ground, with pymavlink as the autopilot and as the vehicle behind it."""

import math
import os
import re
import select
import signal
import socket
import struct
import subprocess
import time
from collections.abc import Callable, Iterator
from pathlib import Path

import onboard
import pytest
from groundpeer import GroundPeer
from jsonprocess import TIMEOUT, JsonProcess
from links import SerialLink, TcpLink
from onboard import Payload
from pymavlink.dialects.v20 import ardupilotmega as mavlink

DONE, USAGE, BAD_FILE, LINK_FAILED, NOT_HAPPENED = 0, 1, 2, 4, 5
PATIENT = ("--timeout", "30")  # for a loaded machine
ALTIMETER = struct.pack("<HfB", 7, 1.5, 3)


def address(link: TcpLink | SerialLink) -> str:
    if isinstance(link, TcpLink):
        host, port = link.listener.getsockname()
        return f"tcp:{host}:{port}"
    return f"{link.path},57600"


@pytest.fixture(params=["V2_EXTENSION", "DATA"])
def data_mode(request: pytest.FixtureRequest) -> bool:
    return request.param == "DATA"


@pytest.fixture
def peer(link) -> Iterator[GroundPeer]:
    made = GroundPeer(link)
    yield made
    made.end()


@pytest.fixture
def tcp_peer() -> Iterator[GroundPeer]:
    link = TcpLink()
    made = GroundPeer(link)
    yield made
    made.end()
    link.close()


@pytest.fixture
def start(bin_dir: Path, environment: dict[str, str]) -> Iterator[Callable[..., JsonProcess]]:
    """Starts the ground end on a peer's link, and waits until the peer hears it."""
    started: list[JsonProcess] = []

    def run(peer: GroundPeer, *arguments) -> JsonProcess:
        command = [bin_dir / "noflailsten-ground", "--connect", address(peer.link), "--json", *arguments]
        started.append(JsonProcess(command, environment))
        peer.meet()
        return started[-1]

    yield run
    for process in started:
        process.ask_to_end()
        assert process.wait_for_end() >= 0, process.story("It crashed.")


@pytest.fixture
def ground(bin_dir: Path, environment: dict[str, str]) -> Callable[..., subprocess.CompletedProcess]:
    """Runs the ground end to its end."""

    def run(*arguments, **options) -> subprocess.CompletedProcess:
        command = [str(bin_dir / "noflailsten-ground"), *map(str, arguments)]
        return subprocess.run(
            command, env=environment, capture_output=True, text=True, timeout=TIMEOUT, **options
        )

    return run


def events(process: JsonProcess, name: str) -> list[dict]:
    return [record for record in process.records if record["event"] == name]


# Heartbeats and framing


def test_heartbeat_of_a_ground_station_leaves_before_everything_else(peer, start):
    process = start(peer, "ping", "-c", "1")
    assert process.wait_for_end() == DONE
    first = peer.heard[0].message
    assert first.get_type() == "HEARTBEAT"
    assert (first.type, first.autopilot) == (mavlink.MAV_TYPE_GCS, mavlink.MAV_AUTOPILOT_INVALID)
    assert (first.get_srcSystem(), first.get_srcComponent()) == (255, 190)


def test_heartbeats_come_each_second(tcp_peer, start):
    start(tcp_peer, "watch")
    tcp_peer.wait_for(lambda: len(tcp_peer.heartbeats()) >= 3)
    times = [heard.time for heard in tcp_peer.heartbeats()]
    assert 1.8 < times[2] - times[0] < 4


def test_frames_are_mavlink_2_with_one_sequence(tcp_peer, start):
    assert start(tcp_peer, "send", "1", "2", f"text:{'x' * 2000}").wait_for_end() == DONE
    tcp_peer.wait_for(lambda: tcp_peer.closed)
    assert [heard.message.get_seq() for heard in tcp_peer.heard] == list(range(len(tcp_peer.heard)))
    assert all(heard.message.get_msgbuf()[0] == 0xFD for heard in tcp_peer.heard)


def test_v2_extension_is_addressed_to_all_systems(tcp_peer, start):
    assert start(tcp_peer, "ping", "-c", "1").wait_for_end() == DONE
    message = tcp_peer.frames()[0].message
    assert (message.target_network, message.target_system, message.target_component) == (0, 0, 0)


def test_system_id_is_that_of_all_frames(tcp_peer, start):
    assert start(tcp_peer, "--system-id", "200", "ping", "-c", "1").wait_for_end() == DONE
    assert {heard.message.get_srcSystem() for heard in tcp_peer.heard} == {200}


# Ping


def test_ping_reports_each_pong_and_a_summary(peer, start, data_mode):
    peer.data_mode = data_mode
    process = start(peer, "ping", "-c", "3", "-i", "0.05")
    assert process.wait_for_end() == DONE
    pongs = events(process, "pong")
    assert [pong["seq"] for pong in pongs] == [1, 2, 3]
    assert {pong["version"] for pong in pongs} == {"0.2"}
    times = [pong["roundTripMs"] for pong in pongs]
    assert all(0 < each < 10_000 for each in times)
    summary = process.records[-1]
    assert (summary["event"], summary["sent"], summary["received"]) == ("summary", 3, 3)
    assert summary["lossPercent"] == 0
    assert [summary["minMs"], summary["medianMs"], summary["maxMs"]] == sorted(times)


def test_ping_frame_carries_the_time_and_our_version(tcp_peer, start):
    before = time.time() * 1000
    process = start(tcp_peer, "ping", "-c", "5", "-i", "0.001")
    assert process.wait_for_end() == DONE
    frames = [heard.frame for heard in tcp_peer.frames(onboard.PING)]
    assert all(frame.crc_ok and len(frame.body) == 10 for frame in frames)
    pings = [onboard.parse_ping(frame.body) for frame in frames]
    assert {ping.version for ping in pings} == {(0, 2)}
    stamps = [ping.timestamp for ping in pings]
    assert stamps == sorted(set(stamps))
    assert before - 1 <= stamps[0] <= time.time() * 1000


@pytest.mark.parametrize(("version", "shown"), [((), "0.1"), ((3,), "3.1"), ((3, 4), "3.4")])
def test_ping_shows_the_version_and_what_is_missing_as_in_0_1(tcp_peer, start, version, shown):
    tcp_peer.answer = lambda ping, number: onboard.pack_ping(onboard.PONG, ping.timestamp, version)
    process = start(tcp_peer, "ping", "-c", "1")
    assert process.wait_for_event("pong")["version"] == shown


def test_ping_that_loses_some_tells_how_many_and_exits_0(tcp_peer, start):
    def answer(ping, number):
        return None if number == 2 else onboard.pack_ping(onboard.PONG, ping.timestamp)

    tcp_peer.answer = answer
    process = start(tcp_peer, "ping", "-c", "4", "-i", "0.02", "--timeout", "0.3")
    assert process.wait_for_end() == DONE
    assert [pong["seq"] for pong in events(process, "pong")] == [1, 3, 4]
    assert process.records[-1]["lossPercent"] == 25


def test_ping_without_an_answer_exits_5(tcp_peer, start):
    tcp_peer.answer = lambda ping, number: None
    process = start(tcp_peer, "ping", "-c", "2", "-i", "0.02", "--timeout", "0.2")
    assert process.wait_for_end() == NOT_HAPPENED
    summary, error = process.records
    assert (summary["sent"], summary["received"], summary["lossPercent"]) == (2, 0, 100)
    assert summary["minMs"] is summary["medianMs"] is summary["maxMs"] is None
    assert error["event"] == "error"
    assert process.log_lines == ["noflailsten-ground: no answer from the vehicle"]


def test_pong_of_another_ping_and_a_second_pong_do_not_count(tcp_peer, start):
    def answer(ping, number):
        tcp_peer.send(onboard.pack_ping(onboard.PONG, ping.timestamp - 1000))
        pong = onboard.pack_ping(onboard.PONG, ping.timestamp)
        tcp_peer.send(pong)
        return pong

    tcp_peer.answer = answer
    process = start(tcp_peer, "ping", "-c", "2", "-i", "0.1")
    assert process.wait_for_end() == DONE
    assert [pong["seq"] for pong in events(process, "pong")] == [1, 2]


def test_pings_of_others_are_never_answered(tcp_peer, start):
    process = start(tcp_peer, "watch", "-c", "1")
    tcp_peer.wait_for(lambda: bool(tcp_peer.heard))
    tcp_peer.send(onboard.pack_ping(onboard.PING, 12345))
    tcp_peer.send(*onboard.payload_frames(Payload(1, 9, 9, b"end")))
    assert process.wait_for_end() == DONE
    assert tcp_peer.frames() == []


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_signal_ends_a_ping_with_its_summary(peer, start, number):
    process = start(peer, "ping")
    process.wait_for_event("pong")
    process.ask_to_end(number)
    assert process.wait_for_end() == DONE
    assert process.records[-1]["event"] == "summary"


def test_ping_as_text_is_like_the_ping_people_know(tcp_peer, bin_dir, environment):
    command = [bin_dir / "noflailsten-ground", "--connect", address(tcp_peer.link), "ping", "-c", "2"]
    with subprocess.Popen(
        [*command, "-i", "0.01"], env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True
    ) as process:
        tcp_peer.meet()
        output, log = process.communicate(timeout=TIMEOUT)
    lines = output.splitlines()
    assert (process.returncode, log, len(lines)) == (DONE, "", 3)
    assert lines[0].startswith("pong seq=1 time=")
    assert lines[0].endswith(" ms version=0.2")
    assert lines[2].startswith("2 pings sent, 2 answered, 0.0 % loss; min/median/max ")


# Watch


def test_watch_decodes_the_altimeter_status(peer, start, data_mode):
    peer.data_mode = data_mode
    process = start(peer, "watch", "-c", "1")
    peer.wait_for(lambda: bool(peer.heard))
    peer.send(*onboard.payload_frames(Payload(77, 1, 4, ALTIMETER)))
    assert process.wait_for_end() == DONE
    payload = events(process, "payload")[0]
    assert (payload["id"], payload["messageId"], payload["payloadId"]) == (77, 1, 4)
    assert (payload["size"], payload["data"]) == (7, ALTIMETER.hex())
    assert payload["altimeter"] == {"value": 1.5, "status": 3}


@pytest.mark.parametrize("value", [math.nan, math.inf, 0.1, 13.69])
def test_watch_altimeter_value_reads_back_exactly_or_is_null(tcp_peer, start, value):
    body = struct.pack("<HfB", 7, value, 0)
    process = start(tcp_peer, "watch", "-c", "1")
    tcp_peer.wait_for(lambda: bool(tcp_peer.heard))
    tcp_peer.send(*onboard.payload_frames(Payload(1, 1, 4, body)))
    shown = process.wait_for_event("payload")["altimeter"]["value"]
    assert shown == (struct.unpack("<f", body[2:6])[0] if math.isfinite(value) else None)


@pytest.mark.parametrize(
    "payload",
    [
        Payload(0, 1, 4, ALTIMETER + b"\0"),
        Payload(0, 1, 4, ALTIMETER[:-1]),
        Payload(0, 1, 4, b"\x08" + ALTIMETER[1:]),
        Payload(0, 1, 5, ALTIMETER),
        Payload(0, 0, 4, ALTIMETER),
    ],
)
def test_watch_leaves_bodies_it_does_not_know_alone(tcp_peer, start, payload):
    process = start(tcp_peer, "watch", "-c", "1")
    tcp_peer.wait_for(lambda: bool(tcp_peer.heard))
    tcp_peer.send(*onboard.payload_frames(payload))
    shown = process.wait_for_event("payload")
    assert (shown["data"], shown["altimeter"]) == (payload.data.hex(), None)


@pytest.mark.parametrize("size", [1, 84, 85, 88, 89, 65535])
def test_watch_shows_payloads_whole_in_any_order(peer, start, size):
    data = os.urandom(size)
    frames = onboard.payload_frames(Payload(65535, 200, 7, data))
    process = start(peer, "watch", "-c", "1")
    peer.wait_for(lambda: bool(peer.heard))
    peer.send(*reversed(frames))
    assert process.wait_for_end() == DONE
    assert events(process, "payload")[0]["data"] == data.hex()


def test_watch_tells_of_payloads_that_stay_incomplete(tcp_peer, start):
    tcp_peer.data_mode = True  # 85 bytes make a frame of 97, more than a DATA message holds
    process = start(tcp_peer, "watch")
    tcp_peer.wait_for(lambda: bool(tcp_peer.heard))
    tcp_peer.send(*onboard.payload_frames(Payload(5, 3, 4, bytes(100))))
    told = process.wait_for_event("incomplete")
    assert (told["id"], told["messageId"], told["payloadId"]) == (5, 3, 4)
    assert (told["size"], told["received"]) == (100, 12)
    process.ask_to_end()
    assert process.wait_for_end() == DONE
    assert process.records[-1]["incomplete"] == 1


def test_watch_counts_malformed_frames_and_ignores_what_is_not_of_the_vehicle(tcp_peer, start):
    process = start(tcp_peer, "watch", "-c", "1")
    tcp_peer.wait_for(lambda: bool(tcp_peer.heard))
    good = onboard.payload_frames(Payload(1, 1, 1, b"good"))[0]
    tcp_peer.send(
        bytes([2, 9, 1]), bytes([4]), onboard.pack_frame(4, b"short"), onboard.pack_frame(2, b"1234567")
    )
    tcp_peer.send(*onboard.payload_frames(Payload(1, 2, 2, b"of another ground"), onboard.DATA))
    tcp_peer.send(onboard.pack_frame(3, b"?"))
    tcp_peer.send_message(mavlink.MAVLink_data64_message(174, len(good), list(good.ljust(64, b"\0"))))
    tcp_peer.send(good)
    assert process.wait_for_end() == DONE
    assert [payload["data"] for payload in events(process, "payload")] == [b"good".hex()]
    assert process.records[-1]["malformed"] == 4


def test_watch_takes_frames_with_a_wrong_checksum_and_none(tcp_peer, start):
    frame = onboard.payload_frames(Payload(1, 1, 1, b"good"))[0]
    other = onboard.payload_frames(Payload(2, 1, 1, b"also"))[0]
    process = start(tcp_peer, "watch", "-c", "2")
    tcp_peer.wait_for(lambda: bool(tcp_peer.heard))
    tcp_peer.send(frame[:-2] + b"\xde\xad", other[:-2])
    assert process.wait_for_end() == DONE
    assert [payload["id"] for payload in events(process, "payload")] == [1, 2]


def test_watch_v2_extension_cut_in_trailing_zeros_of_the_frame_is_whole(tcp_peer, start):
    frame = onboard.payload_frames(Payload(1, 1, 1, bytes(20)))[0][:-2]
    process = start(tcp_peer, "watch", "-c", "1")
    tcp_peer.wait_for(lambda: bool(tcp_peer.heard))
    message = onboard.to_v2_extension(frame)
    tcp_peer.send_message(message)
    assert len(message.get_msgbuf()) < 12 + 5 + 1 + len(frame)
    assert process.wait_for_event("payload")["data"] == bytes(20).hex()


def test_watch_ends_after_its_duration(tcp_peer, start):
    process = start(tcp_peer, "watch", "--duration", "0.3")
    assert process.wait_for_end() == DONE
    assert process.records[-1]["payloads"] == 0
    assert process.records[-1]["seconds"] >= 0.29


def test_watch_too_few_payloads_within_the_duration_exits_5(tcp_peer, start):
    process = start(tcp_peer, "watch", "--duration", "0.2", "-c", "1")
    assert process.wait_for_end() == NOT_HAPPENED
    assert process.log_lines == ["noflailsten-ground: 0 of 1 payloads came"]


def test_watch_as_text_shortens_long_payloads(tcp_peer, bin_dir, environment):
    command = [bin_dir / "noflailsten-ground", "--connect", address(tcp_peer.link), "watch", "-c", "2"]
    with subprocess.Popen(command, env=environment, stdout=subprocess.PIPE, text=True) as process:
        tcp_peer.meet()
        tcp_peer.wait_for(lambda: bool(tcp_peer.heard))
        tcp_peer.send(*onboard.payload_frames(Payload(7, 9, 8, bytes(range(100)))))
        tcp_peer.send(*onboard.payload_frames(Payload(8, 1, 4, ALTIMETER)))
        lines = process.communicate(timeout=TIMEOUT)[0].splitlines()
    assert lines[0].endswith(f" id 7 message 9 payload 8, 100 bytes: {bytes(range(32)).hex()}…")
    assert lines[1].endswith(" id 8 message 1 payload 4, 7 bytes: altimeter 1.5 m, status 3")
    assert lines[2].startswith("2 payloads, 107 bytes in ")


def test_watch_as_text_words_what_people_read(tcp_peer, bin_dir, environment):
    command = [bin_dir / "noflailsten-ground", "--connect", address(tcp_peer.link), "watch", "-c", "4"]
    text = "grün"
    with subprocess.Popen(command, env=environment, stdout=subprocess.PIPE, text=True) as process:
        tcp_peer.meet()
        tcp_peer.wait_for(lambda: bool(tcp_peer.heard))
        tcp_peer.send(*onboard.payload_frames(Payload(7, 9, 8, text.encode())))
        tcp_peer.send(*onboard.payload_frames(Payload(8, 9, 8, b"x" * 33)))
        tcp_peer.send(*onboard.payload_frames(Payload(9, 9, 8, b"a\x1b[2J")))
        tcp_peer.send(*onboard.payload_frames(Payload(10, 1, 4, ALTIMETER[:-1] + b"\x04")))
        lines = process.communicate(timeout=TIMEOUT)[0].splitlines()
    assert lines[0].endswith(f' 5 bytes: {text.encode().hex()} "{text}"')
    assert lines[1].endswith(f' 33 bytes: {"78" * 32}… "{"x" * 32}…"')
    assert lines[2].endswith(" 5 bytes: 611b5b324a")
    assert lines[3].endswith(" altimeter 1.5 m, status 4: no reading yet")


# Send


def send_and_check(peer: GroundPeer, start, data: bytes, argument: str) -> dict:
    process = start(peer, "send", "200", "255", argument)
    assert process.wait_for_end() == DONE
    peer.wait_for(lambda: bool(peer.payloads))
    payload = peer.payloads[0]
    assert (payload.message, payload.payload, payload.data) == (200, 255, data)
    assert len(peer.payloads) == 1
    sent = process.records[-1]
    assert (sent["event"], sent["id"], sent["bytes"]) == ("sent", payload.payload_id, len(data))
    assert (sent["messageId"], sent["payloadId"]) == (200, 255)
    return sent


@pytest.mark.parametrize(("size", "fragments"), [(1, 1), (88, 1), (89, 2), (200, 3)])
def test_send_file_arrives_whole(peer, start, tmp_path, size, fragments):
    data = os.urandom(size)
    path = tmp_path / "payload"
    path.write_bytes(data)
    sent = send_and_check(peer, start, data, f"@{path}")
    assert sent["fragments"] == fragments
    bodies = [onboard.parse_fragment(heard.frame.body) for heard in peer.frames(onboard.DATA)]
    assert [body.offset for body in bodies] == [88 * i for i in range(fragments)]
    assert all(heard.frame.crc_ok for heard in peer.frames(onboard.DATA))


def test_send_largest_payload_keeps_the_pace(tcp_peer, start, tmp_path):
    data = os.urandom(65535)
    path = tmp_path / "payload"
    path.write_bytes(data)
    begin = time.monotonic()
    sent = send_and_check(tcp_peer, start, data, f"@{path}")
    assert sent["fragments"] == 745
    assert sent["seconds"] >= 744 * 0.005
    assert_pace(tcp_peer, begin, 0.005)


def test_send_pace_lies_between_all_frames(tcp_peer, start):
    begin = time.monotonic()
    start(tcp_peer, "--pace", "40", "send", "1", "2", f"text:{'x' * 2500}").wait_for_end()
    tcp_peer.wait_for(lambda: tcp_peer.closed)
    assert len(tcp_peer.heartbeats()) >= 2
    assert_pace(tcp_peer, begin, 0.04)


def assert_pace(peer: GroundPeer, begin: float, pace: float) -> None:
    """A busy machine may see any frame late, and the next one in time; but none can come early."""
    times = [heard.time for heard in peer.heard]
    assert all(when - begin >= number * pace for number, when in enumerate(times))


@pytest.mark.parametrize(
    ("argument", "data"),
    [("hex:00ffA0", b"\x00\xff\xa0"), ("text:grüß dich", "grüß dich".encode()), ("text:hex:00", b"hex:00")],
)
def test_send_hex_and_text(tcp_peer, start, argument, data):
    send_and_check(tcp_peer, start, data, argument)


def test_send_ids_start_at_random(bin_dir, environment, start, tmp_path):
    ids = set()
    for _ in range(3):
        link = TcpLink()
        peer = GroundPeer(link)
        assert start(peer, "send", "1", "2", "text:x", "--no-ping").wait_for_end() == DONE
        peer.wait_for(lambda peer=peer: bool(peer.payloads))
        ids.add(peer.payloads[0].payload_id)
        peer.end()
        link.close()
    assert len(ids) > 1


def test_send_pings_first_and_again_until_the_host_answers(tcp_peer, start):
    tcp_peer.answer = lambda ping, number: (
        None if number == 1 else onboard.pack_ping(onboard.PONG, ping.timestamp)
    )
    assert start(tcp_peer, "send", "1", "2", "text:x").wait_for_end() == DONE
    tcp_peer.wait_for(lambda: bool(tcp_peer.payloads))
    assert [heard.frame.kind for heard in tcp_peer.frames()] == [onboard.PING, onboard.PING, onboard.DATA]


def test_send_without_an_answer_sends_nothing_and_exits_5(tcp_peer, start):
    tcp_peer.answer = lambda ping, number: None
    process = start(tcp_peer, "send", "1", "2", "text:x", "--timeout", "0.3")
    assert process.wait_for_end() == NOT_HAPPENED
    tcp_peer.wait_for(lambda: tcp_peer.closed)
    assert tcp_peer.frames(onboard.DATA) == []
    assert [record["event"] for record in process.records] == ["error"]
    assert len(process.log_lines) == 1
    assert "no answer from the vehicle" in process.log_lines[0]


def test_send_no_ping_sends_to_a_silent_host(tcp_peer, start):
    tcp_peer.answer = lambda ping, number: None
    assert start(tcp_peer, "send", "1", "2", "text:x", "--no-ping").wait_for_end() == DONE
    tcp_peer.wait_for(lambda: bool(tcp_peer.payloads))
    assert tcp_peer.ping_count == 0


def test_signal_ends_a_send_with_its_summary(tcp_peer, start):
    process = start(tcp_peer, "--pace", "50", "send", "1", "2", f"text:{'x' * 5000}")
    tcp_peer.wait_for(lambda: bool(tcp_peer.frames(onboard.DATA)))
    process.ask_to_end(signal.SIGINT)
    assert process.wait_for_end() == DONE
    summary = process.records[-1]
    assert summary["event"] == "summary"
    assert 1 <= summary["fragmentsSent"] < summary["fragments"] == 57


def unread_terminal(process: JsonProcess, path: Path) -> int:
    """Opens the pseudo-terminal and reads nothing; the descriptor."""
    process.wait_for_log("waiting for a program to open")
    return os.open(path, os.O_RDWR | os.O_NOCTTY)


def test_send_on_a_link_that_takes_nothing_more_exits_5(bin_dir, environment, tmp_path):
    data, where = tmp_path / "payload", tmp_path / "ground"
    data.write_bytes(bytes(range(1, 256)) * 257)
    command = [bin_dir / "noflailsten-ground", "--connect", f"pty:{where}", "--json", "--timeout", "2"]
    process = JsonProcess([*command, "send", "--no-ping", "1", "254", f"@{data}"], environment)
    descriptor = unread_terminal(process, where)
    assert process.wait_for_end() == NOT_HAPPENED
    os.close(descriptor)
    assert [record["event"] for record in process.records] == ["error"]
    assert "the link takes nothing any more" in process.records[0]["text"]
    assert len(process.log_lines) == 2  # the other one says that we wait for a program


def test_send_pace_slower_than_the_timeout_is_no_stall(tcp_peer, start):
    arguments = ("--pace", "300", "--timeout", "0.1", "send", "--no-ping", "1", "2", f"text:{'x' * 200}")
    assert start(tcp_peer, *arguments).wait_for_end() == DONE
    tcp_peer.wait_for(lambda: bool(tcp_peer.payloads))


# Bench


def test_bench_doubles_the_rate_until_pings_are_lost(tcp_peer, start):
    def answer(ping, number):
        return None if number == 25 else onboard.pack_ping(onboard.PONG, ping.timestamp)

    tcp_peer.answer = answer
    process = start(tcp_peer, "bench", "--timeout", "5")
    tcp_peer.wait_for(lambda: bool(tcp_peer.heard))
    for number in (65534, 65535, 0, 3):
        tcp_peer.send(*onboard.payload_frames(Payload(number, 1, 1, b"x")))
    assert process.wait_for_end() == DONE
    steps = [(step["rate"], step["sent"], step["answered"]) for step in events(process, "step")]
    assert steps == [(10, 10, 10), (20, 20, 19)]
    summary = process.records[-1]
    steps = events(process, "step")
    assert summary["losslessPerSecond"] == steps[0]["perSecond"] > 0
    assert summary["lossyPerSecond"] == steps[1]["perSecond"]
    assert (summary["payloads"], summary["missing"]) == (4, 2)


def test_bench_without_loss_ends_at_what_the_pace_allows(tcp_peer, start):
    process = start(tcp_peer, "--pace", "20", "bench", "--step", "0.6", "--timeout", "20")
    assert process.wait_for_end() == DONE
    assert [step["rate"] for step in events(process, "step")] == [10, 20, 40, 50]
    summary = process.records[-1]
    assert summary["lossyPerSecond"] is None
    assert summary["losslessPerSecond"] == max(step["perSecond"] for step in events(process, "step"))
    assert 10 < summary["losslessPerSecond"] <= 50
    assert summary["seconds"] < 20  # no step waited for more than its own answers


def test_bench_without_an_answer_exits_5(tcp_peer, start):
    tcp_peer.answer = lambda ping, number: None
    process = start(tcp_peer, "bench", "--step", "0.1", "--timeout", "0.2")
    assert process.wait_for_end() == NOT_HAPPENED
    assert process.log_lines == ["noflailsten-ground: no answer from the vehicle"]


def test_bench_on_a_link_that_takes_nothing_exits_5(bin_dir, environment, tmp_path):
    where = tmp_path / "ground"
    command = [bin_dir / "noflailsten-ground", "--connect", f"pty:{where}", "--json", "--timeout", "2"]
    process = JsonProcess([*command, "bench", "--step", "0.2"], environment)
    descriptor = unread_terminal(process, where)
    assert process.wait_for_end() == NOT_HAPPENED
    os.close(descriptor)
    assert process.records[-1]["text"] == "no answer from the vehicle"


def test_bench_as_text_says_that_it_measures_pings(tcp_peer, bin_dir, environment):
    command = [bin_dir / "noflailsten-ground", "--connect", address(tcp_peer.link), "--pace", "100"]
    with subprocess.Popen(
        [*command, "--quiet", "bench", "--step", "0.3"], env=environment, stdout=subprocess.PIPE, text=True
    ) as process:
        tcp_peer.meet()
        output = process.communicate(timeout=TIMEOUT)[0]
    assert re.fullmatch(
        r"pings, there and back: [\d.]+ a second without loss, link and pace allow no more; "
        r"from the host meanwhile: 0 payloads \(0\.0 a second\), 0 missing\n",
        output,
    )


# Links


def test_pseudo_terminal_of_our_own_serves_who_opens_it(bin_dir, environment, tmp_path):
    path = tmp_path / "ground"
    process = JsonProcess(
        [bin_dir / "noflailsten-ground", "--connect", f"pty:{path}", "--json", *PATIENT, "ping", "-c", "1"],
        environment,
    )
    process.wait_for_log("waiting for a program to open")
    descriptor = os.open(path, os.O_RDWR | os.O_NOCTTY)
    parser, encoder = mavlink.MAVLink(None), mavlink.MAVLink(None, 2, 5)
    names = []
    while "V2_EXTENSION" not in names:
        assert select.select([descriptor], [], [], TIMEOUT)[0]
        for message in parser.parse_buffer(os.read(descriptor, 4096)) or []:
            names.append(message.get_type())
            carried = onboard.carried_frame(message)
            if carried:
                ping = onboard.parse_ping(onboard.parse_frame(carried).body)
                pong = onboard.to_v2_extension(onboard.pack_ping(onboard.PONG, ping.timestamp))
                os.write(descriptor, bytes(pong.pack(encoder)))
    assert process.wait_for_end() == DONE
    os.close(descriptor)
    assert names[0] == "HEARTBEAT"
    assert process.records[-1]["received"] == 1
    assert not path.is_symlink()


@pytest.mark.parametrize("arguments", [("ping",), ("watch",), ("send", "1", "2", "text:x")])
def test_unreachable_address_is_one_line_and_exit_4(ground, arguments):
    with socket.socket() as taken:  # but not listening, so that nobody else can
        taken.bind(("127.0.0.1", 0))
        port = taken.getsockname()[1]
        result = ground("--connect", f"tcp:127.0.0.1:{port}", *arguments)
    assert_refused(result, LINK_FAILED, f"tcp:127.0.0.1:{port}: ")


@pytest.mark.parametrize("arguments", [("ping", "-c", "1"), ("send", "1", "2", "text:x"), ("bench",)])
def test_pseudo_terminal_that_nobody_opens_is_one_line_and_exit_4(ground, tmp_path, arguments):
    where = f"pty:{tmp_path / 'ground'}"
    result = ground("--connect", where, "--quiet", "--timeout", "0.3", *arguments)
    assert_refused(result, LINK_FAILED, f"{where}: no program opened it within 0.3 s")
    assert not (tmp_path / "ground").is_symlink()


def test_watch_waits_for_a_program_to_open_the_pseudo_terminal(bin_dir, environment, tmp_path):
    command = [bin_dir / "noflailsten-ground", "--connect", f"pty:{tmp_path / 'ground'}", "--json", "watch"]
    process = JsonProcess(command, environment)
    process.wait_for_log("waiting for a program to open")
    with pytest.raises(subprocess.TimeoutExpired):
        process.process.wait(2.5)  # longer than the others wait
    process.ask_to_end()
    assert process.wait_for_end() == DONE


@pytest.mark.parametrize("what", ["{}/missing,57600", "pty:{}/missing/link"])
def test_missing_device_is_one_line_and_exit_4(ground, tmp_path, what):
    where = what.format(tmp_path)
    assert_refused(ground("--connect", where, "watch"), LINK_FAILED, f"{where}: ")


@pytest.mark.parametrize("arguments", [("ping",), ("watch",), ("bench",)])
def test_lost_link_is_one_line_and_exit_4(peer, start, arguments):
    process = start(peer, *arguments)
    peer.wait_for(lambda: bool(peer.heard))
    peer.end()
    peer.link.interrupt()
    assert process.wait_for_end() == LINK_FAILED
    assert len(process.log_lines) == 1
    assert process.log_lines[0].endswith(": the link is lost")
    assert process.records[-1]["event"] == "error"


def test_peer_that_reads_nothing_does_not_keep_us_from_ending(bin_dir, environment):
    with socket.create_server(("127.0.0.1", 0)) as server:
        where = f"tcp:127.0.0.1:{server.getsockname()[1]}"
        command = [
            bin_dir / "noflailsten-ground",
            "--connect",
            where,
            "--json",
            "--pace",
            "0",
            "ping",
            "-i",
            "0.001",
        ]
        process = JsonProcess(command, environment)
        connection, _ = server.accept()
        with connection:
            connection.recv(1)
            process.ask_to_end(signal.SIGTERM)
            assert process.wait_for_end() == DONE
        assert process.records[-1]["received"] == 0


# Arguments


@pytest.mark.parametrize(
    ("arguments", "code", "says"),
    [
        ([], USAGE, "give a command"),
        (["ping"], USAGE, "--connect"),
        (["--connect", "nowhere", "ping"], USAGE, "is no address"),
        (["--connect", "tcp:h:1", "dance"], USAGE, '"dance"'),
        (["--connect", "tcp:h:1", "ping", "more"], USAGE, '"more"'),
        (["--connect", "tcp:h:1", "ping", "-c", "0"], USAGE, "--count"),
        (["--connect", "tcp:h:1", "ping", "-c", "few"], USAGE, "--count"),
        (["--connect", "tcp:h:1", "ping", "-i", "0"], USAGE, "--interval"),
        (["--connect", "tcp:h:1", "ping", "--no-ping"], USAGE, "--no-ping does not go with ping"),
        (["--connect", "tcp:h:1", "watch", "--duration", "-1"], USAGE, "duration"),
        (["--connect", "tcp:h:1", "--system-id", "256", "ping"], USAGE, "--system-id"),
        (["--connect", "tcp:h:1", "--system-id", "0", "ping"], USAGE, "--system-id"),
        (["--connect", "tcp:h:1", "--pace", "-1", "ping"], USAGE, "pace"),
        (["--connect", "tcp:h:1", "--json", "--quiet", "ping"], USAGE, "exclude"),
        (["--connect", "tcp:h:1", "--unheard-of", "ping"], USAGE, "unheard-of"),
        (["--connect", "tcp:h:1", "send", "1", "2"], USAGE, "MESSAGEID PAYLOADID"),
        (["--connect", "tcp:h:1", "send", "256", "2", "text:x"], USAGE, "MESSAGEID"),
        (["--connect", "tcp:h:1", "send", "1", "-2", "text:x"], USAGE, '"-2" is no option, and an id is'),
        (["--connect", "tcp:h:1", "--connect", "tcp:h:2", "ping"], USAGE, "--connect can be given only once"),
        (["--connect", "tcp:h:1", "bench", "--step", "3601"], USAGE, "--step"),
        (["--connect", "tcp:h:1", "send", "1", "-", "text:x"], USAGE, "PAYLOADID"),
        (["--connect", "tcp:h:1", "send", "1", "2", "plain"], USAGE, "plain"),
        (["--connect", "tcp:h:1", "send", "1", "2", "hex:123"], USAGE, "hexadecimal"),
        (["--connect", "tcp:h:1", "send", "1", "2", "hex:xy"], USAGE, "hexadecimal"),
        (["--connect", "tcp:h:1", "send", "1", "2", "hex:"], USAGE, "empty"),
        (["--connect", "tcp:h:1", "send", "1", "2", "text:"], USAGE, "empty"),
        (["--connect", "tcp:h:1", "send", "1", "2", f"text:{'x' * 65536}"], USAGE, "65535"),
        (["--connect", "tcp:h:1", "send", "1", "2", "@/nonexistent/file"], BAD_FILE, "/nonexistent/file"),
        (["--connect", "tcp:h:1", "send", "1", "2", "@"], BAD_FILE, "cannot read file "),
        (["--connect", "tcp:h:1", "send", "1", "2", "@/"], BAD_FILE, "not a regular file"),
        (["--connect", "tcp:h:1", "send", "1", "2", "@/proc/self/mem"], BAD_FILE, "cannot read file /proc"),
    ],
)
def test_wrong_arguments_are_one_line(ground, arguments, code, says):
    assert_refused(ground(*arguments), code, says)


def test_file_too_long_is_one_line_and_fails(ground, tmp_path):
    path = tmp_path / "long"
    path.write_bytes(bytes(65536))
    result = ground("--connect", "tcp:h:1", "send", "1", "2", f"@{path}")
    assert_refused(result, BAD_FILE, f"file {path}: a payload has at most 65535 bytes")


def test_fifo_is_one_line_and_fails(ground, tmp_path):
    path = tmp_path / "fifo"
    os.mkfifo(path)
    result = ground("--connect", "tcp:h:1", "send", "1", "2", f"@{path}")
    assert_refused(result, BAD_FILE, f"cannot read file {path}: it is not a regular file")


def test_help_names_every_command_and_option(ground):
    result = ground("--help")
    assert (result.returncode, result.stderr) == (DONE, "")
    for word in ("ping", "watch", "send", "bench"):
        assert f"  {word}" in result.stdout
    for option in (
        "connect",
        "system-id",
        "pace",
        "count",
        "interval",
        "timeout",
        "duration",
        "step",
        "no-ping",
    ):
        assert f"--{option}" in result.stdout


def test_version_is_the_version_of_the_project(ground):
    cmake = (Path(__file__).resolve().parents[2] / "CMakeLists.txt").read_text()
    version = cmake.split("project(noflailsten VERSION ", 1)[1].split()[0]
    result = ground("--version")
    assert (result.returncode, result.stdout) == (DONE, f"noflailsten-ground {version}\n")


def assert_refused(result: subprocess.CompletedProcess, code: int, says: str) -> None:
    assert result.returncode == code
    assert result.stdout == ""
    assert len(result.stderr.splitlines()) == 1
    assert result.stderr.startswith("noflailsten-ground: ")
    assert says in result.stderr
