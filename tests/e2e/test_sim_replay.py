# SPDX-License-Identifier: MIT
"""noflailsten-sim --replay, seen from the clients' side."""

import errno
import fcntl
import json
import os
import re
import select
import signal
import socket
import struct
import subprocess
import termios
import time
import tty
from pathlib import Path

import pytest
from pymavlink import mavutil
from pymavlink.dialects.v10 import ardupilotmega as mavlink1
from pymavlink.dialects.v20 import ardupilotmega as mavlink2

REPO = Path(__file__).resolve().parents[2]
SIM = Path(os.environ.get("NOFLAILSTEN_BIN_DIR", REPO / "build/dev/bin")) / "noflailsten-sim"
PATIENCE_S = 60
FAST = "1000000000"

# A build with AddressSanitizer keeps freed memory back, which a test that measures memory must not count.
ASAN_OPTIONS = ":".join(filter(None, [os.environ.get("ASAN_OPTIONS"), "quarantine_size_mb=1"]))

DONE, USAGE, BAD_FILE, LINK_FAILED = 0, 1, 2, 4


class Sim:
    """A running simulator, and the addresses it listens on."""

    def __init__(self, *args: str, links: int = 1):
        self.process = subprocess.Popen(
            [str(SIM), *args],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env={**os.environ, "ASAN_OPTIONS": ASAN_OPTIONS},
        )
        self.json = "--json" in args
        self.lines = Lines(self.process.stdout)
        self.addresses = [self._listening() for _ in range(links)]

    def _listening(self) -> str:
        line = self.lines.next()
        if self.json:
            event = json.loads(line)
            assert event["event"] == "listening"
            return event["address"]
        assert line.startswith("listening on ")
        return line.removeprefix("listening on ")

    def port(self, index: int = 0) -> int:
        kind, host, port = self.addresses[index].split(":")
        assert (kind, host) == ("tcp", "127.0.0.1")
        return int(port)

    def connect(self, index: int = 0) -> socket.socket:
        return socket.create_connection(("127.0.0.1", self.port(index)), timeout=PATIENCE_S)

    def end(self) -> tuple[int, list[str], str]:
        """Waits for the end; the exit code, what is left on stdout, and stderr."""
        out = self.lines.rest()
        with self.process.stderr as stream:
            err = stream.read().decode()
        return self.process.wait(PATIENCE_S), out, err

    def __enter__(self) -> "Sim":
        return self

    def __exit__(self, *exc: object) -> None:
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.process.stdout.close()
        self.process.stderr.close()


class Lines:
    """The lines of a pipe, each waited for no longer than a while."""

    def __init__(self, stream):
        self.fd = stream.fileno()
        self.pending = b""

    def next(self) -> str:
        while b"\n" not in self.pending:
            data = self._read()
            assert data, "the simulator ended"
            self.pending += data
        line, self.pending = self.pending.split(b"\n", 1)
        return line.decode()

    def rest(self) -> list[str]:
        while data := self._read():
            self.pending += data
        text, self.pending = self.pending.decode(), b""
        return text.splitlines()

    def arrives_within(self, seconds: float) -> bool:
        return bool(self.pending) or bool(select.select([self.fd], [], [], seconds)[0])

    def _read(self) -> bytes:
        assert select.select([self.fd], [], [], PATIENCE_S)[0], "nothing on stdout"
        return os.read(self.fd, 65536)


def run(*args: str) -> subprocess.CompletedProcess:
    return subprocess.run([str(SIM), *args], capture_output=True, text=True, timeout=PATIENCE_S)


def read_all(client: socket.socket) -> bytes:
    data = bytearray()
    while chunk := client.recv(65536):
        data += chunk
    return bytes(data)


def read_exactly(client: socket.socket, size: int) -> bytes:
    data = bytearray()
    while len(data) < size:
        chunk = client.recv(min(65536, size - len(data)))
        assert chunk, f"the stream ended after {len(data)} of {size} bytes"
        data += chunk
    return bytes(data)


