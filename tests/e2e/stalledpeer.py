# SPDX-License-Identifier: MIT
"""A TCP peer that reads nothing, or next to nothing, while the host goes on sending."""

import contextlib
import socket
import threading
import time
from collections.abc import Callable
from pathlib import Path

from jsonprocess import TIMEOUT, JsonProcess
from links import TcpLink

SMALL_BUFFER = 4096
ETHERNET_MSS = 1460  # the loopback's own would make the host's buffer forty times as large, and long to fill
BATCH = 2
BLOCKED_FOR = 0.3  # seconds in which a host that can write gets far more than a batch done
FILLING = "FILLING" * 12  # one frame


class StalledPeer(TcpLink):
    def __init__(self):
        super().__init__()
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, SMALL_BUFFER)
        self.listener.setsockopt(socket.IPPROTO_TCP, socket.TCP_MAXSEG, ETHERNET_MSS)
        self.sends = 0
        self.sipping = threading.Event()

    def fill(self, host: JsonProcess, meanwhile: Callable[[], None] = lambda: None) -> None:
        """Lets the host send until its sends block. Afterwards all that it was asked to send is sent."""
        deadline = time.monotonic() + TIMEOUT
        while sends_of(host) == self.sends:
            assert time.monotonic() < deadline, "the buffers have no end"
            meanwhile()
            self.ask_for(host, BATCH)
            self.wait_for_sends(host, BLOCKED_FOR)
        while sends_of(host) < self.sends:
            assert time.monotonic() < deadline
            meanwhile()
            self.wait_for_sends(host, 1)

    def ask_for(self, host: JsonProcess, sends: int) -> None:
        for _ in range(sends):
            host.write_line(f"send 3 254 text:{FILLING}")
        self.sends += sends

    def wait_for_sends(self, host: JsonProcess, timeout: float = TIMEOUT) -> None:
        deadline = time.monotonic() + timeout
        while sends_of(host) < self.sends and (left := deadline - time.monotonic()) > 0:
            host.output.wait_for(lambda record: record.get("event") == "sent", left)

    def sip(self) -> None:
        """From now on reads a byte a second."""
        self.sipping.set()
        threading.Thread(target=self._sip, args=(self.connection,), daemon=True).start()

    def _sip(self, connection: socket.socket) -> None:
        with contextlib.suppress(OSError):
            while self.sipping.is_set() and connection.recv(1):
                time.sleep(1)

    def gathered(self) -> tuple[int, int]:
        """Bytes that wait in the system's buffers: on the host's side, and on ours."""
        port = self.listener.getsockname()[1]
        ours = self.connection.getpeername()[1]
        waiting = {}
        for line in Path("/proc/net/tcp").read_text().splitlines()[1:]:
            _, local, remote, _, queues = line.split()[:5]
            sent, received = (int(size, 16) for size in queues.split(":"))
            waiting[port_of(local), port_of(remote)] = (sent, received)
        return waiting[ours, port][0], waiting[port, ours][1]

    def close(self) -> None:
        self.sipping.clear()
        super().close()


def port_of(address: str) -> int:
    return int(address.split(":")[1], 16)


def sends_of(host: JsonProcess) -> int:
    return sum(record.get("event") == "sent" for record in host.records)
