# SPDX-License-Identifier: MIT
"""Settings that cannot be written: the disk is full, or they are read-only."""

import contextlib
import os
import resource
import subprocess
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from conftest import binaries, program_environment, write_config
from jsonprocess import JsonProcess
from links import SerialLink

from autopilot import ARDUPILOT, Autopilot, attitude, heartbeat


def kept(count: int) -> dict:
    return {f"PAYLOADS/KEPT_{number}": "x" * 60 for number in range(count)}


PADDING = kept(100)
DISK_SIZE = 262144
PAGE = 4096
SMALL_DISK = f"""
mount -t tmpfs -o size={DISK_SIZE} none "$0" && cp "$1" "$2" && shift 2 && exec "$@"
"""
COMPLAINT = "noflailsten-host: cannot write settings file"


class FullDisk:
    """A file system of the host's own that has no room left. Not every system lets its users make one."""

    def __init__(self, config: Path):
        self.folder = config.with_name("disk")
        self.folder.mkdir()
        self.config = self.folder / config.name
        # The shell's own parameters come first.
        self.prefix = ["unshare", "-rm", "sh", "-c", SMALL_DISK, self.folder, config, self.config]

    def seen(self, pid: int) -> Path:
        return Path(f"/proc/{pid}/root") / self.config.relative_to("/")

    def fill(self, pid: int, left: int = 0) -> None:
        """Leaves so many bytes free."""
        filler = self.seen(pid).with_name("filler")
        with contextlib.suppress(OSError):
            filler.write_bytes(bytes(DISK_SIZE))
        os.truncate(filler, filler.stat().st_size - left)

    def make_room(self, pid: int) -> None:
        self.seen(pid).with_name("filler").unlink()

    @staticmethod
    def is_possible() -> bool:
        command = ["unshare", "-rm", "mount", "-t", "tmpfs", "none", "/mnt"]
        return subprocess.run(command, capture_output=True).returncode == 0


class FileLimit:
    """From the moment on when it is full, no file of the host's gets any byte."""

    def __init__(self, config: Path):
        self.config = config
        self.prefix = ["env", "--ignore-signal=XFSZ"]

    def fill(self, pid: int) -> None:
        _, hard = resource.prlimit(pid, resource.RLIMIT_FSIZE)
        resource.prlimit(pid, resource.RLIMIT_FSIZE, (0, hard))

    def seen(self, pid: int) -> Path:
        return self.config

    def make_room(self, pid: int) -> None:
        _, hard = resource.prlimit(pid, resource.RLIMIT_FSIZE)
        resource.prlimit(pid, resource.RLIMIT_FSIZE, (hard, hard))


DISKS = [FileLimit, *([FullDisk] if FullDisk.is_possible() else [])]


@pytest.fixture
def link(tmp_path: Path) -> Iterator[SerialLink]:
    made = SerialLink(tmp_path)
    yield made
    made.close()


@pytest.fixture
def start(link, tmp_path: Path) -> Iterator[Callable]:
    started = []

    def run(config: Path, prefix: list) -> JsonProcess:
        command = [*prefix, binaries() / "noflailsten-host", "--config", config, "--json", "--script", "-"]
        started.append(JsonProcess(command, program_environment(tmp_path)))
        return started[-1]

    yield run
    for host in started:
        host.ask_to_end()
        host.wait_for_end()


def assert_flies(host: JsonProcess, autopilot: Autopilot, system: int) -> None:
    """The setting counts, whether it is kept or not, and telemetry comes."""
    host.write_line(f"set MAV SYSTEM_ID {system}")
    host.wait_for_log(f"Updated: MAV/SYSTEM_ID={system}")
    autopilot.receive("HEARTBEAT", lambda message: message.get_srcSystem() == system)
    autopilot.send(heartbeat(ARDUPILOT), attitude(float(system)))
    host.wait_for("roll", lambda roll: roll == system)


@pytest.mark.parametrize("disk", DISKS)
def test_full_disk_keeps_the_old_settings_until_there_is_room(start, link, autopilot, tmp_path, disk):
    config = write_config(tmp_path / "host.ini", {**link.settings, "MAV/SYSTEM_ID": 2, **PADDING})
    full = disk(config)
    host = start(full.config, full.prefix)
    autopilot.meet(host)
    pid = host.process.pid
    full.fill(pid)
    before = full.seen(pid).read_bytes()
    assert_flies(host, autopilot, 61)
    assert full.seen(pid).read_bytes() == before
    full.make_room(pid)
    assert_flies(host, autopilot, 62)
    assert b"SYSTEM_ID=62" in full.seen(pid).read_bytes()
    assert before.count(b"KEPT_") == full.seen(pid).read_bytes().count(b"KEPT_") == len(PADDING)


