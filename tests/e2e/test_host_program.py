# SPDX-License-Identifier: MIT
import json
import re
import signal
import socket
import subprocess
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path

import pytest
from conftest import ROOT, write_config
from jsonprocess import TIMEOUT, JsonProcess
from links import SerialLink, TcpLink

from autopilot import ARDUPILOT, ARMED, PX4, Autopilot, attitude, global_position, gps_raw, heartbeat

DONE, USAGE, BAD_FILE, NO_PLUGIN, LINK_FAILED, NOT_HAPPENED = range(6)


@dataclass
class DeadLink:
    """A port that is taken, and where nobody listens yet."""

    port: socket.socket

    @property
    def settings(self) -> dict:
        return TcpLink(self.port).settings


@pytest.fixture
def run(bin_dir: Path, environment: dict) -> Callable:
    """Runs the host to its end."""

    def run_host(*arguments, stdin: str = "") -> subprocess.CompletedProcess:
        command = [str(part) for part in (bin_dir / "noflailsten-host", *arguments)]
        return subprocess.run(
            command,
            env=environment,
            input=stdin,
            capture_output=True,
            text=True,
            timeout=TIMEOUT,
            check=False,
        )

    return run_host


@pytest.fixture
def refusing_port():
    with socket.socket() as port:
        port.bind(("127.0.0.1", 0))
        yield DeadLink(port)


@pytest.fixture
def config(tmp_path: Path, refusing_port) -> Path:
    return write_config(tmp_path / "host.ini", refusing_port.settings)


@pytest.fixture
def host(hosts, link, autopilot) -> JsonProcess:
    started = hosts.start(link)
    autopilot.meet(started)
    return started


def one_line(text: str) -> str:
    lines = text.strip().splitlines()
    assert len(lines) == 1, text
    return lines[0]


def test_help_names_every_option(run):
    result = run("--help")
    assert (result.returncode, result.stderr) == (DONE, "")
    options = "config plugin json quiet script duration set no-reconnect prune-settings help version"
    missing = [option for option in options.split() if f"--{option}" not in result.stdout]
    assert missing == []


def test_version_is_that_of_the_project(run):
    version = re.search(r"project\(noflailsten VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
    result = run("--version")
    assert (result.returncode, result.stdout.split()[-1]) == (DONE, version)


def test_without_a_configuration_it_is_told_how_to_be_used(run):
    result = run("--json")
    assert (result.returncode, result.stdout) == (USAGE, "")
    assert "--config" in one_line(result.stderr)


@pytest.mark.parametrize(
    "arguments",
    [
        ("--nonsense",),
        ("--duration", "soon"),
        ("--duration", "-1"),
        ("--set", "MAV"),
        ("--set", "MAV/SYSTEM_ID"),
        ("--set", "MAV/SYSTEM_ID=two"),
        ("--set", "MAV/V2_EXTENSION=yes"),
        ("extra",),
    ],
    ids=" ".join,
)
def test_bad_arguments_are_one_line_and_exit_1(run, config, arguments):
    result = run("--config", config, "--json", *arguments)
    assert (result.returncode, result.stdout) == (USAGE, "")
    one_line(result.stderr)


def make_missing(folder: Path) -> Path:
    return folder / "nowhere.ini"


def make_directory(folder: Path) -> Path:
    return folder


def make_unreadable(folder: Path) -> Path:
    """A socket's file: nobody can open it, root neither."""
    path = folder / "unreadable.ini"
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(path))
    return path


def make_below_a_file(folder: Path) -> Path:
    (folder / "file").touch()
    return folder / "file" / "host.ini"


@pytest.mark.parametrize("make", [make_missing, make_directory, make_unreadable, make_below_a_file])
def test_a_configuration_that_cannot_be_read_is_exit_2(run, tmp_path, make):
    path = make(tmp_path)
    result = run("--config", path, "--json")
    assert result.returncode == BAD_FILE
    assert str(path) in one_line(result.stderr)
    assert [json.loads(line)["event"] for line in result.stdout.splitlines()] == ["error"]


def test_a_missing_configuration_is_not_made(run, tmp_path):
    run("--config", tmp_path / "nowhere.ini")
    assert list(tmp_path.glob("nowhere*")) == []


