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

from pymavlink.dialects.v20 import ardupilotmega

ROOT = Path(__file__).resolve().parent.parent
RECORDING = ROOT / "tests/data/arducopter-flight.tlog"
REPETITIONS = 15
RSS_ROUNDS = 6


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
    names = {run["run_name"] for run in runs}
    return {name: medians([r for r in runs if r["run_name"] == name]) for name in names}


def medians(runs: list[dict]) -> dict[str, float]:
    single = [r for r in runs if r["run_type"] == "iteration"]
    middle = len(single) // 2
    return {key: sorted(r[key] for r in single)[middle] for key in ("ns_per_frame", "allocations_per_frame")}


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


def main() -> int:
    bin_dir = Path(sys.argv[1])
    os.environ["PATH"] = f"{ROOT / 'tools/standins'}:{os.environ['PATH']}"
    micro = micro_benchmarks(bin_dir)

    def ns(name: str) -> float:
        return micro[name]["ns_per_frame"]

    print("| path | ours, ns per frame | generated library alone | ratio | at most | allocations per frame |")
    print("|---|---|---|---|---|---|")
    for title, ours, bare, limit in (
        ("receive, messages that are handled", "BM_ReceiveHandled", "BM_ParseHandled", 3.0),
        ("receive, messages that are ignored", "BM_ReceiveIgnored", "BM_ParseIgnored", 1.3),
        ("send a HEARTBEAT", "BM_SendMessage", "BM_SendGenerated", 2.0),
    ):
        ratio = ns(ours) / ns(bare)
        verdict = "" if ratio <= limit else " (missed)"
        print(
            f"| {title} | {ns(ours):.0f} | {ns(bare):.0f} | {ratio:.2f} | {limit}{verdict} "
            f"| {micro[ours]['allocations_per_frame']:.4f} |"
        )
    connected, heartbeat = start_up(bin_dir)
    rounds, peak = host_memory(bin_dir)
    print()
    print(f"Host start to connection: {connected * 1000:.0f} ms")
    print(f"Host start to the first own heartbeat on the wire: {heartbeat * 1000:.0f} ms")
    print(f"Host RSS after each of {RSS_ROUNDS} rounds through the recording, KiB: {rounds}; peak {peak}")
    # These do not depend on how busy the machine is.
    allocation_free = micro["BM_ReceiveIgnored"]["allocations_per_frame"] < 0.001
    flat = rounds[-1] - rounds[1] < 256
    if not allocation_free:
        print("bench: ignored messages allocate", file=sys.stderr)
    if not flat:
        print("bench: the host's memory grows", file=sys.stderr)
    return 0 if allocation_free and flat else 1


if __name__ == "__main__":
    sys.exit(main())
