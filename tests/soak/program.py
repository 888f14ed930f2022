# SPDX-License-Identifier: MIT
"""A program under observation: what it prints is counted, not kept."""

import contextlib
import fcntl
import json
import os
import re
import signal
import subprocess
import threading
import time
from collections import Counter
from pathlib import Path

EVENT = re.compile(rb'"event":"([a-zA-Z-]+)"')
SIGNAL = b'"signal":"'
# Read in large pieces: a reader that wakes for each line would use more of the processor than the program.
PAUSE_S = 0.05
PIPE_BYTES = 1 << 20
END_S = 20


class Program:
    def __init__(self, name: str, command: list, environment: dict, folder: Path):
        self.name = name
        self.log = folder / f"{name}.log"
        with self.log.open("wb") as log:
            self.process = subprocess.Popen(
                [str(part) for part in command],
                env=environment,
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=log,
                process_group=0,  # an interrupt from the terminal is for the soak, which ends its programs
            )
        os.set_blocking(self.process.stdin.fileno(), False)
        self.pid = self.process.pid
        self.started = time.monotonic()
        self.signals = 0
        self.last_signal = 0.0  # by the monotonic clock
        self.events: Counter[str] = Counter()
        self.last: dict[str, dict] = {}  # the last event of each name
        self.last_at: dict[str, float] = {}  # when it came, by the monotonic clock
        self.listening: list[str] = []
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self) -> None:
        descriptor = self.process.stdout.fileno()
        fcntl.fcntl(descriptor, fcntl.F_SETPIPE_SZ, PIPE_BYTES)
        rest = b""
        while data := os.read(descriptor, PIPE_BYTES):
            whole, newline, rest = (rest + data).rpartition(b"\n")
            if newline:
                self._take(whole)
            time.sleep(PAUSE_S)

    def _take(self, lines: bytes) -> None:
        if signals := lines.count(SIGNAL):
            self.signals += signals
            self.last_signal = time.monotonic()
        for found in EVENT.finditer(lines):
            name = found[1].decode()
            self.events[name] += 1
            begin = lines.rfind(b"\n", 0, found.start()) + 1
            end = lines.find(b"\n", found.end())
            if name in ("listening", "resources", "relay", "summary"):
                self.last[name] = json.loads(lines[begin:] if end < 0 else lines[begin:end])
                self.last_at[name] = time.monotonic()
            if name == "listening":
                self.listening.append(self.last[name]["address"])

    def say(self, *lines: str) -> None:
        """Writes to its standard input. One that has ended, or reads no more, is found out elsewhere."""
        with contextlib.suppress(BrokenPipeError, BlockingIOError):
            for line in lines:
                os.write(self.process.stdin.fileno(), f"{line}\n".encode())  # whole, or not at all

    def is_running(self) -> bool:
        return self.process.poll() is None

    def age(self, event: str) -> float:
        """Seconds since the last one, or since the program was started."""
        return time.monotonic() - self.last_at.get(event, self.started)

    def end(self) -> int | None:
        """Asks it to end. Its exit code; None if it had to be killed."""
        if self.is_running():
            self.process.send_signal(signal.SIGTERM)
        try:
            code = self.process.wait(END_S)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            return None
        self.reader.join(END_S)
        return code
