# SPDX-License-Identifier: MIT
"""The autopilot's ends of the two kinds of links."""

import errno
import os
import select
import socket
import tty
from pathlib import Path
from typing import Protocol

SERIAL_BAUD_RATE = 57600


class LinkClosed(Exception):
    """The host has closed its end."""


class Link(Protocol):
    """What a host can be started on."""

    @property
    def settings(self) -> dict: ...


class TcpLink:
    def __init__(self, listener: socket.socket | None = None):
        self.listener = listener or socket.create_server(("127.0.0.1", 0))
        self.connection: socket.socket | None = None

    @property
    def settings(self) -> dict:
        host, port = self.listener.getsockname()
        return {"MAV/CONNECTION_TYPE": "TCP", "MAV/SERIAL_DEVICE": host, "MAV/BAUD_RATE": port}

    def take_client(self, timeout: float) -> None:
        self.listener.settimeout(timeout)
        self.connection, _ = self.listener.accept()

    def read(self, timeout: float) -> bytes:
        """What is there after at most this time, perhaps nothing."""
        if not select.select([self.connection], [], [], timeout)[0]:
            return b""
        try:
            data = self.connection.recv(65536)
        except ConnectionResetError:
            data = b""
        if not data:
            raise LinkClosed
        return data

    def write(self, data: bytes) -> None:
        self.connection.sendall(data)

    def interrupt(self) -> None:
        self.connection.close()
        self.connection = None

    def restore(self) -> None:
        pass  # the listener has been there all the time

    def close(self) -> None:
        if self.connection:
            self.connection.close()
        self.listener.close()


class SerialLink:
    """A pseudo-terminal. Its far end stays open here too and so outlives the host's closing it."""

    def __init__(self, folder: Path):
        self.path = folder / "autopilot-port"
        self.master = self.slave = -1
        self.restore()

    @property
    def settings(self) -> dict:
        return {
            "MAV/CONNECTION_TYPE": "UART",
            "MAV/SERIAL_DEVICE": self.path,
            "MAV/BAUD_RATE": SERIAL_BAUD_RATE,
        }

    def take_client(self, timeout: float) -> None:
        pass  # a line has no connections

    def read(self, timeout: float) -> bytes:
        if not select.select([self.master], [], [], timeout)[0]:
            return b""
        return os.read(self.master, 65536)

    def write(self, data: bytes) -> None:
        while data:
            data = data[os.write(self.master, data) :]

    def interrupt(self) -> None:
        """The device goes away, as a USB adapter that is pulled out."""
        self.path.unlink()
        self.close()

    def restore(self) -> None:
        self.master, self.slave = os.openpty()
        tty.setraw(self.slave)
        self.path.symlink_to(os.ttyname(self.slave))

    def close(self) -> None:
        for descriptor in (self.master, self.slave):
            try:
                os.close(descriptor)
            except OSError as error:
                if error.errno != errno.EBADF:
                    raise
        self.master = self.slave = -1