def read_terminal(fd: int) -> bytes:
    """Everything up to the hang-up of the other end."""
    data = bytearray()
    while True:
        assert select.select([fd], [], [], PATIENCE_S)[0], f"stuck after {len(data)} bytes"
        try:
            chunk = os.read(fd, 65536)
        except OSError as error:
            assert error.errno == errno.EIO
            return bytes(data)
        if not chunk:
            return bytes(data)
        data += chunk


def frames_version2(count: int) -> list[bytes]:
    encoder = mavlink2.MAVLink(None, srcSystem=1, srcComponent=1)
    return [
        encoder.attitude_encode(1000 + i, i / 7, -i / 3, 0.5, 0, 0, 0).pack(encoder)
        if i % 2
        else encoder.heartbeat_encode(2, 3, 81, i, 3, 3).pack(encoder)
        for i in range(count)
    ]


def frames_version1(count: int) -> list[bytes]:
    encoder = mavlink1.MAVLink(None, srcSystem=1, srcComponent=1)
    return [
        encoder.sys_status_encode(1, 2, 3, i, 12000, 100, 50, 0, 0, 0, 0, 0, 0).pack(encoder)
        for i in range(count)
    ]


def frames_signed(count: int) -> list[bytes]:
    encoder = mavlink2.MAVLink(None, srcSystem=1, srcComponent=1)
    encoder.signing.secret_key = bytes(range(32))
    encoder.signing.sign_outgoing = True
    frames = [encoder.heartbeat_encode(2, 3, 81, i, 3, 3).pack(encoder) for i in range(count)]
    assert all(frame[2] == 1 and len(frame) == 12 + frame[1] + 13 for frame in frames)
    return frames


def with_unknown_ids(frames: list[bytes]) -> list[bytes]:
    """The same, with messages in between that no dialect knows, as newer autopilots send."""
    stranger = bytes.fromhex("fd03000009 0101 fafaf9 010203 abcd")
    return [part for frame in frames for part in (frame, stranger)]


def tlog(frames: list[bytes], times_us: list[int] | None = None) -> bytes:
    start = 1_795_000_000_000_000
    times = times_us or [start + 1000 * i for i in range(len(frames))]
    return b"".join(struct.pack(">Q", time_us) + frame for time_us, frame in zip(times, frames, strict=True))


HOUR_US = 3_600_000_000

RECORDINGS = {
    "version 2": (frames_version2(300), None),
    "version 1": (frames_version1(50), None),
    "signed": (frames_signed(50), None),
    "both versions": (
        [f for pair in zip(frames_version1(50), frames_version2(50), strict=True) for f in pair],
        None,
    ),
    "unknown message ids": (with_unknown_ids(frames_version2(20)), None),
    "times that repeat": (frames_version2(20), [1_000_000] * 20),
    "times with link numbers": (frames_version2(20), [1_000_000 + 4000 * i + 3 - i % 4 for i in range(20)]),
    "times that step back": (frames_version2(20), [100 * HOUR_US - HOUR_US * i for i in range(20)]),
    "a clock that is set": (
        frames_version2(20),
        [1000 * i for i in range(10)] + [2**62 + 1000 * i for i in range(10)],
    ),
}


@pytest.fixture
def recording(tmp_path: Path) -> tuple[Path, list[bytes]]:
    frames = frames_version2(200)
    path = tmp_path / "flight.tlog"
    path.write_bytes(tlog(frames))
    return path, frames


@pytest.fixture
def long_recording(tmp_path: Path) -> tuple[Path, bytes]:
    """More than all buffers between the simulator and a client that does not read can hold."""
    encoder = mavlink2.MAVLink(None, srcSystem=1, srcComponent=1)
    frames = [
        encoder.v2_extension_encode(0, 0, 0, 300, list(os.urandom(248)) + [i + 1]).pack(encoder)
        for i in range(200)
    ]
    frames *= 450
    path = tmp_path / "long.tlog"
    path.write_bytes(tlog(frames))
    return path, b"".join(frames)


