# SPDX-License-Identifier: MIT
"""The Python packages that a requirements file, or a document's `pip install NAME==VERSION`, pins."""

import re
from dataclasses import dataclass
from pathlib import Path

PIN = re.compile(r"^([A-Za-z0-9][\w.-]*)==([^\s\\]+)", re.MULTILINE)
PIN_IN_A_COMMAND = re.compile(r"\b([A-Za-z0-9][\w.-]*)==([\w.]+)")
HASH = re.compile(r"--hash=sha256:([0-9a-f]{64})")


@dataclass(frozen=True)
class PinnedPackage:
    name: str
    version: str
    hashes: frozenset[str] = frozenset()
    #: Packages that need this one; empty: the file asks for it itself.
    needed_by: frozenset[str] = frozenset()


def normalized(name: str) -> str:
    return re.sub(r"[-_.]+", "-", name).lower()


def read_pinned(path: Path) -> list[PinnedPackage]:
    text = path.read_text(encoding="utf-8")
    if path.suffix == ".md":
        commands = "\n".join(line for line in text.splitlines() if "pip install" in line)
        return [
            PinnedPackage(normalized(name), version) for name, version in PIN_IN_A_COMMAND.findall(commands)
        ]
    pins = list(PIN.finditer(text))
    ends = [pin.start() for pin in pins[1:]] + [len(text)]
    return [_pinned(pin, text[pin.end() : end]) for pin, end in zip(pins, ends, strict=True)]


def _pinned(pin: re.Match, rest: str) -> PinnedPackage:
    return PinnedPackage(
        normalized(pin[1]), pin[2], frozenset(HASH.findall(rest)), frozenset(map(normalized, _needing(rest)))
    )


def _needing(rest: str) -> list[str]:
    """The names in pip-compile's "# via" comment, which stands on one line or on one line each."""
    comment = rest.partition("# via")[2]
    words = [line.strip(" #") for line in comment.splitlines() if line.strip(" #")]
    return (
        [] if any(word.startswith("-r ") for word in words) else [w for w in words if not w.startswith("-")]
    )


def files_that_pin(root: Path) -> list[str]:
    """Every requirements file of the tree, relative to it."""
    found = [
        path.relative_to(root)
        for path in root.rglob("*.txt")
        if HASH.search(path.read_text("utf-8", "replace"))
    ]
    return sorted(str(path) for path in found if path.parts[0] != "build")
