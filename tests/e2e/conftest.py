# SPDX-License-Identifier: MIT
import os
import signal
import sys
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from jsonprocess import JsonProcess
from links import Link, SerialLink, TcpLink

from autopilot import Autopilot

ROOT = Path(__file__).resolve().parents[2]
DATA = ROOT / "tests" / "data"
STATUS_PERIOD_MS = 100
# Half an hour off a whole hour, and without the need for a time zone data base.
TIME_ZONE = "TEST-5:30"

sys.path.insert(0, str(DATA))


def pytest_configure(config: pytest.Config) -> None:
    # Under nohup it would be ignored by us, and so by the programs that we start and mean to end with it.
    signal.signal(signal.SIGHUP, signal.SIG_DFL)
    config.addinivalue_line(
        "markers", "alone: judges how fast something happens; nothing else runs meanwhile"
    )
    programs = ("noflailsten-ground", "noflailsten-host", "noflailsten-sim")
    missing = [name for name in programs if not (binaries() / name).is_file()]
    if missing:
        raise pytest.UsageError(f"{', '.join(missing)} not in {binaries()}; set NOFLAILSTEN_BIN_DIR")


def binaries() -> Path:
    return Path(os.environ.get("NOFLAILSTEN_BIN_DIR", ROOT / "build" / "dev" / "bin")).resolve()


@pytest.fixture(scope="session")
def bin_dir() -> Path:
    return binaries()


def program_environment(folder: Path) -> dict[str, str]:
    """Stand-ins for `date` and `nmcli` come first, and write down their calls in the folder."""
    environment = {name: value for name, value in os.environ.items() if not name.startswith("NOFLAILSTEN_")}
    environment["PATH"] = f"{ROOT / 'tools' / 'standins'}{os.pathsep}{os.environ['PATH']}"
    environment["NOFLAILSTEN_STANDIN_LOG"] = str(folder / "stand-ins.log")
    environment["TZ"] = TIME_ZONE
    environment["LC_ALL"] = "C.UTF-8"
    return environment


@pytest.fixture
def environment(tmp_path: Path) -> dict[str, str]:
    return program_environment(tmp_path)


@pytest.fixture
def standin_calls(tmp_path: Path) -> Callable[[], list[str]]:
    def calls() -> list[str]:
        log = tmp_path / "stand-ins.log"
        return log.read_text().splitlines() if log.exists() else []

    return calls


def write_config(path: Path, settings: dict) -> Path:
    groups: dict[str, list[str]] = {}
    for key, value in {"APP/STATUS_PERIOD_MS": STATUS_PERIOD_MS, **settings}.items():
        group, name = key.split("/")
        groups.setdefault(group, []).append(f"{name}={value}")
    sections = (f"[{group}]\n" + "\n".join(lines) + "\n" for group, lines in groups.items())
    path.write_text("\n".join(sections))
    return path


class Hosts:
    """Starts hosts on links and ends them all; each must end well when asked to."""

    def __init__(self, folder: Path):
        self.folder = folder
        self.started: list[tuple[JsonProcess, Link]] = []

    def start(
        self, link: Link, *arguments, watched: bool = False, standin_status: int = 0, **settings
    ) -> JsonProcess:
        """Settings as GROUP__NAME=value. A watched link is opened again when it falls silent, which on a slow
        machine must not come into a test that is not about it."""
        changes = {key.replace("__", "/"): value for key, value in settings.items()}
        config = write_config(self.folder / f"host{len(self.started)}.ini", {**link.settings, **changes})
        environment = program_environment(self.folder)
        environment["NOFLAILSTEN_STANDIN_STATUS"] = str(standin_status)
        command = [binaries() / "noflailsten-host", "--config", config, "--json", *arguments]
        if not watched:
            command.append("--no-reconnect")
        host = JsonProcess(command, environment)
        self.started.append((host, link))
        return host

    def end(self) -> None:
        asked = [(host, host.is_running()) for host, _ in self.started]
        for host, link in self.started:
            host.ask_to_end(signal.SIGTERM)
            if isinstance(link, TcpLink):
                link.close()  # the host waits for its peer to close
        for host, was_running in asked:
            code = host.wait_for_end()
            assert code == 0 or not was_running, host.story(f"Asked to end, it ended with {code}.")
            assert code >= 0, host.story("It crashed.")


@pytest.fixture
def hosts(tmp_path: Path) -> Iterator[Hosts]:
    started = Hosts(tmp_path)
    yield started
    started.end()


def make_link(kind: str, folder: Path) -> TcpLink | SerialLink:
    return TcpLink() if kind == "tcp" else SerialLink(folder)


@pytest.fixture(params=["tcp", "serial"])
def link(request: pytest.FixtureRequest, tmp_path: Path) -> Iterator[TcpLink | SerialLink]:
    made = make_link(request.param, tmp_path)
    yield made
    made.close()


@pytest.fixture
def autopilot(link) -> Autopilot:
    return Autopilot(link)
