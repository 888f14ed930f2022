# SPDX-License-Identifier: MIT
"""Runs the benchmarks and prints one table: ratios within one run, since machines are noisy.

Usage: report.py FOLDER_WITH_BINARIES
"""

import json
import os
import re
import socket
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from pingbench import PINGS, echo_round_trips, percentiles, ping_round_trips
from pymavlink.dialects.v20 import ardupilotmega

ROOT = Path(__file__).resolve().parent.parent
RECORDING = ROOT / "tests/data/arducopter-flight.tlog"
REPETITIONS = 15
RSS_ROUNDS = 6
HOSTILE_LIMIT = 140e6  # bytes: 20 payloads of 65535 fragments of a byte
COUNTERS = ("ns_per_frame", "allocations_per_frame", "bytes_per_second", "held_bytes")


def micro_benchmarks(bin_dir: Path) -> dict[str, dict[str, float]]:
    """Medians over interleaved repetitions, by benchmark name."""
    command = [
        bin_dir / "noflailsten-bench",
        "--benchmark_format=json",
        f"--benchmark_repetitions={REPETITIONS}",
        "--benchmark_enable_random_interleaving=true",
        "--benchmark_min_time=0.1",
    ]
    output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    runs = json.loads(output)["benchmarks"]
    names = {run["run_name"].split("/")[0] for run in runs}
    return {name: medians([r for r in runs if r["run_name"].split("/")[0] == name]) for name in names}


def medians(runs: list[dict]) -> dict[str, float]:
    single = [r for r in runs if r["run_type"] == "iteration"]
    middle = len(single) // 2
    keys = [key for key in COUNTERS if key in single[0]]
    return {key: sorted(r[key] for r in single)[middle] for key in keys}


def host_config(folder: Path, port: int) -> Path:
    path = folder / "host.ini"
    path.write_text(
        f"[MAV]\nCONNECTION_TYPE=TCP\nSERIAL_DEVICE=127.0.0.1\nBAUD_RATE={port}\n", encoding="ascii"
    )
    return path


def start_host(bin_dir: Path, config: Path) -> subprocess.Popen:
    command = [bin_dir / "noflailsten-host", "--config", config, "--quiet", "--no-reconnect"]
    return subprocess.Popen(command, **dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL))


def stop(process: subprocess.Popen) -> None:
    process.terminate()
    process.wait(timeout=30)


def start_up(bin_dir: Path) -> tuple[float, float]:
    """Seconds from starting the host to its connection, and to its first heartbeat on the wire."""
    with tempfile.TemporaryDirectory() as folder, socket.create_server(("127.0.0.1", 0)) as server:
        begin = time.monotonic()
        host = start_host(bin_dir, host_config(Path(folder), server.getsockname()[1]))
        peer, _ = server.accept()
        connected = time.monotonic() - begin
        parser = ardupilotmega.MAVLink(None)
        with peer:
            while True:
                messages = parser.parse_buffer(peer.recv(4096)) or []
                if any(m.get_type() == "HEARTBEAT" for m in messages):
                    break
        heartbeat = time.monotonic() - begin
        stop(host)
    return connected, heartbeat


def memory(pid: int, field: str) -> int:
    """A field of the process's memory figures, KiB."""
    status = Path(f"/proc/{pid}/status").read_text(encoding="ascii")
    return int(re.search(rf"{field}:\s+(\d+) kB", status).group(1))


def recording_bytes() -> bytes:
    """The frames of the recording without their times."""
    log = RECORDING.read_bytes()
    out, at = bytearray(), 8
    while at + 1 < len(log):
        size = log[at + 1] + 12
        out += log[at : at + size]
        at += size + 8
    return bytes(out)


def host_memory(bin_dir: Path) -> tuple[list[int], int]:
    """RSS after each of several rounds through the whole recording, and the peak, KiB."""
    frames = recording_bytes()
    rounds = []
    with tempfile.TemporaryDirectory() as folder, socket.create_server(("127.0.0.1", 0)) as server:
        host = start_host(bin_dir, host_config(Path(folder), server.getsockname()[1]))
        peer, _ = server.accept()
        with peer:
            for _ in range(RSS_ROUNDS):
                peer.sendall(frames)
                wait_until_read(peer)
                rounds.append(memory(host.pid, "VmRSS"))
            peak = memory(host.pid, "VmHWM")
        stop(host)
    return rounds, peak