# Bytes


@pytest.mark.parametrize("name", RECORDINGS)
def test_tlog_over_tcp_client_reads_exactly_the_frames(name: str, tmp_path: Path):
    frames, times = RECORDINGS[name]
    path = tmp_path / "flight.tlog"
    path.write_bytes(tlog(frames, times))
    with (
        Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST) as sim,
        sim.connect() as client,
    ):
        assert read_all(client) == b"".join(frames)
        assert sim.end()[0] == DONE


def test_raw_over_tcp_client_reads_all_bytes_stray_ones_included(tmp_path: Path):
    stray = b"0 0 0 \xfe\xfd\xfe\x00\xff"
    data = stray + stray.join(frames_version2(100)) + stray
    path = tmp_path / "boot.raw"
    path.write_bytes(data)
    with (
        Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST) as sim,
        sim.connect() as client,
    ):
        assert read_all(client) == data
        assert sim.end()[0] == DONE


def test_raw_with_a_frame_right_behind_a_false_start_is_accepted(tmp_path: Path):
    data = b"\xfd\xff\x00" + frames_version2(1)[0]
    path = tmp_path / "capture.bin"
    path.write_bytes(data)
    with Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0") as sim, sim.connect() as client:
        assert read_all(client) == data
        assert sim.end()[0] == DONE


def test_tcp_pymavlink_client_decodes_every_message(recording):
    path, frames = recording
    expected = mavlink2.MAVLink(None).parse_buffer(b"".join(frames))
    with Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST) as sim:
        link = mavutil.mavlink_connection(f"tcp:127.0.0.1:{sim.port()}", autoreconnect=False)
        got = [link.recv_match(blocking=True, timeout=PATIENCE_S) for _ in expected]
        link.close()
        assert [m.to_dict() for m in got] == [m.to_dict() for m in expected]
        assert sim.end()[0] == DONE


def test_pty_client_reads_exactly_the_frames(recording, tmp_path: Path):
    path, frames = recording
    link = tmp_path / "autopilot"
    with Sim("--replay", str(path), "--link", f"pty:{link}", "--speed", FAST) as sim:
        assert sim.addresses == [f"pty:{link}"]
        fd = os.open(link, os.O_RDWR | os.O_NOCTTY)
        assert read_terminal(fd) == b"".join(frames)
        os.close(fd)
        assert sim.end()[0] == DONE
    assert not link.is_symlink()


def test_pty_more_than_the_kernel_holds_reaches_a_client_that_reads_late(tmp_path: Path):
    frames = frames_version2(20000)
    path = tmp_path / "flight.tlog"
    path.write_bytes(tlog(frames))
    link = tmp_path / "autopilot"
    with Sim("--replay", str(path), "--link", f"pty:{link}", "--speed", FAST) as sim:
        fd = os.open(link, os.O_RDWR | os.O_NOCTTY)
        wait_for_input(fd, 4000)
        assert read_terminal(fd) == b"".join(frames)
        os.close(fd)
        assert sim.end()[0] == DONE


def test_serial_device_gets_exactly_the_frames(recording):
    path, frames = recording
    far, near = os.openpty()
    tty.setraw(near)
    with Sim("--replay", str(path), "--link", f"{os.ttyname(near)},57600", "--speed", FAST) as sim:
        assert sim.addresses == [f"{os.ttyname(near)},57600"]
        data = b""
        while len(data) < len(b"".join(frames)):
            assert select.select([far], [], [], PATIENCE_S)[0]
            data += os.read(far, 65536)
        assert data == b"".join(frames)
        assert sim.end()[0] == DONE
    os.close(near)
    os.close(far)


def test_two_links_each_gets_all_from_where_its_client_joined(recording, tmp_path: Path):
    path, frames = recording
    link = tmp_path / "autopilot"
    args = ["--replay", str(path), "--loop"]
    with (
        Sim(*args, "--link", "tcp:127.0.0.1:0", "--link", f"pty:{link}", links=2) as sim,
        sim.connect() as client,
    ):
        fd = os.open(link, os.O_RDWR | os.O_NOCTTY)
        stream = b"".join(frames) * 3
        assert read_exactly(client, 5000) == stream[:5000]
        assert os_read_exactly(fd, 5000) in stream
        os.close(fd)


