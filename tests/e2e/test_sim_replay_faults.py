# SPDX-License-Identifier: MIT
"""noflailsten-sim --replay over bad lines."""

import itertools
import subprocess
import time
from collections.abc import Callable, Iterator
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest
from conftest import DATA
from jsonprocess import TIMEOUT, JsonProcess
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from recording_figures import read_tlog, recorded_bytes
from relaylinks import TcpTransport

FLIGHT = DATA / "arducopter-flight.tlog"
BOOT = DATA / "px4-boot-57600.raw"
FAST = "1000000000"
USAGE = 1

Replay = Callable[..., list[TcpTransport]]


@pytest.fixture
def replay(bin_dir: Path, environment: dict) -> Iterator[Replay]:
    """Starts a replay; its first clients, one a link."""
    started = []
    clients = []

    def start(recording: Path, *arguments: str, links: int = 1) -> list[TcpTransport]:
        addresses = ["--link", "tcp:127.0.0.1:0"] * links
        command = [bin_dir / "noflailsten-sim", "--json", "--replay", recording, *addresses, *arguments]
        sim = JsonProcess(command, environment)
        started.append(sim)
        joined = [TcpTransport(sim.wait_for_event("listening")["address"]) for _ in range(links)]
        clients.extend(joined)
        return joined

    yield start
    for client in clients:
        client.close()
    for sim in started:
        assert sim.wait_for_end() == 0, sim.story("It did not end well.")


def read_all(client: TcpTransport) -> bytes:
    return b"".join(iter(client.read, b""))


def read_with_times(client: TcpTransport) -> list[tuple[float, bytes]]:
    return [(time.monotonic(), data) for data in iter(client.read, b"")]


def short_tlog(folder: Path, count: int, gap_ms: int) -> Path:
    encoder = mavlink.MAVLink(None, 1, 1)
    path = folder / "short.tlog"
    with path.open("wb") as file:
        for i in range(count):
            file.write((1_000_000 + i * gap_ms * 1000).to_bytes(8, "big"))
            file.write(mavlink.MAVLink_heartbeat_message(2, 3, 81, i, 3, 3).pack(encoder))
    return path


def which_came(received: bytes) -> list[bool]:
    """Of each recorded frame, whether it came."""
    position = 0
    came = []
    for frame in read_tlog(FLIGHT):
        came.append(received.startswith(frame.data, position))
        position += len(frame.data) if came[-1] else 0
    assert position == len(received), "there is something that is no recorded frame"
    return came


def test_loss_takes_its_share_of_the_frames(replay: Replay):
    [client] = replay(FLIGHT, "--speed", FAST, "--loss", "0.2", "--seed", "7")
    came = which_came(read_all(client))
    assert came.count(False) / len(came) == pytest.approx(0.2, abs=0.02)


def test_same_seed_gives_the_same_bytes_and_another_does_not(replay: Replay):
    faults = ["--speed", FAST, "--loss", "0.1", "--corrupt", "0.1"]
    received = [read_all(*replay(FLIGHT, *faults, "--seed", seed)) for seed in ("7", "7", "8")]
    assert received[0] == received[1]
    assert received[0] != received[2]


def test_links_lose_different_frames(replay: Replay):
    first, second = replay(FLIGHT, "--speed", FAST, "--loss", "0.5", links=2)
    with ThreadPoolExecutor() as pool:  # as the replay waits for the slower reader
        ours, theirs = pool.map(read_all, (first, second))
    assert ours[-10_000:] != theirs[-10_000:]


def test_corrupted_frames_fail_their_checksum_and_the_others_do_not(replay: Replay):
    [client] = replay(FLIGHT, "--speed", FAST, "--corrupt", "0.2")
    received = read_all(client)
    position = 0
    damaged = 0
    frames = read_tlog(FLIGHT)
    for frame in frames:
        data = received[position : position + len(frame.data)]
        position += len(data)
        damaged += data != frame.data
        assert is_good(data) == (data == frame.data)
    assert position == len(received)
    assert damaged / len(frames) == pytest.approx(0.2, abs=0.02)


def is_good(frame: bytes) -> bool:
    """Of an unknown message, as which a damaged id is taken, nothing can be checked."""
    try:
        message = mavlink.MAVLink(None).decode(bytearray(frame))
    except mavlink.MAVError:
        return False
    return not isinstance(message, mavlink.MAVLink_unknown)


def test_latency_brings_everything_late(replay: Replay, tmp_path: Path):
    begin = time.monotonic()
    [client] = replay(short_tlog(tmp_path, 10, 1), "--latency", "700")
    chunks = read_with_times(client)
    assert chunks[0][0] - begin >= 0.7
    assert b"".join(data for _, data in chunks) == recorded_bytes(tmp_path / "short.tlog")


@pytest.mark.parametrize("recording", ["frames", "bytes"])
def test_stall_brings_everything_afterwards(recording: str, replay: Replay, tmp_path: Path):
    path = short_tlog(tmp_path, 50, 20)
    if recording == "bytes":
        path = tmp_path / "short.raw"
        path.write_bytes(BOOT.read_bytes()[:6000])
    [client] = replay(path, "--stall", "1@0.4")
    chunks = read_with_times(client)
    pause = max(later - earlier for (earlier, _), (later, _) in itertools.pairwise(chunks))
    assert pause > 0.8
    assert b"".join(data for _, data in chunks) == recorded_bytes(path)


@pytest.mark.parametrize("option", ["--loss", "--corrupt"])
def test_recording_without_frames_cannot_lose_any(option: str, bin_dir: Path):
    command = [bin_dir / "noflailsten-sim", "--replay", BOOT, "--link", "tcp:127.0.0.1:0", option, "0.1"]
    result = subprocess.run(command, capture_output=True, text=True, timeout=TIMEOUT)
    assert (result.returncode, result.stdout) == (USAGE, "")
    [line] = result.stderr.splitlines()
    assert f"{option} wants frames" in line
