# SPDX-License-Identifier: MIT
"""Compares Debian packages with the list of Debian's security tracker, by means of debsecan."""

import re
import tempfile
from collections.abc import Collection
from dataclasses import dataclass
from pathlib import Path

from debianpackages import DebianPackage, DebianPackages
from findings import Finding, Findings, NoAnswer, Tool

LIMIT_S = 10.0
FOUND = re.compile(r"^(\S+) (\S+)(?: \((.*)\))?$", re.MULTILINE)
# What a network or a service in trouble makes debsecan end with.
NO_ANSWER = re.compile(
    r"^error: while downloading|^error: server sends data|"
    r"^(urllib\.error|http\.client|zlib|ssl)\.|^(Connection\w*|Timeout|socket\.\w+)Error|^UnicodeDecodeError",
    re.MULTILINE,
)


@dataclass(frozen=True)
class DebianAdvisories:
    program: Path
    source: str | None
    limit_s: float
    debian: DebianPackages
    packages: Collection[str]

    def __call__(self) -> Findings:
        if self.debian.release["ID"] != "debian":
            raise NoAnswer("this is not Debian itself")
        if not self.program.is_file():
            raise NoAnswer("debsecan could not be downloaded (does `apt-get update` help?)")
        installed = [self.debian.installed[name] for name in sorted(self.packages)]
        with tempfile.TemporaryDirectory() as folder:
            status = Path(folder, "status")
            status.write_text("\n".join(map(_status_record, installed)), encoding="utf-8")
            tool = Tool(self.source or "Debian's security tracker", NO_ANSWER)
            output = tool.output(self._command(status), min(self.limit_s, LIMIT_S))
        return Findings(len(installed), self._findings(output))

    def _command(self, status: Path) -> list[str]:
        # Nothing that this machine sets up for itself counts.
        own = ["--config=/dev/null", "--whitelist="]
        source = [f"--source={self.source}"] if self.source else []
        suite = self.debian.release["VERSION_CODENAME"]
        return [
            str(self.program),
            *own,
            *source,
            f"--suite={suite}",
            f"--status={status}",
            "--format=summary",
        ]

    def _findings(self, output: str) -> list[Finding]:
        """One for each advisory: packages made of one source share them."""
        packages: dict[tuple[str, bool], list[str]] = {}
        for advisory, name, notes in FOUND.findall(output):
            packages.setdefault((advisory, "fixed" in notes.split(", ")), []).append(name)
        return [
            Finding(advisory, self._with_versions(names), "the archive: apt-get upgrade" if has_fix else "")
            for (advisory, has_fix), names in sorted(packages.items())
        ]

    def _with_versions(self, names: list[str]) -> str:
        return ", ".join(f"{name} {self.debian.installed[name].version}" for name in names)


def _status_record(package: DebianPackage) -> str:
    return (
        f"Package: {package.name}\nStatus: install ok installed\nVersion: {package.version}\n"
        f"Source: {package.source} ({package.source_version})\n"
    )
