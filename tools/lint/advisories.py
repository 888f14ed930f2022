# SPDX-License-Identifier: MIT
"""Tells of known vulnerabilities of what this project takes. Those that an update would end make it fail; a
service that cannot be asked does not.

advisories.py --help tells how to ask others, and about other packages.
"""

import argparse
import sys
import textwrap
import tomllib
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from components import ROOT, read_components
from debianadvisories import DebianAdvisories
from debianpackages import DebianPackages
from findings import Findings, NoAnswer, ToolFailed
from pinnedpackages import PinnedPackage, read_pinned
from pythonadvisories import PythonAdvisories

OSV = "https://api.osv.dev/v1/query"
DEBSECAN = ROOT / "build" / "debsecan" / "usr" / "bin" / "debsecan"
IGNORED = Path(__file__).with_name("ignored-advisories.toml")
# Both services are asked at the same time.
LIMIT_S = 20.0


def read_ignored(path: Path) -> dict[str, str]:
    """Reasons by advisory."""
    ignored = tomllib.loads(path.read_text(encoding="utf-8")).get("ignored", {})
    without = [name for name, reason in ignored.items() if not isinstance(reason, str) or not reason.strip()]
    if without:
        sys.exit(f"{path.name}: {', '.join(without)}: no reason given")
    return ignored


def python_packages() -> set[PinnedPackage]:
    files = read_components().pinning_files()
    return {PinnedPackage(pin.name, pin.version) for file in files for pin in read_pinned(ROOT / file)}


def debian_packages(debian: DebianPackages) -> set[str]:
    components = read_components()
    wanted = components.debian_packages() | debian.with_dependencies(components.linked_packages())
    return wanted & debian.installed.keys()


def asked(check: Callable[[], Findings]) -> Findings | NoAnswer:
    try:
        return check()
    except NoAnswer as reason:
        return reason


def report(kind: str, result: Findings | NoAnswer, ignored: dict[str, str]) -> int:
    """Prints what was found, and returns how much of it has to be dealt with."""
    if isinstance(result, NoAnswer):
        print(f"{kind} packages are not checked: {result}")
        return 0
    known = [(finding, finding.reason_to_ignore(ignored)) for finding in result.findings]
    to_fix = [finding for finding, reason in known if finding.fix and not reason]
    waiting = [finding.advisory for finding, reason in known if not finding.fix and not reason]
    for finding, reason in known:
        if reason:
            print(f"ignored: {finding} ({reason})")
    for finding in to_fix:
        print(finding, file=sys.stderr)
    rest = f"; {len(waiting)} without a fix yet: {', '.join(waiting)}" if waiting else ""
    print(textwrap.shorten(f"{kind} packages: {result.checked} checked, {len(to_fix)} to update{rest}", 160))
    for name, reason in sorted(result.unchecked.items()):
        print(f"not checked: {name}: {reason}")
    return len(to_fix)


def arguments(words: list[str]) -> argparse.Namespace:
    parser = argparse.ArgumentParser(description="known vulnerabilities of what this project takes")
    parser.add_argument("--osv-url", default=OSV)
    parser.add_argument("--debsecan", type=Path, default=DEBSECAN)
    parser.add_argument("--debsecan-source", help="instead of Debian's security tracker")
    parser.add_argument("--ignored", type=Path, default=IGNORED)
    parser.add_argument("--limit", type=float, default=LIMIT_S, help="seconds to wait for them")
    parser.add_argument(
        "--requirements", type=Path, help="check what this file pins, instead of what the project does"
    )
    parser.add_argument(
        "--machine-may-lag",
        action="store_true",
        help="tell of Debian packages to update, but fail on what the project pins alone",
    )
    return parser.parse_args(words)


def main(words: list[str]) -> int:
    options = arguments(words)
    ignored = read_ignored(options.ignored)
    debian = DebianPackages()
    pins = set(read_pinned(options.requirements)) if options.requirements else python_packages()
    checks = {
        "Python": PythonAdvisories(options.osv_url, options.limit, pins),
        "Debian": DebianAdvisories(
            options.debsecan, options.debsecan_source, options.limit, debian, debian_packages(debian)
        ),
    }
    try:
        with ThreadPoolExecutor() as threads:
            results = dict(zip(checks, threads.map(asked, checks.values()), strict=True))
    except ToolFailed as complaint:
        print(f"the advisories cannot be checked: {complaint}", file=sys.stderr)
        return 2
    to_fix = {kind: report(kind, result, ignored) for kind, result in results.items()}
    if options.machine_may_lag:
        to_fix["Debian"] = 0
    return 1 if any(to_fix.values()) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
