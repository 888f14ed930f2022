# SPDX-License-Identifier: MIT
"""Velocities at 50 Hz on a healthy link: none is lost, and the rate is held. NOFLAILSTEN_SETPOINT_SECONDS=600
makes it the endurance run; -s shows the latency from call to far end of the wire."""

import os
import socket
import statistics
import subprocess
import time

import pytest
from conftest import program_environment, write_config
from pymavlink.dialects.v20 import ardupilotmega as mavlink

SECONDS = int(os.environ.get("NOFLAILSTEN_SETPOINT_SECONDS", "5"))
RATE = 50


def receive(server: socket.socket) -> list[tuple[int, int]]:
    """Number of each velocity, and the nanoseconds at which it was here."""
    connection, _ = server.accept()
    connection.settimeout(60)
    parser = mavlink.MAVLink(None)
    received = []
    with connection:
        while data := connection.recv(65536):
            now = time.monotonic_ns()
            for message in parser.parse_buffer(data) or []:
                assert message.get_type() != "BAD_DATA"
                if message.get_type() == "SET_POSITION_TARGET_LOCAL_NED":
                    received.append((int(message.vx), now))
    return received


def assert_rate_held(received: list[tuple[int, int]]) -> None:
    """Within 5 %, where the velocities arrive; a machine that stands still for a moment does not count."""
    numbers, times_ns = zip(*received, strict=True)
    seconds_each = statistics.linear_regression(numbers, times_ns).slope / 1e9
    assert abs(seconds_each * RATE - 1) < 0.05, f"{1 / seconds_each} Hz"


@pytest.mark.alone
def test_velocities_at_50_hz_all_arrive_at_their_rate(bin_dir, tmp_path):
    with socket.create_server(("127.0.0.1", 0)) as server:
        server.settimeout(60)
        host, port = server.getsockname()
        settings = {"MAV/CONNECTION_TYPE": "TCP", "MAV/SERIAL_DEVICE": host, "MAV/BAUD_RATE": port}
        config = write_config(tmp_path / "host.ini", settings)
        process = subprocess.Popen(
            [bin_dir / "noflailsten-setpoints", config, str(SECONDS)],
            env=program_environment(tmp_path),
            stdout=(tmp_path / "sent").open("w"),
        )
        received = receive(server)
        assert process.wait(60) == 0
    sent = [tuple(map(int, line.split())) for line in (tmp_path / "sent").read_text().splitlines()]
    assert [number for number, _ in received] == [number for number, _ in sent] == list(range(SECONDS * RATE))
    assert_rate_held(received)
    latencies = [(there - here) / 1e6 for (_, there), (_, here) in zip(received, sent, strict=True)]
    cuts = statistics.quantiles(latencies, n=100)
    assert min(latencies) > 0
    print(f"{len(sent)} velocities, latency p50 {cuts[49]:.3f} ms, p99 {cuts[98]:.3f} ms")
