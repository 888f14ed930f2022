# SPDX-License-Identifier: MIT
"""`./dev advisories` with services that stand in for the real ones."""

import json
import os
import re
import socket
import subprocess
import sys
import time
from pathlib import Path

import pytest
from advisoryservice import debian_list
from conftest import LINT, ROOT

DEBSECAN = Path(os.environ.get("NOFLAILSTEN_DEBSECAN", ROOT / "build/debsecan/usr/bin/debsecan"))


class Check:
    """Runs the check of one Python package, sample 1.0, and of the project's Debian packages."""

    def __init__(self, folder: Path):
        self.requirements = folder / "requirements.txt"
        self.requirements.write_text("sample==1.0\n")
        self.ignored = folder / "ignored.toml"
        self.ignored.write_text("[ignored]\n")

    def run(self, url: str, *more: str) -> subprocess.CompletedProcess:
        own = [f"--requirements={self.requirements}", f"--ignored={self.ignored}", f"--debsecan={DEBSECAN}"]
        services = [f"--osv-url={url}v1/query", f"--debsecan-source={url}release/1"]
        command = [sys.executable, str(LINT / "advisories.py"), *own, *services, *more]
        environment = {
            name: value for name, value in os.environ.items() if not name.lower().endswith("_proxy")
        }
        return subprocess.run(command, capture_output=True, text=True, env=environment, check=False)


@pytest.fixture
def check(tmp_path: Path) -> Check:
    return Check(tmp_path)


@pytest.fixture
def glibc() -> str:
    """The installed version of a package that everything takes."""
    command = ["dpkg-query", "--show", "-f", "${source:Version}", "libc6"]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def test_nothing_known_passes(service, check):
    run = check.run(service.url)
    assert run.returncode == 0, run.stderr
    assert "Python packages: 1 checked, 0 to update" in run.stdout
    assert re.search(r"Debian packages: [1-9]\d+ checked, 0 to update", run.stdout)
    assert run.stderr == ""


def test_python_package_with_a_fix_fails(service, check):
    service.plant("sample", "1.0", "PYSEC-2026-1", "1.1")
    run = check.run(service.url)
    assert run.returncode == 1
    assert run.stderr.splitlines() == ["sample 1.0: PYSEC-2026-1, fixed in 1.1"]


def test_python_package_that_is_fixed_passes(service, check):
    service.plant("sample", "1.0", "PYSEC-2026-1", "1.1")
    check.requirements.write_text("sample==1.1\n")
    run = check.run(service.url)
    assert run.returncode == 0, run.stderr
    assert service.questions == [{"package": {"name": "sample", "ecosystem": "PyPI"}, "version": "1.1"}]


@pytest.mark.parametrize("fixed_in", [None, "0.9.1"], ids=["nowhere", "on an older branch"])
def test_python_package_that_no_update_fixes_is_told_of_and_passes(service, check, fixed_in):
    service.plant("sample", "1.0", "PYSEC-2026-1", fixed_in)
    run = check.run(service.url)
    assert run.returncode == 0, run.stderr
    assert "Python packages: 1 checked, 0 to update; 1 without a fix yet: PYSEC-2026-1" in run.stdout


def test_debian_package_with_a_fix_fails(service, check, glibc):
    service.debian_list = debian_list([("CVE-2026-0001", "glibc", "999")])
    run = check.run(service.url)
    assert run.returncode == 1
    (line,) = run.stderr.splitlines()
    assert line.startswith(f"libc6 {glibc}: CVE-2026-0001, fixed in ")


def test_a_machine_that_lags_behind_debian_is_told_of_and_may_pass(service, check):
    service.debian_list = debian_list([("CVE-2026-0001", "glibc", "999")])
    run = check.run(service.url, "--machine-may-lag")
    assert run.returncode == 0
    assert "CVE-2026-0001" in run.stderr
    service.plant("sample", "1.0", "PYSEC-2026-1", "1.1")
    assert check.run(service.url, "--machine-may-lag").returncode == 1


def test_debian_package_that_is_fixed_passes(service, check, glibc):
    service.debian_list = debian_list([("CVE-2026-0001", "glibc", glibc)])
    run = check.run(service.url)
    assert run.returncode == 0, run.stderr


def test_debian_package_without_a_fix_is_told_of_and_passes(service, check):
    service.debian_list = debian_list([("CVE-2026-0001", "glibc", None)])
    run = check.run(service.url)
    assert run.returncode == 0, run.stderr
    assert "0 to update; 1 without a fix yet: CVE-2026-0001" in run.stdout


def test_packages_of_one_source_share_a_line(service, check):
    service.debian_list = debian_list([("CVE-2026-0002", "qtbase-opensource-src", "999")])
    (line,) = check.run(service.url).stderr.splitlines()
    assert all(f"{name} " in line for name in ("libqt5core5a", "libqt5network5"))


def test_debian_package_that_the_project_does_not_take_is_left_out(service, check):
    subprocess.run(["dpkg-query", "--show", "base-files"], capture_output=True, check=True)
    service.debian_list = debian_list([("CVE-2026-0003", "base-files", "999")])
    run = check.run(service.url)
    assert run.returncode == 0, run.stderr