def wait_until_read(peer: socket.socket) -> None:
    """Two heartbeats later, a second apart, the host has long taken what stood in the socket."""
    peer.settimeout(30)
    for _ in range(2):
        peer.recv(4096)


def print_micro_table(micro: dict[str, dict[str, float]]) -> None:
    print("| path | ours, ns per frame | floor | ratio | at most | allocations per frame |")
    print("|---|---|---|---|---|---|")
    for title, ours, floor, limit in (
        ("receive, messages that are handled", "BM_ReceiveHandled", "BM_ParseHandled", 3.0),
        ("receive, messages that are ignored", "BM_ReceiveIgnored", "BM_ParseIgnored", 1.3),
        ("send a HEARTBEAT", "BM_SendMessage", "BM_SendGenerated", 2.0),
        ("send a 64 KiB payload in V2_EXTENSION", "BM_CarryPayload", "BM_CarryGenerated", 2.0),
        ("reassemble it, fragments in order", "BM_ReassembleOrdered", "BM_CopyToMapOrdered", 2.0),
        ("reassemble it, fragments shuffled", "BM_ReassembleShuffled", "BM_CopyToMapShuffled", 2.0),
        ("parse and reassemble its frames", "BM_ReceiveFramesOrdered", "BM_CopyToMapOrdered", None),
    ):
        ratio = micro[ours]["ns_per_frame"] / micro[floor]["ns_per_frame"]
        verdict = "-" if limit is None else f"{limit}{'' if ratio <= limit else ' (missed)'}"
        print(
            f"| {title} | {micro[ours]['ns_per_frame']:.0f} | {micro[floor]['ns_per_frame']:.0f} "
            f"| {ratio:.2f} | {verdict} | {micro[ours]['allocations_per_frame']:.4f} |"
        )
    print()
    print("The floor is the generated library alone; for reassembly, a copy of each fragment into a map.")


def print_ground_link(bin_dir: Path, micro: dict[str, dict[str, float]]) -> None:
    rate = micro["BM_CarryPayload"]["bytes_per_second"] / 1e6
    held = micro["BM_HostileGround"]["held_bytes"] / 1e6
    echo = percentiles(echo_round_trips())
    times = ping_round_trips(bin_dir)
    ping = percentiles(times)
    print(f"A 64 KiB payload is sent at {rate:.0f} MB/s of payload")
    print(f"Most that a hostile ground makes the host hold: {held:.0f} MB")
    print(
        f"Ping ground - simulator - host and back: p50 {ping[0]:.3f} ms, p99 {ping[1]:.3f} ms "
        f"({len(times)} of {PINGS} answered); bare TCP echo: p50 {echo[0]:.3f} ms, p99 {echo[1]:.3f} ms; "
        f"ratio of p50 {ping[0] / echo[0]:.1f}"
    )


def main() -> int:
    bin_dir = Path(sys.argv[1])
    os.environ["PATH"] = f"{ROOT / 'tools/standins'}:{os.environ['PATH']}"
    micro = micro_benchmarks(bin_dir)
    print_micro_table(micro)
    connected, heartbeat = start_up(bin_dir)
    rounds, peak = host_memory(bin_dir)
    print(f"Host start to connection: {connected * 1000:.0f} ms")
    print(f"Host start to the first own heartbeat on the wire: {heartbeat * 1000:.0f} ms")
    print(f"Host RSS after each of {RSS_ROUNDS} rounds through the recording, KiB: {rounds}; peak {peak}")
    print_ground_link(bin_dir, micro)
    # These do not depend on how busy the machine is.
    allocation_free = micro["BM_ReceiveIgnored"]["allocations_per_frame"] < 0.001
    flat = rounds[-1] - rounds[1] < 256
    if not allocation_free:
        print("bench: ignored messages allocate", file=sys.stderr)
    bounded = micro["BM_HostileGround"]["held_bytes"] < HOSTILE_LIMIT
    if not bounded:
        print("bench: a hostile ground makes the host hold too much", file=sys.stderr)
    if not flat:
        print("bench: the host's memory grows", file=sys.stderr)
    return 0 if allocation_free and bounded and flat else 1


if __name__ == "__main__":
    sys.exit(main())
