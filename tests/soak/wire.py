# SPDX-License-Identifier: MIT
"""The line between a simulated autopilot and its host, which can be cut, reset, silenced and unplugged."""

import contextlib
import os
import queue
import select
import socket
import struct
import threading
import time
import tty
from pathlib import Path

# What comes meanwhile goes on together: a wake-up for every frame would cost more than the frames.
PAUSE_S = 0.004
ROOM = 256 << 10
CHUNK = 1 << 16


class TcpEnd:
    """The host's end is a TCP server, as a serial-to-network adapter is."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.connection: socket.socket | None = None
        self.there = True

    @property
    def settings(self) -> dict:
        address, port = self.listener.getsockname()
        return {"MAV/CONNECTION_TYPE": "TCP", "MAV/SERIAL_DEVICE": address, "MAV/BAUD_RATE": port}

    def descriptors(self) -> list:
        return [self.listener, *([self.connection] if self.connection else [])]

    def writable(self):
        return self.connection

    def accept(self) -> None:
        self.drop()
        self.connection, _ = self.listener.accept()
        if not self.there:
            self.drop()
            return
        self.connection.setblocking(False)

    def read(self, ready: list) -> bytes:
        if self.listener in ready:
            self.accept()
            return b""
        data = self.connection.recv(CHUNK)
        if not data:
            self.drop()
        return data

    def write(self, data: memoryview) -> int:
        return self.connection.send(data)

    def drop(self, reset: bool = False) -> None:
        if self.connection and reset:
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        if self.connection:
            self.connection.close()
        self.connection = None

    def unplug(self) -> None:
        self.there = False
        self.drop()

    def plug(self) -> None:
        self.there = True

    def close(self) -> None:
        self.drop()
        self.listener.close()


class SerialEnd:
    """A pseudo-terminal. Its far end stays open here too and so outlives the host's closing it."""

    def __init__(self, path: Path):
        self.path = path
        self.master = self.slave = -1
        self.plug()

    @property
    def settings(self) -> dict:
        return {"MAV/CONNECTION_TYPE": "UART", "MAV/SERIAL_DEVICE": self.path, "MAV/BAUD_RATE": 921600}

    def descriptors(self) -> list:
        return [] if self.master < 0 else [self.master]

    def writable(self):
        return None if self.master < 0 else self.master

    def read(self, ready: list) -> bytes:
        return os.read(self.master, CHUNK)

    def write(self, data: memoryview) -> int:
        return os.write(self.master, data)

    def drop(self, reset: bool = False) -> None:
        self.unplug()
        self.plug()

    def unplug(self) -> None:
        if self.master >= 0:
            self.path.unlink()
            os.close(self.master)
            os.close(self.slave)
        self.master = self.slave = -1

    def plug(self) -> None:
        if self.master < 0:
            self.master, self.slave = os.openpty()
            os.set_blocking(self.master, False)
            tty.setraw(self.slave)
            self.path.symlink_to(os.ttyname(self.slave))

    def close(self) -> None:
        self.unplug()


class Wire(threading.Thread):
    """Everything happens in its own thread; what is asked of it is done there, in order."""

    def __init__(self, autopilot: tuple[str, int], end: TcpEnd | SerialEnd):
        super().__init__(daemon=True)
        self.autopilot = socket.create_connection(autopilot)
        self.autopilot.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.end = end
        self.asked: queue.SimpleQueue = queue.SimpleQueue()
        self.pending = b""  # to the host
        self.silent = False
        self.stopping = False
        self.downwards = 0  # bytes from the autopilot
        self.error: str | None = None

    def ask(self, what: str, *arguments) -> None:
        """drop, unplug, plug: of the host's end. silence, speak, stop."""
        self.asked.put((what, arguments))

    def run(self) -> None:
        try:
            while not self.stopping:
                self._obey()
                self._carry()
                time.sleep(PAUSE_S)
        except Exception as error:  # without it the soak would go on and show nothing
            self.error = repr(error)
            raise
        finally:
            self.autopilot.close()
            self.end.close()

    def _obey(self) -> None:
        with contextlib.suppress(queue.Empty):
            while True:
                what, arguments = self.asked.get_nowait()
                if what == "stop":
                    self.stopping = True
                elif what in ("silence", "speak"):
                    self.silent = what == "silence"
                else:
                    getattr(self.end, what)(*arguments)
                    self.pending = b""

    def _carry(self) -> None:
        ends = self.end.descriptors()
        wanted = [self.end.writable()] if self.pending and self.end.writable() is not None else []
        ready, writable, _ = select.select([self.autopilot, *ends], wanted, [], 0.05)
        if self.autopilot in ready:
            self._take_down()
        if any(end in ready for end in ends):
            with contextlib.suppress(BlockingIOError):
                self._take_up(ready)
        if writable or (self.pending and self.end.writable() is not None):
            self._pass_down()

    def _take_down(self) -> None:
        data = self.autopilot.recv(ROOM)
        if not data:
            raise ConnectionError("the autopilot has hung up")
        self.downwards += len(data)
        # A line waits for nobody: what finds no room, or nobody, is lost.
        if not self.silent and len(self.pending) < ROOM and self.end.writable() is not None:
            self.pending += data

    def _take_up(self, ready: list) -> None:
        try:
            data = self.end.read(ready)
        except ConnectionError:
            self.end.drop()
            return
        if data and not self.silent:
            self.autopilot.sendall(data)

    def _pass_down(self) -> None:
        try:
            sent = self.end.write(memoryview(self.pending))
        except BlockingIOError:
            return
        except ConnectionError:
            self.end.drop()
            self.pending = b""
            return
        self.pending = self.pending[sent:]
