# SPDX-License-Identifier: MIT
"""The host's prompt on a terminal: editing, history, completion."""

import fcntl
import os
import pty
import select
import struct
import subprocess
import termios
import time

import pytest
from conftest import write_config
from jsonprocess import TIMEOUT
from links import TcpLink

from autopilot import Autopilot

ROWS, COLUMNS = 40, 120


def take_terminal() -> None:
    """What Ctrl-C at the terminal reaches."""
    os.setsid()
    fcntl.ioctl(0, termios.TIOCSCTTY, 0)


class Terminal:
    """A host on a terminal of its own."""

    def __init__(self, command: list, environment: dict):
        self.master, slave = pty.openpty()
        self.before = termios.tcgetattr(slave)
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", ROWS, COLUMNS, 0, 0))
        environment = {**environment, "TERM": "xterm"}
        self.process = subprocess.Popen(
            command, env=environment, stdin=slave, stdout=slave, stderr=slave, preexec_fn=take_terminal
        )
        self.slave = slave
        self.written = ""

    def type(self, text: str) -> None:
        os.write(self.master, text.encode())

    def wait_for(self, text: str) -> None:
        """What is waited for comes after what was waited for before."""
        self.take_until(text)

    def take_until(self, text: str) -> str:
        """What was written before the text since the last one that was waited for."""
        deadline = time.monotonic() + TIMEOUT
        while text not in self.written:
            left = deadline - time.monotonic()
            assert (
                left > 0 and select.select([self.master], [], [], left)[0]
            ), f"no '{text}': {self.written!r}"
            self.written += os.read(self.master, 65536).decode(errors="replace")
        taken, self.written = self.written.split(text, 1)
        return taken

    def wait_for_end(self) -> int:
        deadline = time.monotonic() + TIMEOUT
        while self.process.poll() is None and time.monotonic() < deadline:
            if select.select([self.master], [], [], 0.1)[0]:
                self.written += os.read(self.master, 65536).decode(errors="replace")
        return self.process.wait(TIMEOUT)

    def close(self) -> None:
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        os.close(self.master)
        os.close(self.slave)


@pytest.fixture
def start(bin_dir, environment, tmp_path):
    started = []
    environment = {**environment, "XDG_STATE_HOME": str(tmp_path / "state")}
    no_device = {"MAV/CONNECTION_TYPE": "UART", "MAV/SERIAL_DEVICE": tmp_path / "no-device"}

    def start(*arguments, settings=no_device) -> Terminal:
        config = write_config(tmp_path / "host.ini", settings)
        terminal = Terminal([bin_dir / "noflailsten-host", "--config", config, *arguments], environment)
        started.append(terminal)
        terminal.wait_for("> ")
        return terminal

    yield start
    for terminal in started:
        terminal.close()


@pytest.mark.parametrize("arguments", [(), ("--quiet",)], ids=["live", "quiet"])
def test_words_are_completed(start, arguments):
    terminal = start(*arguments)
    terminal.type("set MA\tV2\ttrue\r")
    terminal.wait_for("MAV/V2_EXTENSION=true")
    terminal.type("qu\t\r")
    assert terminal.wait_for_end() == 0


@pytest.mark.parametrize(
    ("arguments", "words"),
    [((), "send  set  status  subscribe\x1b8"), (("--quiet",), "send       set        status     subscribe")],
    ids=["live", "quiet"],
)
def test_second_tab_lists_the_words(start, arguments, words):
    """In the live view above the prompt, whose row does not scroll."""
    terminal = start(*arguments)
    terminal.type("s\t\t")
    terminal.wait_for(words)
    terminal.type("et MAV SYSTEM_ID 9\r")
    terminal.wait_for("MAV/SYSTEM_ID=9")
    terminal.type("quit\r")
    assert terminal.wait_for_end() == 0


def test_lost_link_shows_in_the_table_with_its_reason(start):
    link = TcpLink()
    terminal = start(settings=link.settings)
    autopilot = Autopilot(link)
    link.take_client(TIMEOUT)
    autopilot.send_heartbeat()
    terminal.wait_for("heard  ")
    link.interrupt()
    link.close()
    terminal.wait_for("did not open: Connection refused, next try in ")
    terminal.wait_for("no link")
    table = terminal.take_until("no link")
    assert "Autopilot" in table
    assert "heard" not in table
    terminal.type("quit\r")
    assert terminal.wait_for_end() == 0


def test_lines_are_edited_and_remembered(start):
    terminal = start("--quiet")
    terminal.type("set MAV SYSTEM_ID 4\x7f7\r")  # a digit taken back
    terminal.wait_for("MAV/SYSTEM_ID=7")
    terminal.wait_for("> ")  # the terminal edits by itself until then
    terminal.type("\x1b[A\x7f8\r")  # the line before, changed
    terminal.wait_for("MAV/SYSTEM_ID=8")
    terminal.type("quit\r")
    assert terminal.wait_for_end() == 0
    again = start("--quiet")
    again.type("\x1b[A\x1b[A\x7f9\r")  # of the last run, before its quit
    again.wait_for("MAV/SYSTEM_ID=9")


def test_end_of_input_ends_the_host_and_the_terminal_is_as_it_was(start):
    terminal = start("--quiet")
    terminal.type("\x04")
    assert terminal.wait_for_end() == 0
    assert termios.tcgetattr(terminal.slave) == terminal.before


def test_interrupt_ends_the_host(start):
    terminal = start()
    terminal.type("sta\x03")
    assert terminal.wait_for_end() == 0
    assert termios.tcgetattr(terminal.slave) == terminal.before


def test_command_ends_the_one_that_still_runs(start):
    terminal = start("--quiet")
    terminal.type("wait 600\r")
    terminal.type("set MAV SYSTEM_ID 9\r")
    terminal.wait_for("MAV/SYSTEM_ID=9")
    terminal.type("wait 600\r")
    terminal.type("quit\r")
    assert terminal.wait_for_end() == 0


def test_mistake_is_told_and_the_prompt_goes_on(start):
    terminal = start("--quiet")
    terminal.type("dance\r")
    terminal.wait_for("unknown command dance")
    terminal.type("quit\r")
    assert terminal.wait_for_end() == 0
