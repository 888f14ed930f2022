# SPDX-License-Identifier: MIT
"""Round trips ground - simulator - host - simulator - ground over loopback TCP, beside a bare TCP echo."""

import json
import re
import socket
import statistics
import subprocess
import tempfile
import threading
import time
from pathlib import Path

PINGS = 1000
INTERVAL = 0.005  # seconds
PING_SIZE = 31  # bytes of a ping in V2_EXTENSION on the wire
SIM = ["--autopilot", "ardupilot", "--link", "tcp:127.0.0.1:0", "--link", "tcp:127.0.0.1:0"]


def percentiles(milliseconds: list[float]) -> tuple[float, float]:
    cuts = statistics.quantiles(milliseconds, n=100)
    return cuts[49], cuts[98]


def echo_round_trips() -> list[float]:
    """Milliseconds, of messages as long as a ping, each sent as the pings are."""
    times = []
    with socket.create_server(("127.0.0.1", 0)) as server:
        thread = threading.Thread(target=echo, args=(server,))
        thread.start()
        with socket.create_connection(server.getsockname()) as peer:
            peer.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            for _ in range(PINGS):
                begin = time.perf_counter()
                peer.sendall(bytes(PING_SIZE))
                peer.recv(PING_SIZE, socket.MSG_WAITALL)
                times.append((time.perf_counter() - begin) * 1000)
                time.sleep(INTERVAL)
        thread.join()
    return times


def echo(server: socket.socket) -> None:
    connection, _ = server.accept()
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    with connection:
        while data := connection.recv(4096):
            connection.sendall(data)


def ping_round_trips(bin_dir: Path) -> list[float]:
    """Milliseconds, as noflailsten-ground measures them."""
    sim = subprocess.Popen([bin_dir / "noflailsten-sim", *SIM, "--quiet"], stdout=subprocess.PIPE, text=True)
    with tempfile.TemporaryDirectory() as folder:
        ports = [int(re.search(r":(\d+)$", sim.stdout.readline().strip())[1]) for _ in range(2)]
        config = Path(folder) / "host.ini"
        config.write_text(
            f"[MAV]\nCONNECTION_TYPE=TCP\nSERIAL_DEVICE=127.0.0.1\nBAUD_RATE={ports[0]}\nV2_EXTENSION=true\n",
            encoding="ascii",
        )
        quiet = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL)
        host = subprocess.Popen([bin_dir / "noflailsten-host", "--config", config, "--quiet"], **quiet)
        try:
            while not ping(bin_dir, ports[1], 1):  # until the simulator has heard the host, and relays to it
                assert host.poll() is None
            return ping(bin_dir, ports[1], PINGS)
        finally:
            for process in (host, sim):
                process.terminate()
                process.wait(timeout=30)


def ping(bin_dir: Path, port: int, count: int) -> list[float]:
    command = [bin_dir / "noflailsten-ground", "--connect", f"tcp:127.0.0.1:{port}", "--json", "--pace", "0"]
    result = subprocess.run(
        [*command, "ping", "-c", str(count), "-i", str(INTERVAL)], check=False, capture_output=True, text=True
    )
    events = [json.loads(line) for line in result.stdout.splitlines()]
    return [event["roundTripMs"] for event in events if event["event"] == "pong"]