def make_text_plugin(folder: Path) -> Path:
    path = folder / "plugin.so"
    path.write_text("no library")
    return path


@pytest.mark.parametrize("make", [make_missing, make_directory, make_text_plugin])
def test_a_bad_plugin_file_is_exit_3(run, config, tmp_path, make):
    path = make(tmp_path)
    result = run("--config", config, "--json", "--plugin", path)
    assert result.returncode == NO_PLUGIN
    assert str(path) in result.stderr


def test_a_link_that_does_not_open_is_exit_4_unless_it_may_reconnect(run, config):
    result = run("--config", config, "--json", "--no-reconnect")
    assert result.returncode == LINK_FAILED
    assert "[AP] CRIT: Failed to open connection to autopilot" in result.stderr


def test_a_missing_device_is_exit_4_unless_it_may_reconnect(run, tmp_path):
    path = tmp_path / "no-device"
    config = write_config(tmp_path / "host.ini", {"MAV/CONNECTION_TYPE": "UART", "MAV/SERIAL_DEVICE": path})
    result = run("--config", config, "--json", "--no-reconnect")
    assert result.returncode == LINK_FAILED
    assert f'[UART] WARN: Port "{path}" not found in serial ports list' in result.stderr
    assert "[UART] CRIT: Failed open port, error:" in result.stderr


def test_a_regular_file_is_no_device(run, tmp_path):
    path = tmp_path / "file"
    path.touch()
    config = write_config(tmp_path / "host.ini", {"MAV/CONNECTION_TYPE": "UART", "MAV/SERIAL_DEVICE": path})
    result = run("--config", config, "--json", "--no-reconnect")
    assert result.returncode == LINK_FAILED
    assert "[UART] CRIT: Failed open port, error:" in result.stderr


def test_a_port_where_nobody_listens_is_tried_until_somebody_does(hosts, refusing_port):
    host = hosts.start(refusing_port, watched=True)
    for _ in range(3):
        host.wait_for_log("[AP] CRIT: Failed to open connection to autopilot")
    refusing_port.port.listen()
    autopilot = Autopilot(TcpLink(refusing_port.port))
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4))
    host.wait_for("autopilotStatus", lambda status: status == 2)
    autopilot.link.close()


def test_a_device_that_does_not_exist_is_waited_for(hosts, tmp_path):
    link = SerialLink(tmp_path)
    link.interrupt()
    host = hosts.start(link, watched=True)
    for _ in range(5):
        host.wait_for("autopilotStatus", lambda status: status == 0)
    link.restore()
    autopilot = Autopilot(link)
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4))
    host.wait_for("autopilotStatus", lambda status: status == 2)
    hosts.end()
    link.close()


@pytest.mark.parametrize("kind", ["tcp", "", "Serial"])
def test_an_unknown_connection_type_means_a_serial_line(hosts, tmp_path, kind):
    link = SerialLink(tmp_path)
    host = hosts.start(link, MAV__CONNECTION_TYPE=kind)
    host.wait_for_log(f'[AP] WARN: Unknown connection type:  "{kind}" . Set to default: UART')
    Autopilot(link).meet(host)
    hosts.end()
    link.close()


@pytest.mark.parametrize("how", [signal.SIGTERM, signal.SIGINT])
def test_a_signal_ends_it_well(hosts, link, autopilot, how):
    host = hosts.start(link)
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4))
    host.wait_for("autopilotStatus", lambda status: status == 2)
    host.ask_to_end(how)
    assert host.wait_for_end() == DONE


def test_a_signal_ends_it_while_it_waits_for_a_link(hosts, refusing_port):
    host = hosts.start(refusing_port, watched=True)
    host.wait_for_log("Failed to open connection")
    host.ask_to_end()
    assert host.wait_for_end() == DONE


def test_the_duration_ends_it(hosts, link, autopilot):
    host = hosts.start(link, "--duration", "1.5")
    autopilot.meet(host)
    assert host.wait_for_end() == DONE
    assert len(host.values("autopilotStatus")) > 0