def test_client_input_is_thrown_away_and_harms_nothing(recording):
    path, frames = recording
    with Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--loop") as sim, sim.connect() as client:
        before = peak_memory(sim.process.pid)
        client.sendall(bytes(60_000_000))
        stream = b"".join(frames) * 2
        assert read_exactly(client, len(stream)) == stream
        assert peak_memory(sim.process.pid) - before < 20_000_000


def test_closed_stdout_does_not_end_the_replay(recording):
    path, frames = recording
    with Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST, "--json") as sim:
        sim.process.stdout.close()
        with sim.connect() as client:
            assert read_all(client) == b"".join(frames)
        assert sim.process.wait(PATIENCE_S) == DONE


# Times


@pytest.mark.parametrize(("speed", "at_least_s"), [("1", 0.6), ("2", 0.3), ("0.5", 1.2)])
def test_tlog_takes_its_time_divided_by_the_speed(speed: str, at_least_s: float, tmp_path: Path):
    path = tmp_path / "flight.tlog"
    path.write_bytes(tlog(frames_version2(2), [5_000_000, 5_600_000]))
    with Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", speed) as sim:
        start = time.monotonic()
        with sim.connect() as client:
            read_all(client)
        assert time.monotonic() - start >= at_least_s
        assert sim.end()[0] == DONE


@pytest.mark.parametrize(("baud", "at_least_s"), [(None, 0.5), ("28800", 1.0)])
def test_raw_takes_ten_bits_a_byte(baud: str | None, at_least_s: float, tmp_path: Path):
    data = b"".join(frames_version2(200))[:2880]
    path = tmp_path / "boot.raw"
    path.write_bytes(data)
    args = ["--replay", str(path), "--link", "tcp:127.0.0.1:0", *(["--baud", baud] if baud else [])]
    with Sim(*args) as sim:
        start = time.monotonic()
        with sim.connect() as client:
            assert read_all(client) == data
        assert time.monotonic() - start >= at_least_s
        assert sim.end()[0] == DONE


def test_hours_at_a_large_speed_end_soon(tmp_path: Path):
    frames = frames_version2(30)
    path = tmp_path / "flight.tlog"
    path.write_bytes(tlog(frames, [HOUR_US * i for i in range(30)]))
    with (
        Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", "1e300") as sim,
        sim.connect() as client,
    ):
        assert read_all(client) == b"".join(frames)
        assert sim.end()[0] == DONE


def test_replay_waits_for_its_first_client(recording):
    path, frames = recording
    with Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST, "--json") as sim:
        assert not sim.lines.arrives_within(0.3)
        with sim.connect() as client:
            assert read_all(client) == b"".join(frames)
        assert sim.end()[0] == DONE


# Clients that come, go and dawdle