def test_ignored_advisories_are_told_of_with_the_reason_and_pass(service, check):
    service.plant("sample", "1.0", "PYSEC-2026-1", "1.1")
    service.debian_list = debian_list([("CVE-2026-0001", "glibc", "999")])
    check.ignored.write_text(
        '[ignored]\nPYSEC-2026-1 = "only on Windows"\nCVE-2026-0001 = "not reached, until 2027"\n'
    )
    run = check.run(service.url)
    assert run.returncode == 0, run.stderr
    assert "PYSEC-2026-1, fixed in 1.1 (only on Windows)" in run.stdout
    assert "(not reached, until 2027)" in run.stdout


def test_advisory_is_ignored_by_its_other_name_too(service, check):
    service.plant("sample", "1.0", "PYSEC-2026-1", "1.1")
    service.python_advisories["sample", "1.0"][0]["aliases"] = ["CVE-2026-0009"]
    check.ignored.write_text('[ignored]\nCVE-2026-0009 = "only on Windows"\n')
    assert check.run(service.url).returncode == 0


def test_ignoring_without_a_reason_fails(service, check):
    check.ignored.write_text('[ignored]\nPYSEC-2026-1 = " "\n')
    run = check.run(service.url)
    assert run.returncode != 0
    assert "PYSEC-2026-1: no reason given" in run.stderr


def test_services_that_cannot_be_reached_are_told_of_and_pass(check):
    with socket.create_server(("127.0.0.1", 0)) as closed_at_once:
        url = f"http://127.0.0.1:{closed_at_once.getsockname()[1]}/"
    run = check.run(url)
    assert_both_told_of(run, "does not answer")


def test_services_whose_names_are_not_known_are_told_of_and_pass(check):
    run = check.run("http://advisories.invalid/")
    assert_both_told_of(run, "does not answer")


def test_services_that_answer_with_errors_are_told_of_and_pass(service, check):
    service.status = 503
    assert_both_told_of(check.run(service.url), "does not answer")


def test_services_that_answer_with_a_page_are_told_of_and_pass(service, check):
    """As the sign-on page of a hotel's network does."""
    service.page = b"<html>Welcome</html>"
    assert_both_told_of(check.run(service.url), "does not answer")


def test_services_that_fall_silent_hold_nobody_up(service, check):
    service.fall_silent()
    started = time.monotonic()
    run = check.run(service.url, "--limit=3")
    assert time.monotonic() - started < 15
    assert_both_told_of(run, "has not answered within 3 s")


def assert_both_told_of(run: subprocess.CompletedProcess, how: str):
    assert run.returncode == 0, run.stderr
    lines = run.stdout.splitlines()
    assert [line.partition(":")[0] for line in lines] == [
        "Python packages are not checked",
        "Debian packages are not checked",
    ]
    assert all(how in line for line in lines)


def test_one_that_answers_is_believed_without_the_other(service, check):
    service.debian_list = debian_list([("CVE-2026-0001", "glibc", "999")])
    run = check.run(service.url, "--osv-url=http://advisories.invalid/")
    assert run.returncode == 1
    assert "CVE-2026-0001" in run.stderr
    assert "Python packages are not checked" in run.stdout


def test_without_debsecan_the_rest_is_checked(service, check):
    service.plant("sample", "1.0", "PYSEC-2026-1", "1.1")
    run = check.run(service.url, "--debsecan=/nowhere/debsecan")
    assert run.returncode == 1
    assert "Debian packages are not checked" in run.stdout


def test_fault_of_a_tool_is_not_taken_for_a_missing_network(service, check, tmp_path):
    broken = tmp_path / "debsecan"
    broken.write_text("#!/bin/sh\necho 'it is broken' >&2\nexit 1\n")
    broken.chmod(0o755)
    run = check.run(service.url, f"--debsecan={broken}")
    assert run.returncode == 2
    assert "it is broken" in run.stderr


def test_nothing_but_names_and_versions_is_sent(service, check):
    check.run(service.url)
    assert service.questions == [{"package": {"name": "sample", "ecosystem": "PyPI"}, "version": "1.0"}]
    (list_request,) = (heard for heard in service.heard if heard.startswith("GET"))
    assert re.match(r"GET /release/1/[a-z]+\n", list_request)
    told = json.dumps(service.heard)
    for secret in (socket.gethostname(), str(Path.home()), str(ROOT)):
        assert secret not in told


def test_every_pinned_package_of_the_project_is_asked_about(service, check):
    own = [f"--ignored={check.ignored}", f"--osv-url={service.url}", "--debsecan=/nowhere/debsecan"]
    subprocess.run([sys.executable, str(LINT / "advisories.py"), *own], check=True, capture_output=True)
    asked = {question["package"]["name"] for question in service.questions}
    assert {"pymavlink", "lxml", "pytest", "mavproxy", "matplotlib", "ruff", "pip-audit"} <= asked
