# SPDX-License-Identifier: MIT
"""Writes the bill of materials of a build, and fails where the list behind it has fallen behind.

Usage: sbom.py BUILD_FOLDER FILE
"""

import re
import subprocess
import sys
from collections.abc import Iterable
from pathlib import Path

from bill import Bill, schema_errors
from components import ROOT, Components, Delivered, read_components
from debianpackages import DebianPackages
from pinnedpackages import files_that_pin, read_pinned

NEEDED = re.compile(r"\(NEEDED\).*\[(.+)\]")
INSTALLED_BY_DEV = re.compile(r"^(?!\s*#).*\bneed ((?:[a-z0-9][a-z0-9.+-]+ ?)+)(?=$|[;&|)])", re.MULTILINE)


def linked_libraries(file: Path) -> list[str]:
    """What the file itself asks the dynamic linker for."""
    command = ["readelf", "--wide", "--dynamic", str(file)]
    return NEEDED.findall(subprocess.run(command, capture_output=True, text=True, check=True).stdout)


def wrong_links(part: Delivered, needed: Iterable[str], owners: dict[str, set[str]]) -> list[str]:
    """Where what a part links and what it is said to link differ."""
    system = [name for name in needed if not name.startswith(part.parts)]
    told = set(part.links)
    found = set().union(*(owners[name] for name in system))
    missing = [
        f"{part.name} links {name} of {' or '.join(sorted(owners[name])) or 'nobody'}, not among its links"
        for name in system
        if not owners[name] & told
    ]
    return missing + [f"{part.name} does not link anything of {name}" for name in sorted(told - found)]


def all_wrong_links(components: Components, build: Path, debian: DebianPackages) -> list[str]:
    needed = {part: linked_libraries(build / part.file) for part in components.delivered}
    owners = debian.owners(name for names in needed.values() for name in names)
    return [line for part, names in needed.items() for line in wrong_links(part, names, owners)]


def forgotten(components: Components, root: Path) -> list[str]:
    """What the tree pins or installs and no purpose names."""
    installed = {
        name for names in INSTALLED_BY_DEV.findall((root / "dev").read_text()) for name in names.split()
    }
    pinned = set(files_that_pin(root)) - set(components.pinning_files())
    return [f"no purpose takes {file}" for file in sorted(pinned)] + [
        f"./dev installs {name} for no purpose" for name in sorted(installed - components.debian_packages())
    ]


def pinned_differently(files: Iterable[str], root: Path) -> list[str]:
    """Where files that share an environment want different versions."""
    pins: dict[str, dict[str, list[str]]] = {}
    for file in files:
        for pin in read_pinned(root / file):
            pins.setdefault(pin.name, {}).setdefault(pin.version, []).append(file)
    return [
        f"{name} is pinned to " + " and to ".join(f"{v} in {', '.join(f)}" for v, f in versions.items())
        for name, versions in sorted(pins.items())
        if len(versions) > 1
    ]


def refused(why: str, complaints: Iterable[str]) -> int:
    for complaint in complaints:
        print(f"{why}: {complaint}", file=sys.stderr)
    return 1


def main(build: Path, output: Path) -> int:
    components = read_components()
    debian = DebianPackages()
    complaints = all_wrong_links(components, build, debian) + forgotten(components, ROOT)
    complaints += pinned_differently(components.pinning_files(), ROOT)
    if complaints:
        return refused("tools/lint/components.toml", complaints)
    document = Bill(components, debian, ROOT, build).document()
    errors = schema_errors(document)
    if errors:
        return refused("not a CycloneDX document", errors)
    output.write_text(document + "\n", encoding="utf-8")
    return 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(Path(sys.argv[1]), Path(sys.argv[2])))