def test_loop_begins_again_without_a_seam(recording):
    path, frames = recording
    stream = b"".join(frames)
    args = ["--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST, "--loop"]
    with Sim(*args) as sim, sim.connect() as client:
        assert read_exactly(client, 3 * len(stream)) == 3 * stream
        sim.process.send_signal(signal.SIGTERM)
        assert sim.end()[0] == DONE


def test_second_client_joins_where_the_replay_is_at_a_frame(recording):
    path, frames = recording
    stream = b"".join(frames) * 3
    args = ["--replay", str(path), "--link", "tcp:127.0.0.1:0", "--loop"]
    with Sim(*args) as sim, sim.connect() as first:
        assert read_exactly(first, 1000) == stream[:1000]
        with sim.connect() as second:
            joined = read_exactly(second, 2000)
            starts = [sum(map(len, frames[:i])) for i in range(len(frames))]
            assert any(stream[start:].startswith(joined) for start in starts)


def test_client_that_resets_its_connection_is_dropped_and_the_next_one_served(recording):
    path, frames = recording
    stream = b"".join(frames) * 3
    args = ["--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", "50", "--loop", "--json"]
    with Sim(*args) as sim:
        with sim.connect() as first:
            read_exactly(first, 100)
            first.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        events = [json.loads(sim.lines.next()) for _ in range(2)]
        assert [(e["event"], e["connected"]) for e in events] == [("client", True), ("client", False)]
        with sim.connect() as second:
            assert read_exactly(second, 2000) in stream
        sim.process.send_signal(signal.SIGINT)
        assert sim.end()[0] == DONE


def test_replay_ends_though_its_only_client_left_without_reading(long_recording):
    path, _ = long_recording
    with Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST, "--json") as sim:
        with sim.connect() as client:
            read_exactly(client, 1)
        code, lines, _ = sim.end()
        assert code == DONE
        finished = json.loads(lines[-1])
        assert (finished["event"], finished["bytes"]) == ("finished", len(long_recording[1]))


def test_replay_waits_for_a_slow_reader_with_bounded_memory(long_recording):
    path, stream = long_recording
    with Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST, "--json") as sim:
        before = peak_memory(sim.process.pid)
        with sim.connect() as client:
            start = read_exactly(client, len(stream) // 4)
            assert peak_memory(sim.process.pid) - before < 8_000_000
            assert start + read_all(client) == stream
        code, lines, _ = sim.end()
        assert code == DONE
        assert json.loads(lines[-1])["pauses"] > 0


def test_tcp_end_waits_until_a_client_with_a_small_buffer_has_everything(tmp_path: Path):
    frames = frames_version2(7000)
    path = tmp_path / "flight.tlog"
    path.write_bytes(tlog(frames))
    with (
        Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST, "--json") as sim,
        socket.socket() as client,
    ):
        client.settimeout(PATIENCE_S)
        client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
        client.connect(("127.0.0.1", sim.port()))
        assert json.loads(sim.lines.next())["event"] == "client"
        assert not sim.lines.arrives_within(0.3)
        client.sendall(b"chatter while the simulator waits")
        assert read_all(client) == b"".join(frames)
        code, lines, _ = sim.end()
        assert (code, json.loads(lines[-1])["event"]) == (DONE, "finished")


def test_pty_end_waits_until_the_client_has_read(tmp_path: Path):
    frames = frames_version2(60)
    stream = b"".join(frames)
    assert len(stream) < 4000
    path = tmp_path / "flight.tlog"
    path.write_bytes(tlog(frames))
    link = tmp_path / "autopilot"
    with Sim("--replay", str(path), "--link", f"pty:{link}", "--speed", FAST, "--json") as sim:
        fd = os.open(link, os.O_RDWR | os.O_NOCTTY)
        wait_for_input(fd, len(stream))
        assert json.loads(sim.lines.next())["event"] == "client"
        assert not sim.lines.arrives_within(0.3)
        assert read_terminal(fd) == stream
        os.close(fd)
        code, lines, _ = sim.end()
        assert (code, json.loads(lines[-1])["event"]) == (DONE, "finished")


def test_pty_client_that_claims_the_device_for_itself_reads_everything(recording, tmp_path: Path):
    path, frames = recording
    link = tmp_path / "autopilot"
    with Sim("--replay", str(path), "--link", f"pty:{link}", "--speed", FAST) as sim:
        fd = os.open(link, os.O_RDWR | os.O_NOCTTY)
        fcntl.ioctl(fd, termios.TIOCEXCL)
        assert read_terminal(fd) == b"".join(frames)
        os.close(fd)
        assert sim.end()[0] == DONE


