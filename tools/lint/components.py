# SPDX-License-Identifier: MIT
"""What each part of the project takes, as components.toml tells."""

import tomllib
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
LIST = Path(__file__).with_name("components.toml")


@dataclass(frozen=True)
class Delivered:
    """A library or a program that we build; the file is relative to the build folder."""

    name: str
    file: str
    links: tuple[str, ...]
    parts: tuple[str, ...] = ()
    dialect: str | None = None


@dataclass(frozen=True)
class Development:
    """A purpose, the Debian packages it takes, and the files that pin the Python packages it takes."""

    name: str
    debian: tuple[str, ...] = ()
    python: tuple[str, ...] = ()


@dataclass(frozen=True)
class Components:
    delivered: tuple[Delivered, ...]
    development: tuple[Development, ...]
    licences: dict[str, str]

    def linked_packages(self) -> set[str]:
        return {package for part in self.delivered for package in part.links}

    def debian_packages(self) -> set[str]:
        return self.linked_packages() | {package for part in self.development for package in part.debian}

    def pinning_files(self) -> list[str]:
        return sorted({file for part in self.development for file in part.python})


def read_components(path: Path = LIST) -> Components:
    content = tomllib.loads(path.read_text(encoding="utf-8"))
    return Components(
        tuple(_made(Delivered, name, entry) for name, entry in content["delivered"].items()),
        tuple(_made(Development, name, entry) for name, entry in content["development"].items()),
        content.get("licences", {}),
    )


def _made(kind: type, name: str, entry: dict):
    values = {key: tuple(value) if isinstance(value, list) else value for key, value in entry.items()}
    return kind(name, **values)
