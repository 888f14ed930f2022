# SPDX-License-Identifier: MIT
"""What the host's live view shows on a terminal."""

import os
import re
import select
import time
from collections.abc import Callable

from jsonprocess import TIMEOUT

DRAWN = re.compile(rb"\x1b\[\?25l\x1b7(.*?)\x1b8\x1b\[\?25h", re.DOTALL)
ROW_BEGIN = re.compile(r"\x1b\[\d+;1H\x1b\[2K")
COLOUR = re.compile(r"\x1b\[[\d;]*m")
LABEL_WIDTH = 16
TRACK_WIDTH = 40


class LiveTable:
    """One drawing of the table: its rows, without colours."""

    def __init__(self, drawn: bytes):
        self.rows = [COLOUR.sub("", row) for row in ROW_BEGIN.split(drawn.decode())[1:]]

    def text(self, label: str) -> str:
        """What stands beside a label, with its age."""
        rows = [row for row in self.rows if row[:LABEL_WIDTH].strip() == label]
        assert len(rows) == 1, self.rows
        text = rows[0][LABEL_WIDTH:]
        return (text[: -TRACK_WIDTH - 1] if self.has_track() else text).strip()

    def number(self, label: str) -> float | None:
        """The first one beside a label."""
        found = re.search(r"-?\d+(\.\d+)?", self.text(label))
        return float(found[0]) if found else None

    def has_track(self) -> bool:
        return any(row.rstrip().endswith("m wide, north up") for row in self.rows)

    def track(self) -> list[str]:
        """The picture without its scale; the table has its title above and a ruler below."""
        return [row[-TRACK_WIDTH:] for row in self.rows[1:-2]]

    def place(self, mark: str) -> tuple[int, int] | None:
        """Of a mark in the picture: row, column."""
        for row, line in enumerate(self.track()):
            if mark in line:
                return row, line.index(mark)
        return None


def wait_for_table(terminal, wanted: Callable[[LiveTable], bool], timeout: float = TIMEOUT) -> LiveTable:
    """The first such drawing."""
    deadline = time.monotonic() + timeout
    written = b""
    table = LiveTable(b"")
    while (left := deadline - time.monotonic()) > 0 and select.select([terminal.master], [], [], left)[0]:
        written += os.read(terminal.master, 65536)
        while found := DRAWN.search(written):
            written = written[found.end() :]
            table = LiveTable(found[1])
            if wanted(table):
                return table
    raise AssertionError("It was not drawn; the last table:\n" + "\n".join(table.rows))