def test_pty_next_client_gets_a_raw_line_and_nothing_that_was_meant_for_the_one_before(tmp_path: Path):
    frames = frames_version1(3000)
    path = tmp_path / "flight.tlog"
    path.write_bytes(tlog(frames, [100_000 * i for i in range(len(frames))]))
    link = tmp_path / "autopilot"
    with Sim("--replay", str(path), "--link", f"pty:{link}", "--json") as sim:
        fd = os.open(link, os.O_RDWR | os.O_NOCTTY)
        wait_for_input(fd, len(frames[0]))
        make_cooked(fd)
        os.close(fd)
        assert [json.loads(sim.lines.next())["connected"] for _ in range(2)] == [True, False]
        fd = os.open(link, os.O_RDWR | os.O_NOCTTY)
        assert not termios.tcgetattr(fd)[3] & (termios.ECHO | termios.ICANON)
        assert os_read_exactly(fd, len(frames[0])) in frames[1:]
        os.close(fd)


# Errors and ends

FRAME = frames_version2(1)[0]


@pytest.mark.parametrize(
    ("args", "says"),
    [
        ([], "--replay"),
        (["--replay", "x.tlog"], "--link"),
        (["--link", "tcp:127.0.0.1:0"], "--replay"),
        (["--replay", "x.tlog", "--link", "tcp:127.0.0.1"], '"tcp:127.0.0.1" is no address'),
        (["--replay", "x.tlog", "--link", "tcp:127.0.0.1:65536"], "is no address"),
        (["--replay", "x.tlog", "--link", "/dev/ttyS0"], "is no address"),
        (["--replay", "x.tlog", "--link", "pty:"], "is no address"),
        (["--replay", "x.tlog", "--link", "pty:a", "--link", "pty:a"], "given twice"),
        (["--replay", "x.tlog", "--link", "tcp:127.0.0.1:0", "--speed", "0"], "--speed"),
        (["--replay", "x.tlog", "--link", "tcp:127.0.0.1:0", "--speed", "fast"], "--speed"),
        (["--replay", "x.tlog", "--link", "tcp:127.0.0.1:0", "--speed", "inf"], "--speed"),
        (["--replay", "x.tlog", "--link", "tcp:127.0.0.1:0", "--baud", "-1"], "--baud"),
        (["--replay", "x.tlog", "--link", "tcp:127.0.0.1:0", "more"], '"more"'),
        (["--replay", "x.tlog", "--link", "tcp:127.0.0.1:0", "--autopilot", "px4"], "autopilot"),
    ],
)
def test_wrong_arguments_are_one_line_and_exit_1(args: list[str], says: str):
    assert_refused(run(*args), USAGE, says)


@pytest.mark.parametrize(
    ("name", "content", "says"),
    [
        ("missing.tlog", None, "missing.tlog"),
        ("empty.tlog", b"", "empty"),
        ("empty.raw", b"", "empty"),
        ("text.tlog", b"no telemetry at all, just some text", "no MAVLink recording: no frame at byte 8"),
        ("short.tlog", b"\x00\x01", "cut at byte 2"),
        ("half.tlog", tlog([FRAME])[:-1], "cut at byte 28"),
        ("text.raw", b"no telemetry at all, just some text", "good checksum"),
        ("damaged.raw", FRAME[:-1] + bytes([FRAME[-1] ^ 1]), "good checksum"),
        ("half.raw", FRAME[:-1], "good checksum"),
    ],
)
def test_unusable_recording_is_one_line_and_exit_2(
    name: str, content: bytes | None, says: str, tmp_path: Path
):
    path = tmp_path / name
    if content is not None:
        path.write_bytes(content)
    assert_refused(run("--replay", str(path), "--link", "tcp:127.0.0.1:0"), BAD_FILE, says)


@pytest.mark.parametrize("suffix", ["", ".tlog"])
def test_folder_as_recording_is_one_line_and_exit_2(suffix: str, tmp_path: Path):
    folder = tmp_path / f"folder{suffix}"
    folder.mkdir()
    assert_refused(run("--replay", str(folder), "--link", "tcp:127.0.0.1:0"), BAD_FILE, "not a regular file")


