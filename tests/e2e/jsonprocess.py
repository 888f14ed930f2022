# SPDX-License-Identifier: MIT
import json
import signal
import subprocess
import threading
import time
from collections.abc import Callable

TIMEOUT = 30  # seconds; far more than anything here takes, as a loaded machine may be slow


def parse_int(text: str):
    return -0.0 if text == "-0" else int(text)


def no_constant(text: str):
    raise ValueError(f"{text} is not JSON")


class Lines:
    """Lines of a pipe, read by a thread as they come."""

    def __init__(self, pipe, parse: Callable):
        self.parse = parse
        self.items: list = []
        self.bad: list[str] = []
        self.ended = False
        self.position = 0  # just after the last one that was waited for
        self.changed = threading.Condition()
        self.thread = threading.Thread(target=self._read, args=(pipe,), daemon=True)
        self.thread.start()

    def _read(self, pipe) -> None:
        for line in pipe:
            self._take(line.decode(errors="replace").rstrip("\n"))
        with self.changed:
            self.ended = True
            self.changed.notify_all()

    def _take(self, line: str) -> None:
        with self.changed:
            try:
                self.items.append(self.parse(line))
            except ValueError:
                self.bad.append(line)
            self.changed.notify_all()

    def wait_for(self, wanted: Callable, timeout: float):
        """The first match after the previous one; None if none comes in time or the pipe ends."""
        deadline = time.monotonic() + timeout
        with self.changed:
            while True:
                while self.position < len(self.items):
                    item = self.items[self.position]
                    self.position += 1
                    if wanted(item):
                        return item
                left = deadline - time.monotonic()
                if self.ended or left <= 0:
                    return None
                self.changed.wait(left)

    def snapshot(self) -> list:
        with self.changed:
            return list(self.items)


class JsonProcess:
    """One of our programs, with --json: its objects from stdout, its log from stderr."""

    def __init__(self, command: list, environment: dict):
        self.process = subprocess.Popen(
            [str(part) for part in command],
            env=environment,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )
        self.output = Lines(
            self.process.stdout,
            lambda line: json.loads(line, parse_int=parse_int, parse_constant=no_constant),
        )
        self.log = Lines(self.process.stderr, str)
        self.asked_to_end = False

    @property
    def records(self) -> list[dict]:
        return self.output.snapshot()

    @property
    def log_lines(self) -> list[str]:
        return self.log.snapshot()

    def values(self, signal_name: str) -> list:
        return [record["value"] for record in self.records if record.get("signal") == signal_name]

    def wait_for_record(self, wanted: Callable[[dict], bool], timeout: float = TIMEOUT) -> dict:
        record = self.output.wait_for(wanted, timeout)
        assert record is not None, self.story("What was waited for did not come.")
        return record

    def wait_for(self, signal_name: str, wanted: Callable = lambda value: True, timeout: float = TIMEOUT):
        """The value of the next such signal."""
        found = self.wait_for_record(lambda r: r.get("signal") == signal_name and wanted(r["value"]), timeout)
        return found["value"]

    def wait_for_event(self, name: str, timeout: float = TIMEOUT) -> dict:
        return self.wait_for_record(lambda record: record.get("event") == name, timeout)

    def wait_for_log(self, text: str, timeout: float = TIMEOUT) -> str:
        line = self.log.wait_for(lambda line: text in line, timeout)
        assert line is not None, self.story(f"Log line '{text}' did not come.")
        return line

    def write_line(self, text: str) -> None:
        self.process.stdin.write(text.encode() + b"\n")
        self.process.stdin.flush()

    def close_input(self) -> None:
        self.process.stdin.close()

    def is_running(self) -> bool:
        return self.process.poll() is None

    def ask_to_end(self, how: signal.Signals = signal.SIGTERM) -> None:
        """Once: a second signal would not be a question."""
        if self.is_running() and not self.asked_to_end:
            self.process.send_signal(how)
        self.asked_to_end = True

    def wait_for_end(self, timeout: float = TIMEOUT) -> int:
        """The exit code. All output is here then, and every line of stdout was JSON."""
        try:
            code = self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError(self.story("It did not end.")) from None
        self.output.thread.join()
        self.log.thread.join()
        assert not self.output.bad, f"not JSON: {self.output.bad[:5]}"
        return code

    def story(self, complaint: str) -> str:
        state = "still running" if self.is_running() else f"ended with {self.process.returncode}"
        output = "\n".join(map(str, self.records[-30:]))
        log = "\n".join(self.log_lines[-30:])
        return f"{complaint} ({self.process.args[0]}, {state})\nlast output:\n{output}\nlast log:\n{log}"