def test_settings_given_as_arguments_count_and_stay(hosts, link, autopilot):
    host = hosts.start(link, "--set", "MAV/SYSTEM_ID=77", "--set", "ALTIMETER/MAX_ALTITUDE_M=12.5")
    autopilot.meet(host)
    assert autopilot.receive("HEARTBEAT").get_srcSystem() == 77
    autopilot.send(global_position(relative_alt=12500), global_position(relative_alt=12501))
    assert [host.wait_for("altitude")["status"] for _ in range(2)] == [0, 1]
    hosts.end()
    kept = (hosts.folder / "host0.ini").read_text()
    assert "SYSTEM_ID=77" in kept
    assert "MAX_ALTITUDE_M=12.5" in kept


@pytest.mark.parametrize("setting", ["FOO/BAR=1", "MAV/NO_SUCH=1", "APP/roll=1"])
def test_an_unknown_setting_is_exit_1(run, config, setting):
    result = run("--config", config, "--json", "--set", setting)
    assert (result.returncode, result.stdout) == (USAGE, "")
    assert setting.split("=")[0] in result.stderr
    assert setting.split("/")[1] not in config.read_text()


@pytest.mark.parametrize("prune", [False, True], ids=["keep", "prune"])
def test_obsolete_settings_go_only_when_asked(run, tmp_path, refusing_port, prune):
    keys = {"MAV/OLD_KEY": 1, "PAYLOADS/anything": 2}
    config = write_config(tmp_path / "host.ini", {**refusing_port.settings, **keys})
    run("--config", config, "--json", "--no-reconnect", *(["--prune-settings"] if prune else []))
    kept = config.read_text()
    assert ("OLD_KEY" in kept, "anything" in kept) == (not prune, True)


def script_file(folder: Path, *lines: str) -> Path:
    path = folder / "script.txt"
    path.write_text("\n".join(lines) + "\n")
    return path


@pytest.mark.parametrize(
    "command",
    [
        "dance",
        "wait",
        "wait long",
        "wait -1",
        "wait-for",
        "wait-for noSuchSignal",
        "wait-for altitude.valeu>1",
        "wait-for altitude>1",
        "wait-for roll.value>1",
        "wait-for satellites.count>1",
        "set MAV SYSTEM_ID two",
        "set MAV V2_EXTENSION yes",
        "set MAV SYSTEM_ID",
        "set FOO BAR 1",
        "text",
        "wait-for roll<much",
        "wait-for roll=1 soon",
        "quit now",
    ],
)
def test_a_bad_line_of_a_script_is_exit_1_with_its_number(run, config, tmp_path, command):
    script = script_file(tmp_path, "", "wait 0", command, "quit")
    result = run("--config", config, "--json", "--script", script)
    assert result.returncode == USAGE
    assert re.search(r"\b3\b", result.stderr), result.stderr


def test_a_missing_script_is_exit_2(run, config, tmp_path):
    result = run("--config", config, "--json", "--script", tmp_path / "nowhere")
    assert result.returncode == BAD_FILE
    assert "nowhere" in result.stderr


def test_what_is_waited_for_in_vain_is_exit_5_with_its_line(run, config, tmp_path):
    script = script_file(tmp_path, "wait 0.1", "wait-for autopilotStatus=2 0.2", "quit")
    result = run("--config", config, "--json", "--script", script)
    assert result.returncode == NOT_HAPPENED
    assert re.search(r"\b2\b", result.stderr), result.stderr


def test_quit_ends_it(run, config, tmp_path):
    result = run("--config", config, "--json", "--script", script_file(tmp_path, "quit"))
    assert result.returncode == DONE


def test_a_script_on_stdin_runs_as_it_comes(run, config):
    result = run("--config", config, "--json", "--script", "-", stdin="text by hand\nquit\n")
    assert result.returncode == DONE
    assert '"text":"by hand"' in result.stdout


def test_a_text_goes_to_the_ground_as_it_is(hosts, link):
    host = hosts.start(link, "--script", "-")
    host.write_line("text All  is \u00bbwell\u00ab")
    assert host.wait_for("textToGround") == {"text": "All  is \u00bbwell\u00ab", "type": 0}


