# SPDX-License-Identifier: MIT
"""What the package management of Debian knows about what is installed here."""

import os
import platform
import re
import subprocess
from collections.abc import Iterable
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

FIELDS = ("Package", "Version", "Architecture", "db:Status-Status", "source:Package", "source:Version")
RELATIONS = ("Pre-Depends", "Depends", "Provides")
COPYRIGHT_OF_THE_WHOLE = re.compile(r"^Files: \*\n(?:(?!\n).*\n)*?License:[ \t]*(\S.*)", re.MULTILINE)


@dataclass(frozen=True)
class DebianPackage:
    name: str
    version: str
    architecture: str
    source: str
    source_version: str
    #: One group for each relation; a group is its alternatives.
    depends: tuple[tuple[str, ...], ...]
    provides: frozenset[str]


def output_of(*command: str, may_fail: bool = False) -> str:
    environment = {**os.environ, "LC_ALL": "C.UTF-8"}
    run = subprocess.run(command, capture_output=True, text=True, check=not may_fail, env=environment)
    return run.stdout


def relation_names(relations: str) -> tuple[tuple[str, ...], ...]:
    """`a (>= 1), b:any | c` as (("a",), ("b", "c"))."""
    groups = [group.split("|") for group in relations.split(",") if group.strip()]
    return tuple(tuple(re.split(r"[\s:(\[]", name.strip())[0] for name in group) for group in groups)


class DebianPackages:
    @cached_property
    def release(self) -> dict[str, str]:
        return platform.freedesktop_os_release()

    @cached_property
    def installed(self) -> dict[str, DebianPackage]:
        """By name; foreign architectures are left out."""
        native = output_of("dpkg", "--print-architecture").strip()
        template = "\t".join(f"${{{field}}}" for field in FIELDS + RELATIONS) + "\n"
        rows = [line.split("\t") for line in output_of("dpkg-query", "--show", "-f", template).splitlines()]
        return {row[0]: _package(row) for row in rows if row[3] == "installed" and row[2] in (native, "all")}

    @cached_property
    def _providers(self) -> dict[str, str]:
        return {name: package.name for package in self.installed.values() for name in package.provides}

    def direct_dependencies(self, name: str) -> set[str]:
        """Those that are installed; of alternatives the first."""
        if name not in self.installed:
            return set()
        found = (self._first_installed(group) for group in self.installed[name].depends)
        return {package for package in found if package} - {name}

    def _first_installed(self, alternatives: Iterable[str]) -> str | None:
        for name in alternatives:
            if name in self.installed:
                return name
            if name in self._providers:
                return self._providers[name]
        return None

    def with_dependencies(self, names: Iterable[str]) -> set[str]:
        found: set[str] = set()
        waiting = set(names)
        while waiting:
            name = waiting.pop()
            found.add(name)
            waiting |= self.direct_dependencies(name) - found
        return found

    def owners(self, file_names: Iterable[str]) -> dict[str, set[str]]:
        """Which packages bring a file of this name, by file name."""
        names = sorted(set(file_names))
        found: dict[str, set[str]] = {name: set() for name in names}
        for line in output_of(
            "dpkg-query", "--search", *(f"*/{name}" for name in names), may_fail=True
        ).splitlines():
            packages, _, path = line.rpartition(": ")
            found.setdefault(Path(path).name, set()).update(p.split(":")[0] for p in packages.split(", "))
        return found

    def licence(self, name: str) -> str | None:
        path = Path("/usr/share/doc", name, "copyright")
        if not path.is_file():
            return None
        whole = COPYRIGHT_OF_THE_WHOLE.search(path.read_text("utf-8", "replace"))
        return whole[1].strip() if whole else None

    def archive_hashes(self, names: Iterable[str]) -> dict[str, str]:
        """SHA-256 of the installed version's .deb by name, as far as the downloaded indices know it."""
        shown = output_of("apt-cache", "show", *sorted(names), may_fail=True)
        found = {}
        for record in shown.split("\n\n"):
            fields = dict(re.findall(r"^(Package|Version|Architecture|SHA256): (.*)$", record, re.MULTILINE))
            package = self.installed.get(fields.get("Package", ""))
            if package and "SHA256" in fields and package.version == fields["Version"]:
                found[package.name] = fields["SHA256"]
        return found


def _package(row: list[str]) -> DebianPackage:
    name, version, architecture, _, source, source_version, pre_depends, depends, provides = row
    groups = relation_names(pre_depends) + relation_names(depends)
    provided = frozenset(name for group in relation_names(provides) for name in group)
    return DebianPackage(name, version, architecture, source, source_version, groups, provided)
