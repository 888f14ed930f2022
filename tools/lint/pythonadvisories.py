# SPDX-License-Identifier: MIT
"""Asks the OSV data base about Python packages, by means of pip-audit."""

import json
import re
import sys
import tempfile
from collections.abc import Collection, Iterable
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

from findings import Finding, Findings, Tool
from packaging.version import Version
from pinnedpackages import PinnedPackage

SOCKET_LIMIT_S = 5
# pip-audit asks about one package after the other.
AT_A_TIME = 4
# What a network or a service in trouble makes pip-audit end with.
NO_ANSWER = re.compile(
    r"^(requests\.exceptions|urllib3\.exceptions|pip_audit\._service\.interface)\.", re.MULTILINE
)


@dataclass(frozen=True)
class PythonAdvisories:
    url: str
    limit_s: float
    packages: Collection[PinnedPackage]

    def __call__(self) -> Findings:
        packages = sorted(self.packages, key=str)
        shares = [share for share in (packages[start::AT_A_TIME] for start in range(AT_A_TIME)) if share]
        with ThreadPoolExecutor(AT_A_TIME) as threads:
            answers = [answer for share in threads.map(self._answers, shares) for answer in share]
        checked = [answer for answer in answers if "version" in answer]
        found = [_finding(answer, vulnerability) for answer in checked for vulnerability in answer["vulns"]]
        unchecked = {answer["name"]: answer["skip_reason"] for answer in answers if "skip_reason" in answer}
        return Findings(len(checked), sorted(found, key=str), unchecked)

    def _answers(self, packages: Iterable[PinnedPackage]) -> list[dict]:
        with tempfile.TemporaryDirectory() as folder:
            wanted = Path(folder, "requirements.txt")
            wanted.write_text("".join(f"{pin.name}=={pin.version}\n" for pin in packages))
            output = Tool(self.url, NO_ANSWER, good_exits=(0, 1)).output(self._command(wanted), self.limit_s)
        return json.loads(output)["dependencies"]

    def _command(self, requirements: Path) -> list[str]:
        service = ["--vulnerability-service=osv", f"--osv-url={self.url}", f"--timeout={SOCKET_LIMIT_S}"]
        quiet = ["--progress-spinner=off", "--format=json", f"--cache-dir={requirements.parent}"]
        # No pip: nothing is resolved, downloaded or built.
        files = ["--disable-pip", "--no-deps", f"--requirement={requirements}"]
        return [sys.executable, "-m", "pip_audit", *service, *quiet, *files]


def _finding(answer: dict, vulnerability: dict) -> Finding:
    version = Version(answer["version"])
    # Other branches may have a fix below ours, which is of no use.
    fixes = [fix for fix in vulnerability["fix_versions"] if Version(fix) > version]
    what = f"{answer['name']} {version}"
    return Finding(vulnerability["id"], what, " or ".join(fixes), tuple(vulnerability["aliases"]))
