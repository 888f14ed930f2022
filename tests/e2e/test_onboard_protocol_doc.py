# SPDX-License-Identifier: MIT
"""docs/onboard-protocol.md: its examples against a second implementation and against the real programs."""

import re
import struct
from collections.abc import Iterator
from pathlib import Path

import onboard
import pytest
from groundpeer import GroundPeer
from jsonprocess import JsonProcess
from links import TcpLink
from onboard import Payload
from pymavlink.dialects.v20 import ardupilotmega as mavlink

from autopilot import Autopilot

DOCUMENT = Path(__file__).resolve().parents[2] / "docs" / "onboard-protocol.md"
NEW_YEAR = 1_767_225_600_000
ALTIMETER = struct.pack("<HfB", 7, 1.5, 0)
PAYLOAD_OF_200 = Payload(7, 9, 254, bytes(200))


def mavlink_bytes(message, system: int, component: int, sequence: int) -> bytes:
    encoder = mavlink.MAVLink(None, system, component)
    encoder.seq = sequence
    return bytes(message.pack(encoder))


def altimeter_frame() -> bytes:
    return onboard.payload_frames(Payload(7, 1, 4, ALTIMETER))[0]


def counted(text: str) -> bytes:
    return bytes([len(text)]) + text.encode()


def ping() -> bytes:
    return onboard.pack_ping(onboard.PING, NEW_YEAR)


EXPECTED = {
    "mavlink-ping": mavlink_bytes(onboard.to_v2_extension(ping()), 255, 190, 1),
    "mavlink-altimeter-data32": mavlink_bytes(onboard.to_data(altimeter_frame()), 2, 5, 0),
    "crc-check": struct.pack("<H", onboard.crc(b"123456789")),
    "empty-frame": onboard.pack_frame(3),
    "zero-pong": onboard.pack_frame(onboard.PONG, bytes(10)),
    "ping": ping(),
    "pong": onboard.pack_ping(onboard.PONG, NEW_YEAR),
    "ping-without-version": onboard.pack_ping(onboard.PING, NEW_YEAR, ()),
    "hello-from-the-ground": onboard.payload_frames(Payload(0x1234, 5, 6, b"hello"), onboard.DATA)[0],
    "header-first": onboard.split(PAYLOAD_OF_200)[0].pack()[:8],
    "header-second": onboard.split(PAYLOAD_OF_200)[1].pack()[:8],
    "header-third": onboard.split(PAYLOAD_OF_200)[2].pack()[:8],
    "altimeter-body": ALTIMETER,
    "altimeter-frame": altimeter_frame(),
    "setting-body": b"".join(map(counted, ("MAV", "V2_EXTENSION", "true"))),
}


def examples() -> dict[str, bytes]:
    blocks = re.findall(r"^```hex (\S+)\n(.*?)^```$", DOCUMENT.read_text(), re.MULTILINE | re.DOTALL)
    assert len({name for name, _ in blocks}) == len(blocks)
    return {name: b"".join(map(line_bytes, text.splitlines())) for name, text in blocks}


def line_bytes(line: str) -> bytes:
    """The bytes stand before the first two blanks in a row; behind them is what they mean."""
    return bytes.fromhex(line.split("  ", 1)[0])


def frame_of(example: str) -> onboard.Frame:
    return onboard.parse_frame(examples()[example])


@pytest.fixture
def peer() -> Iterator[GroundPeer]:
    link = TcpLink()
    made = GroundPeer(link)
    yield made
    made.end()
    link.close()


def run_ground(peer: GroundPeer, bin_dir, environment, *arguments) -> None:
    host, port = peer.link.listener.getsockname()
    command = [bin_dir / "noflailsten-ground", "--connect", f"tcp:{host}:{port}", "--json", *arguments]
    process = JsonProcess(command, environment)
    peer.meet()
    assert process.wait_for_end() == 0
    peer.wait_for(lambda: peer.closed)


# Against the second implementation


def test_every_example_is_known():
    assert set(examples()) == set(EXPECTED)


@pytest.mark.parametrize("name", EXPECTED)
def test_example_is_what_the_protocol_says(name: str):
    assert examples()[name].hex(" ") == EXPECTED[name].hex(" ")