@pytest.mark.parametrize("disk", DISKS)
def test_full_disk_is_told_of_at_the_end(start, link, autopilot, tmp_path, disk):
    config = write_config(tmp_path / "host.ini", {**link.settings, **PADDING})
    full = disk(config)
    host = start(full.config, full.prefix)
    autopilot.meet(host)
    full.fill(host.process.pid)
    assert_flies(host, autopilot, 61)
    host.ask_to_end()
    assert host.wait_for_end() == 0
    assert f"{COMPLAINT} {full.config}" in host.log_lines


NEEDS_SMALL_DISK = pytest.mark.skipif(
    FullDisk not in DISKS,
    reason="a small disk takes a mount of one's own, which this system refuses (user namespaces are off)",
)
# In the file, a hex digit takes four bytes once a letter before it had to be escaped.
DIGITS = {"PAYLOADS/KEPT_0": "é" + "0123456789abcdef" * 625}


def payloads(text: bytes) -> bytes:
    return text.split(b"[PAYLOADS]")[1].split(b"\n\n")[0].strip()


def check_small_disk(start, autopilot, full: FullDisk, config: Path, free: int) -> None:
    """The settings are old or new as a whole, and it is told if they are old."""
    host = start(config, full.prefix)
    autopilot.meet(host)
    file = full.seen(host.process.pid)
    full.fill(host.process.pid, free)
    before = payloads(file.read_bytes())
    assert_flies(host, autopilot, 61)
    assert payloads(file.read_bytes()) == before
    descriptor = os.open(file.parent, os.O_PATH)  # the disk outlives the host
    host.ask_to_end()
    assert host.wait_for_end() == 0
    folder = Path(f"/proc/self/fd/{descriptor}")
    at_end = (folder / file.name).read_bytes()
    names = {path.name for path in folder.iterdir()}
    os.close(descriptor)
    assert payloads(at_end) == before
    assert names == {file.name, "filler"}
    is_new = b"SYSTEM_ID=61" in at_end
    assert is_new != (f"{COMPLAINT} {config}" in host.log_lines)


@NEEDS_SMALL_DISK
@pytest.mark.parametrize("padding", [PADDING, kept(450), DIGITS], ids=["7kB", "29kB", "digits"])
@pytest.mark.parametrize("pages", range(1, 9))
def test_disk_with_little_room_never_cuts_the_settings(start, link, autopilot, tmp_path, pages, padding):
    """A page or two less than the file needs, or a few more than it needs."""
    config = write_config(tmp_path / "host.ini", {**link.settings, "MAV/SYSTEM_ID": 2, **padding})
    full = FullDisk(config)
    check_small_disk(start, autopilot, full, full.config, pages * PAGE)


@NEEDS_SMALL_DISK
@pytest.mark.parametrize("pages", [1, 2])
def test_little_room_behind_a_link_never_cuts_the_settings(start, link, autopilot, tmp_path, pages):
    """The link lies where there is plenty."""
    config = write_config(tmp_path / "host.ini", {**link.settings, "MAV/SYSTEM_ID": 2, **PADDING})
    full = FullDisk(config)
    middle = tmp_path / "middle.ini"
    middle.symlink_to(full.config.relative_to(tmp_path))
    first = tmp_path / "link.ini"
    first.symlink_to(middle)
    check_small_disk(start, autopilot, full, first, pages * PAGE)


def test_file_limit_lets_through_settings_that_fit(start, link, autopilot, tmp_path):
    """Whoever exceeds the limit is ended by a signal."""
    config = write_config(tmp_path / "host.ini", {**link.settings, "MAV/SYSTEM_ID": 2, **PADDING})
    host = start(config, ["prlimit", f"--fsize={3 * PAGE}:"])
    autopilot.meet(host)
    assert_flies(host, autopilot, 61)
    assert b"SYSTEM_ID=61" in config.read_bytes()
    assert config.read_bytes().count(b"KEPT_") == len(PADDING)
    FileLimit(config).make_room(host.process.pid)  # for what measures the host as it ends
    host.ask_to_end()
    assert host.wait_for_end() == 0


def unprivileged() -> list[str]:
    """Root may write what is read-only, unless it gives that up."""
    return ["setpriv", "--bounding-set", "-dac_override"] if os.getuid() == 0 else []


@pytest.mark.parametrize("folder_mode", [0o755, 0o555], ids=["file", "folder"])
def test_read_only_settings_are_used_and_left_alone(start, link, autopilot, tmp_path, folder_mode):
    folder = tmp_path / "settings"
    folder.mkdir()
    config = write_config(folder / "host.ini", {**link.settings, **PADDING})
    before = config.read_bytes()
    config.chmod(0o444)
    folder.chmod(folder_mode)
    host = start(config, unprivileged())
    autopilot.meet(host)
    assert_flies(host, autopilot, 61)
    host.ask_to_end()
    assert host.wait_for_end() == 0
    assert f"{COMPLAINT} {config}" in host.log_lines
    assert config.read_bytes() == before
    assert [path.name for path in folder.iterdir()] == [config.name]
    folder.chmod(0o755)
