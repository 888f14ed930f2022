# SPDX-License-Identifier: MIT
"""What a service for advisories told, or why it did not."""

import re
import subprocess
import textwrap
from collections.abc import Sequence
from dataclasses import dataclass, field


class NoAnswer(Exception):
    """The service could not be asked, or did not answer in time."""


class ToolFailed(Exception):
    """The program that asks the service failed for another reason than the service."""


@dataclass(frozen=True)
class Finding:
    advisory: str
    #: The packages with their versions.
    what: str
    #: Where it is fixed; empty: nowhere yet.
    fix: str = ""
    aliases: tuple[str, ...] = ()

    def __str__(self) -> str:
        names = ", ".join((self.advisory, *self.aliases))
        return f"{self.what}: {names}, {'fixed in ' + self.fix if self.fix else 'no fix yet'}"

    def reason_to_ignore(self, ignored: dict[str, str]) -> str | None:
        return next((ignored[name] for name in (self.advisory, *self.aliases) if name in ignored), None)


@dataclass(frozen=True)
class Findings:
    checked: int
    findings: list[Finding] = field(default_factory=list)
    #: Reasons by package.
    unchecked: dict[str, str] = field(default_factory=dict)


@dataclass(frozen=True)
class Tool:
    """A program that asks a service."""

    service: str
    #: What it complains of where the fault is the service's or the network's.
    no_answer: re.Pattern
    good_exits: tuple[int, ...] = (0,)

    def output(self, command: Sequence[str], limit_s: float) -> str:
        try:
            run = subprocess.run(command, capture_output=True, text=True, timeout=limit_s, check=False)
        except subprocess.TimeoutExpired:
            raise NoAnswer(f"{self.service} has not answered within {limit_s:g} s") from None
        if run.returncode == 0 or (run.returncode in self.good_exits and run.stdout.strip()):
            return run.stdout
        complaint = (run.stderr.strip().splitlines() or [f"exit {run.returncode}"])[-1]
        if self.no_answer.search(run.stderr):
            raise NoAnswer(f"{self.service} does not answer ({textwrap.shorten(complaint, 100)})")
        raise ToolFailed(f"{command[0]}: {complaint}")