@pytest.mark.parametrize("missing", [1, 5, len(FRAME), len(FRAME) + 7])
def test_tlog_cut_in_a_frame_replays_the_whole_frames_then_exits_2(missing: int, tmp_path: Path):
    frames = frames_version2(9)
    data = tlog(frames)[:-missing]
    path = tmp_path / "cut.tlog"
    path.write_bytes(data)
    args = ["--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST, "--quiet"]
    with Sim(*args) as sim, sim.connect() as client:
        assert read_all(client) == b"".join(frames[:-1])
        code, _, err = sim.end()
    assert code == BAD_FILE
    assert len(err.splitlines()) == 1
    assert f"cut at byte {len(data)}," in err


def test_tlog_with_rubbish_inside_replays_up_to_it_then_exits_2(tmp_path: Path):
    frames = frames_version2(5)
    path = tmp_path / "rubbish.tlog"
    path.write_bytes(tlog(frames) + b"rubbish, and a lot of it")
    args = ["--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST, "--quiet"]
    with Sim(*args) as sim, sim.connect() as client:
        assert read_all(client) == b"".join(frames)
        code, _, err = sim.end()
    assert code == BAD_FILE
    assert f"no frame at byte {len(tlog(frames)) + 8}" in err


def test_recording_that_shrinks_while_it_is_replayed_exits_2(long_recording):
    path, stream = long_recording
    with Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST, "--quiet") as sim:
        with sim.connect() as client:
            first = read_exactly(client, 1)
            os.truncate(path, path.stat().st_size - 100)
            got = first + read_all(client)
        code, _, err = sim.end()
    assert code == BAD_FILE
    assert "cannot be read" in err
    assert stream.startswith(got)
    assert len(stream) - len(got) < 1000


def test_port_in_use_is_one_line_and_exit_4(recording):
    with socket.create_server(("127.0.0.1", 0)) as server:
        address = f"tcp:127.0.0.1:{server.getsockname()[1]}"
        assert_refused(run("--replay", str(recording[0]), "--link", address), LINK_FAILED, address)


def test_missing_serial_device_is_one_line_and_exit_4(recording, tmp_path: Path):
    address = f"{tmp_path}/ttyS99,57600"
    assert_refused(run("--replay", str(recording[0]), "--link", address), LINK_FAILED, address)


def test_link_that_fails_takes_the_links_before_it_along(recording, tmp_path: Path):
    link = tmp_path / "autopilot"
    args = [
        "--replay",
        str(recording[0]),
        "--link",
        f"pty:{link}",
        "--link",
        f"pty:{tmp_path}/missing/autopilot",
    ]
    assert_refused(run(*args), LINK_FAILED, "missing/autopilot")
    assert not link.is_symlink()


@pytest.mark.parametrize("through_symlink", [False, True])
def test_pty_does_not_replace_a_file(through_symlink: bool, recording, tmp_path: Path):
    file = tmp_path / "precious"
    file.write_text("data")
    link = file
    if through_symlink:
        link = tmp_path / "link"
        link.symlink_to(file)
    assert_refused(run("--replay", str(recording[0]), "--link", f"pty:{link}"), LINK_FAILED, "no symlink")
    assert file.read_text() == "data"
    assert link.exists()


@pytest.mark.parametrize("target", ["/dev/pts/ptmx", "nowhere"])
def test_pty_replaces_a_stale_symlink(target: str, recording, tmp_path: Path):
    path, frames = recording
    link = tmp_path / "autopilot"
    link.symlink_to(target)
    with Sim("--replay", str(path), "--link", f"pty:{link}", "--speed", FAST) as sim:
        fd = os.open(link, os.O_RDWR | os.O_NOCTTY)
        assert read_terminal(fd) == b"".join(frames)
        os.close(fd)
        assert sim.end()[0] == DONE


def test_pty_link_that_another_program_replaced_is_left_alone(recording, tmp_path: Path):
    link = tmp_path / "autopilot"
    with Sim("--replay", str(recording[0]), "--link", f"pty:{link}") as sim:
        link.unlink()
        link.symlink_to("elsewhere")
        sim.process.send_signal(signal.SIGTERM)
        assert sim.end()[0] == DONE
    assert link.readlink() == Path("elsewhere")


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
@pytest.mark.parametrize("with_client", [False, True])
def test_signal_ends_cleanly(number: signal.Signals, with_client: bool, recording, tmp_path: Path):
    path, frames = recording
    link = tmp_path / "autopilot"
    args = ["--replay", str(path), "--link", f"pty:{link}", "--link", "tcp:127.0.0.1:0", "--speed", "0.001"]
    with Sim(*args, links=2) as sim:
        client = sim.connect(1) if with_client else None
        if client:
            assert read_exactly(client, len(frames[0])) == frames[0]
        sim.process.send_signal(number)
        assert sim.end()[0] == DONE
        if client:
            assert read_all(client) == b""
            client.close()
    assert not link.is_symlink()


# What it prints


def test_json_prints_one_object_a_line_and_nothing_on_stderr(recording):
    path, frames = recording
    size = len(b"".join(frames))
    with Sim("--replay", str(path), "--link", "tcp:127.0.0.1:0", "--speed", FAST, "--json") as sim:
        with sim.connect() as client:
            assert len(read_all(client)) == size
        code, lines, err = sim.end()
        events = [json.loads(line) for line in lines]
        assert (code, err) == (DONE, "")
        assert all(event["time"].endswith("Z") for event in events)
        assert [event["event"] for event in events] == ["client", "client", "finished"]
        assert [event["connected"] for event in events[:2]] == [True, False]
        assert {event["address"] for event in events[:2]} == {sim.addresses[0]}
        assert events[2]["bytes"] == size


def test_help_names_every_option_that_works_and_no_other():
    result = run("--help")
    assert (result.returncode, result.stderr) == (DONE, "")
    works = (
        "autopilot",
        "replay",
        "link",
        "forward",
        "speed",
        "loop",
        "baud",
        "json",
        "quiet",
        "help",
        "version",
        "boot-delay",
        "wind",
        "loss",
        "corrupt",
        "latency",
        "stall",
        "seed",
    )
    named = set(re.findall(r"^  .*?--([a-z-]+)", result.stdout, re.MULTILINE))
    assert named == set(works)


def test_version_is_the_version_of_the_project():
    cmake = (REPO / "CMakeLists.txt").read_text()
    version = cmake.split("project(noflailsten VERSION ", 1)[1].split()[0]
    result = run("--version")
    assert (result.returncode, result.stdout, result.stderr) == (DONE, f"noflailsten-sim {version}\n", "")


# Helpers of the tests above


def assert_refused(result: subprocess.CompletedProcess, code: int, says: str) -> None:
    assert result.returncode == code
    assert result.stdout == ""
    assert len(result.stderr.splitlines()) == 1
    assert result.stderr.startswith("noflailsten-sim: ")
    assert says in result.stderr


def waiting_input(fd: int) -> int:
    return struct.unpack("i", fcntl.ioctl(fd, termios.FIONREAD, b"\0" * 4))[0]


def wait_for_input(fd: int, size: int) -> None:
    deadline = time.monotonic() + PATIENCE_S
    while waiting_input(fd) < size:
        assert time.monotonic() < deadline, f"{waiting_input(fd)} of {size} bytes came"
        time.sleep(0.01)


def make_cooked(fd: int) -> None:
    settings = termios.tcgetattr(fd)
    settings[3] |= termios.ECHO | termios.ICANON
    termios.tcsetattr(fd, termios.TCSANOW, settings)


def os_read_exactly(fd: int, size: int) -> bytes:
    data = b""
    while len(data) < size:
        assert select.select([fd], [], [], PATIENCE_S)[0], f"stuck after {len(data)} bytes"
        data += os.read(fd, size - len(data))
    return data


def peak_memory(pid: int) -> int:
    lines = Path(f"/proc/{pid}/status").read_text().splitlines()
    return next(int(line.split()[1]) * 1024 for line in lines if line.startswith("VmHWM:"))
