# SPDX-License-Identifier: MIT
"""Payloads that eight threads and the main thread send at once, as pymavlink sees them at the far end."""

import socket
import struct
import subprocess
from collections import defaultdict
from itertools import pairwise

import onboard
import pytest
from conftest import program_environment, write_config
from pymavlink.dialects.v20 import ardupilotmega as mavlink

THREADS = 8
PAYLOADS = 10_000  # of each thread, and of the main thread
HEAD = struct.Struct("<BI")


@pytest.fixture(scope="module")
def wire(bin_dir, tmp_path_factory) -> list:
    """All messages of one run, as they came."""
    folder = tmp_path_factory.mktemp("flood")
    with socket.create_server(("127.0.0.1", 0)) as server:
        host, port = server.getsockname()
        settings = {"MAV/CONNECTION_TYPE": "TCP", "MAV/SERIAL_DEVICE": host, "MAV/BAUD_RATE": port}
        config = write_config(folder / "host.ini", {**settings, "MAV/V2_EXTENSION": "true"})
        command = [bin_dir / "noflailsten-flood", config, str(THREADS), str(PAYLOADS)]
        with (folder / "log").open("w+") as log:
            process = subprocess.Popen(command, env=program_environment(folder), stderr=log)
            messages = read_all(server)
            assert process.wait(60) == 0
            log.seek(0)
            assert "Cannot queue" not in log.read()
    return messages


def read_all(server: socket.socket) -> list:
    server.settimeout(30)
    connection, _ = server.accept()
    connection.settimeout(60)
    parser = mavlink.MAVLink(None)
    messages = []
    with connection:
        while data := connection.recv(1 << 20):
            messages += parser.parse_buffer(data) or []
    return messages


@pytest.fixture(scope="module")
def fragments(wire) -> list[onboard.Fragment]:
    frames = map(onboard.parse_frame, onboard.carried_frames(wire))
    return [onboard.parse_fragment(frame.body) for frame in frames]


def test_no_message_is_lost_or_damaged_on_the_way(wire):
    assert not [message for message in wire if message.get_type() == "BAD_DATA"]
    sequence = [message.get_seq() for message in wire]
    assert all((b - a) % 256 == 1 for a, b in pairwise(sequence))


def test_fragments_of_a_payload_stand_in_a_row(fragments):
    position = 0
    while position < len(fragments):
        first = fragments[position]
        offset = 0
        while offset < first.total:
            fragment = fragments[position]
            assert (fragment.payload_id, fragment.total, fragment.offset) == (
                first.payload_id,
                first.total,
                offset,
            )
            offset += len(fragment.data)
            position += 1


def test_every_payload_arrives_once_and_in_its_threads_order(fragments):
    numbers = defaultdict(list)
    reassembly = onboard.Reassembly()
    for payload in filter(None, map(reassembly.put, fragments)):
        thread, number = HEAD.unpack_from(payload.data)
        assert payload.payload_id == number % 65536
        assert payload.data[HEAD.size :] == b"x" * ((number * 37 + thread) % 200)
        numbers[thread].append(number)
    assert not reassembly.groups
    assert sorted(numbers) == list(range(THREADS + 1))
    assert all(sent == list(range(PAYLOADS)) for sent in numbers.values())