def test_waiting_for_values_compares_numbers_and_fields(hosts, link, autopilot, tmp_path):
    script = script_file(
        tmp_path,
        "wait-for autopilotStatus=2",
        "text detected",
        "wait-for altitude.value>10",
        "text high",
        "wait-for roll<-0.5",
        "text tilted",
        "wait-for daqEnabled=true",
        "text logging",
        "quit",
    )
    host = hosts.start(link, "--script", script)
    autopilot.meet(host)
    texts = lambda: [value["text"] for value in host.values("textToGround")]  # noqa: E731
    autopilot.send(heartbeat(ARDUPILOT))
    host.wait_for("textToGround", lambda value: value["text"] == "detected")
    autopilot.send(global_position(relative_alt=9999), global_position(relative_alt=10001))
    host.wait_for("textToGround", lambda value: value["text"] == "high")
    autopilot.send(attitude(-0.25), attitude(-0.75))
    host.wait_for("textToGround", lambda value: value["text"] == "tilted")
    autopilot.send(heartbeat(ARDUPILOT, ARMED))
    assert host.wait_for_end() == DONE
    assert texts() == ["detected", "high", "tilted", "[AP] Logging started (auto)", "logging"]


def test_a_value_seen_before_counts(hosts, link, autopilot):
    host = hosts.start(link, "--script", "-")
    autopilot.meet(host)
    autopilot.send(gps_raw(3), global_position(470000000, 80000000, 5000))
    host.wait_for("vehicleLocalPos")
    host.write_line("wait-for gpsCoordinate.latitude=47 5")
    host.write_line("text seen")
    assert host.wait_for("textToGround") == {"text": "seen", "type": 0}


def test_satellites_are_waited_for(hosts, link, autopilot):
    host = hosts.start(link, "--script", "-")
    autopilot.meet(host)
    host.write_line("wait-for satellites>9")
    host.write_line("text enough")
    autopilot.send(gps_raw(3, satellites=9), attitude(0.5))
    host.wait_for("yaw")
    assert host.values("textToGround") == []
    autopilot.send(gps_raw(3, satellites=10))
    host.wait_for("textToGround", lambda text: text["text"] == "enough")


def test_the_status_command_says_what_is_known(hosts, link, autopilot):
    host = hosts.start(link, "--script", "-")
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4), attitude(0.5))
    host.wait_for("autopilotStatus", lambda status: status == 2)
    host.write_line("status")
    status = host.wait_for_event("status")
    assert '"roll": 0.5' in str(status).replace("'", '"')


def test_json_has_the_time_and_nothing_else_is_on_stdout(host, autopilot):
    autopilot.send(heartbeat(PX4), attitude(1.0))
    host.wait_for("yaw")
    times = [record["time"] for record in host.records]
    assert all(re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z", time) for time in times)
    assert all(("signal" in record) != ("event" in record) for record in host.records)


def test_quiet_prints_nothing_on_stdout(bin_dir, environment, tmp_path):
    link = TcpLink()
    config = write_config(tmp_path / "host.ini", link.settings)
    quiet = JsonProcess([bin_dir / "noflailsten-host", "--config", config, "--quiet"], environment)
    autopilot = Autopilot(link)
    autopilot.meet(quiet)
    autopilot.send(heartbeat(PX4), attitude(1.0))
    quiet.wait_for_log("PX4 Detected")
    quiet.ask_to_end()
    link.close()
    assert quiet.wait_for_end() == DONE
    assert quiet.records == []


def test_quiet_tells_of_the_link_on_stderr(bin_dir, environment, tmp_path):
    link = TcpLink()
    address = f"tcp:127.0.0.1:{link.settings['MAV/BAUD_RATE']}"
    config = write_config(tmp_path / "host.ini", link.settings)
    quiet = JsonProcess([bin_dir / "noflailsten-host", "--config", config, "--quiet"], environment)
    Autopilot(link).meet(quiet)
    quiet.wait_for_log(f"noflailsten-host: link open: {address}")
    link.close()
    quiet.wait_for_log("noflailsten-host: link lost: ")
    quiet.wait_for_log(
        f"noflailsten-host: link failed: {address} did not open: Connection refused, next try in "
    )
    quiet.ask_to_end()
    assert quiet.wait_for_end() == DONE
    assert quiet.records == []