def test_crc_check_value_is_the_published_one():
    assert onboard.crc(b"123456789") == 0x6F91
    assert "0x6F91" in DOCUMENT.read_text()


@pytest.mark.parametrize(
    "name", ["empty-frame", "zero-pong", "ping", "pong", "hello-from-the-ground", "altimeter-frame"]
)
def test_example_frame_has_a_right_checksum(name: str):
    assert frame_of(name).crc_ok


@pytest.mark.parametrize(
    ("name", "frame"), [("mavlink-ping", "ping"), ("mavlink-altimeter-data32", "altimeter-frame")]
)
def test_example_message_carries_the_example_frame(name: str, frame: str):
    message = mavlink.MAVLink(None).parse_buffer(examples()[name])[0]
    assert onboard.carried_frame(message) == examples()[frame]


@pytest.mark.parametrize(
    ("size", "fragments"), [(0, 0), (1, 1), (88, 1), (89, 2), (65535, 745), (65536, 0), (65537, 1)]
)
def test_number_of_fragments_is_as_said(size: int, fragments: int):
    assert len(onboard.payload_frames(Payload(0, 0, 0, bytes(size)))) == fragments


@pytest.mark.parametrize(("size", "fits"), [(84, True), (85, False)])
def test_ceiling_of_the_data_messages_is_as_said(size: int, fits: bool):
    frames = onboard.payload_frames(Payload(0, 0, 0, bytes(size)))
    assert all(onboard.to_data(frame) is not None for frame in frames) == fits


# Against the real programs


def test_ground_end_sends_pings_as_the_example(peer, bin_dir, environment):
    run_ground(peer, bin_dir, environment, "ping", "-c", "1")
    heard = peer.frames(onboard.PING)[0]
    timestamp = onboard.parse_ping(heard.frame.body).timestamp
    stamped = examples()["ping"][:2] + struct.pack("<q", timestamp) + examples()["ping"][10:12]
    frame = stamped + struct.pack("<H", onboard.crc(stamped))
    assert onboard.carried_frame(heard.message) == frame
    expected = mavlink_bytes(onboard.to_v2_extension(frame), 255, 190, 1)
    assert bytes(heard.message.get_msgbuf()) == expected


def test_ground_end_sends_payloads_as_the_example(peer, bin_dir, environment):
    run_ground(peer, bin_dir, environment, "send", "5", "6", "text:hello")
    frame = onboard.carried_frame(peer.frames(onboard.DATA)[0].message)
    example = examples()["hello-from-the-ground"]
    assert (frame[:4], frame[6:15]) == (example[:4], example[6:15])
    assert onboard.parse_frame(frame).crc_ok


def test_ground_end_shows_the_example_of_the_altimeter(peer, bin_dir, environment):
    host, port = peer.link.listener.getsockname()
    command = [
        bin_dir / "noflailsten-ground",
        "--connect",
        f"tcp:{host}:{port}",
        "--json",
        "watch",
        "-c",
        "1",
    ]
    process = JsonProcess(command, environment)
    peer.meet()
    peer.wait_for(lambda: bool(peer.heard))
    peer.link.write(examples()["mavlink-altimeter-data32"])
    payload = process.wait_for_event("payload")
    assert (payload["id"], payload["data"]) == (7, ALTIMETER.hex())
    assert payload["altimeter"] == {"value": 1.5, "status": 0}
    assert process.wait_for_end() == 0


@pytest.mark.parametrize("example", ["ping", "ping-without-version"])
@pytest.mark.parametrize("v2_extension", ["true", "false"])
def test_vehicle_answers_the_example_ping_with_the_example_pong(hosts, example, v2_extension):
    link = TcpLink()
    host = hosts.start(link, MAV__V2_EXTENSION=v2_extension)
    autopilot = Autopilot(link)
    autopilot.meet(host)
    link.write(mavlink_bytes(onboard.to_v2_extension(examples()[example]), 255, 190, 0))
    name = "V2_EXTENSION" if v2_extension == "true" else "DATA16"

    def is_pong(message) -> bool:
        return onboard.carried_frame(message)[:1] == bytes([onboard.PONG])

    pong = autopilot.receive(name, is_pong)
    assert onboard.carried_frame(pong) == examples()["pong"]
    if v2_extension == "true":
        assert (pong.target_network, pong.target_system, pong.target_component) == (0, 255, 0)
