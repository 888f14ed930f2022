# SPDX-License-Identifier: MIT
"""What the host counts on its link, against what was really lost and damaged on the way there."""

import contextlib
import itertools
import random
import re
import socket
from collections import Counter
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from conftest import DATA, Hosts, write_config
from faultproxy import KINDS, FaultProxy, Faults, FrameSplitter
from faultrounds import is_full
from frameparser import V2_MARKER, message_id
from jsonprocess import TIMEOUT, JsonProcess
from linkfigures import LinkFigures, Source, source_of
from links import TcpLink
from livetable import wait_for_table
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from recording_figures import recorded_bytes
from test_prompt import Terminal

from autopilot import ARDUPILOT, PX4, Autopilot, attitude, heartbeat

RECORDINGS = sorted([*DATA.glob("*.tlog"), *DATA.glob("*.raw")])
FLIGHT = DATA / "arducopter-flight.tlog"  # nothing is missing in it
VEHICLE = (1, 1)
RATES = (0.01, 0.1, 0.5) if is_full() else (0.1, 0.5)
EXCERPT = 2000  # frames
FAST = 1000
PERIOD = 0.05
LINK_FAILED = 4


def start(hosts: Hosts, link, *arguments, **options) -> JsonProcess:
    return hosts.start(link, "--link-counters", PERIOD, *arguments, **options)


def wait_for_counters(host: JsonProcess, wanted: Callable[[dict], bool]) -> dict:
    return host.wait_for_record(lambda r: r.get("event") == "link" and wanted(r["counters"]))["counters"]


def counters_after(host: JsonProcess, size: int) -> dict:
    return wait_for_counters(host, lambda counters: counters["bytes"] == size)


def sender(counters: dict, source: Source) -> dict:
    [found] = (one for one in counters["senders"] if (one["system"], one["component"]) == source)
    return found


def assert_counted(counters: dict, stream: bytes) -> None:
    """As the same bytes are reckoned from beginning to end."""
    figures = LinkFigures(stream)
    names = {"frame": "frames", "bad": "badChecksums", "unknown": "unknownIds", "stray": "strayBytes"}
    assert {kind: counters[name] for kind, name in names.items()} == figures.counts
    assert {(one["system"], one["component"]) for one in counters["senders"]} == set(figures.senders)
    for source, figure in figures.senders.items():
        counted = sender(counters, source)
        for name in ("received", "lost", "duplicates", "restarts"):
            assert counted[name] == getattr(figure, name), (source, name)


def excerpt(seed: str) -> bytes:
    frames = list(FrameSplitter().feed(recorded_bytes(FLIGHT)))
    begin = random.Random(seed).randrange(len(frames) - EXCERPT)
    return b"".join(frames[begin : begin + EXCERPT])


class WitnessedFaults(Faults):
    """Remembers which frames were harmed."""

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.passed: list[tuple[Source, bool]] = []

    def pass_on(self, frame: bytes) -> bytes:
        harmed_before = self.harmed
        result = super().pass_on(frame)
        self.passed.append((source_of(frame), self.harmed > harmed_before))
        return result

    def harmed_of(self, source: Source) -> list[bool]:
        return [harmed for other, harmed in self.passed if other == source]

    def knowably_lost_of(self, source: Source) -> int:
        """Not those before the first that came and after the last."""
        harmed = self.harmed_of(source)
        arrived = [i for i, was_harmed in enumerate(harmed) if not was_harmed]
        return sum(harmed[arrived[0] : arrived[-1]])


class Proxy(FaultProxy):
    """A simulator that is ended may reset its connections."""

    def _down(self) -> None:
        with contextlib.suppress(ConnectionResetError):
            super()._down()


@pytest.fixture
def through() -> Iterator[Callable]:
    """Brings a stream of bytes through a proxy to a link."""
    with contextlib.ExitStack() as proxies:

        def start(link, faults: Faults, address: tuple[str, int]) -> Proxy:
            proxy = Proxy(address, link, faults)
            proxies.callback(proxy.close)
            proxy.start()
            return proxy

        yield start


def play(through: Callable, link, faults: Faults, stream: bytes) -> bytes:
    """What came out at the far end."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        proxy = through(link, faults, server.getsockname())
        autopilot, _ = server.accept()
    with autopilot:
        autopilot.sendall(stream)
        autopilot.shutdown(socket.SHUT_WR)
        proxy.join()
    return bytes(proxy.written)


@pytest.mark.parametrize(("kind", "rate"), itertools.product(KINDS, RATES))
def test_harmed_frames_are_counted_as_by_the_rules(hosts, link, through, kind, rate):
    host = start(hosts, link)
    Autopilot(link).meet(host)
    faults = WitnessedFaults(kind, rate, f"{kind} {rate}")
    written = play(through, link, faults, excerpt(kind))
    assert faults.harmed > 0
    counters = counters_after(host, len(written))
    assert_counted(counters, written)
    counted = sender(counters, VEHICLE)
    frames = len(faults.harmed_of(VEHICLE))
    if kind == "lost":
        assert counted["lost"] == faults.knowably_lost_of(VEHICLE)
        assert counted["received"] == frames - sum(faults.harmed_of(VEHICLE))
    if kind == "duplicated":
        assert counted["duplicates"] == sum(faults.harmed_of(VEHICLE))
    if kind in ("duplicated", "swapped"):
        assert (counted["lost"], counted["received"]) == (0, frames)
    assert (counted["late"] > 0) == (kind == "swapped")


def start_sim(bin_dir: Path, environment: dict, *arguments) -> tuple[JsonProcess, str]:
    sim = JsonProcess([bin_dir / "noflailsten-sim", "--json", *arguments], environment)
    return sim, sim.wait_for_event("listening")["address"]


def port_of(address: str) -> tuple[str, int]:
    _, host, port = address.split(":")
    return host, int(port)


class SimLink:
    """A link of a simulator that the host opens itself."""

    def __init__(self, address: str):
        kind, place = address.split(":", 1)
        host, port = port_of(address) if kind == "tcp" else (place, 921600)
        self.settings = {
            "MAV/CONNECTION_TYPE": "TCP" if kind == "tcp" else "UART",
            "MAV/SERIAL_DEVICE": host,
            "MAV/BAUD_RATE": port,
        }


@pytest.fixture(params=["tcp", "pty"])
def sim_link(request: pytest.FixtureRequest, tmp_path: Path) -> str:
    return "tcp:127.0.0.1:0" if request.param == "tcp" else f"pty:{tmp_path / 'autopilot'}"


@pytest.mark.parametrize("recording", RECORDINGS, ids=lambda path: path.stem)
def test_recordings_are_counted_as_by_the_rules(hosts, bin_dir, environment, sim_link, recording):
    sim, address = start_sim(bin_dir, environment, "--replay", recording, "--link", sim_link, "--speed", FAST)
    host = start(hosts, SimLink(address))
    stream = recorded_bytes(recording)
    assert_counted(counters_after(host, len(stream)), stream)
    assert sim.wait_for_end() == 0


@pytest.mark.parametrize(("loss", "corrupt"), [(0.1, 0), (0.5, 0), (0.2, 0.2)])
def test_what_the_simulator_loses_is_counted(hosts, bin_dir, environment, link, through, loss, corrupt):
    host = start(hosts, link)
    Autopilot(link).meet(host)
    replay = ("--replay", FLIGHT, "--link", "tcp:127.0.0.1:0", "--speed", FAST)
    sim, address = start_sim(bin_dir, environment, *replay, "--loss", loss, "--corrupt", corrupt)
    proxy = through(link, Faults("lost", 0, ""), port_of(address))  # only to see what arrives
    assert sim.wait_for_end() == 0
    proxy.join()
    arrived = bytes(proxy.written)
    counters = counters_after(host, len(arrived))
    assert_counted(counters, arrived)
    if not corrupt:
        frames = list(FrameSplitter().feed(recorded_bytes(FLIGHT)))
        assert_lost_between(counters, frames, list(FrameSplitter().feed(arrived)))


def assert_lost_between(counters: dict, sent: list[bytes], arrived: list[bytes]) -> None:
    sent, arrived = ([f for f in frames if source_of(f) == VEHICLE] for frames in (sent, arrived))
    first, last = sent.index(arrived[0]), len(sent) - 1 - sent[::-1].index(arrived[-1])
    missing = Counter(sent[first : last + 1]) - Counter(arrived)
    assert sender(counters, VEHICLE)["lost"] == missing.total() > 0
    assert sender(counters, VEHICLE)["received"] == len(arrived)


def swallowed(frames: list[bytes]) -> int:
    """Frames lost to the parser alone: those after one of an unknown message that ends as a frame begins."""
    return sum(frame[-1] == V2_MARKER and message_id(frame) not in mavlink.mavlink_map for frame in frames)


@pytest.mark.alone
def test_numbers_that_a_simulated_px4_swaps_are_no_loss(hosts, bin_dir, environment, link, through):
    host = start(hosts, link)
    Autopilot(link).meet(host)
    sim, address = start_sim(
        bin_dir, environment, "--autopilot", "px4", "--link", "tcp:127.0.0.1:0", "--speed", 20
    )
    proxy = through(link, Faults("lost", 0, ""), port_of(address))  # only to see what arrives
    wait_for_counters(host, lambda counters: counters["late"] >= 1)
    sim.ask_to_end()
    assert sim.wait_for_end() == 0
    proxy.join()
    counters = counters_after(host, len(proxy.written))
    frames = list(FrameSplitter().feed(bytes(proxy.written)))
    assert counters["lost"] == swallowed(frames)
    assert counters["received"] + counters["lost"] == len(frames) > 30000
    assert counters["unknownIds"] > 0
    assert (counters["duplicates"], counters["badChecksums"], counters["restarts"]) == (0, 0, 0)


def test_lossy_line_of_a_simulated_px4_is_counted(hosts, bin_dir, environment, link, through):
    host = start(hosts, link)
    Autopilot(link).meet(host)
    sim, address = start_sim(
        bin_dir, environment, "--autopilot", "px4", "--link", "tcp:127.0.0.1:0", "--speed", 10
    )
    faults = WitnessedFaults("lost", 0.1, "px4")
    proxy = through(link, faults, port_of(address))
    wait_for_counters(host, lambda counters: counters["lost"] > 500)
    sim.ask_to_end()
    assert sim.wait_for_end() == 0
    proxy.join()
    counters = counters_after(host, len(proxy.written))
    gone = swallowed(list(FrameSplitter().feed(bytes(proxy.written))))
    assert counters["lost"] == faults.knowably_lost_of(VEHICLE) + gone
    assert counters["received"] == len(faults.passed) - faults.harmed - gone


def test_new_connection_counts_on_and_nothing_as_lost(hosts, link):
    host = start(hosts, link, watched=True)
    autopilot = Autopilot(link)
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4), *(attitude(i) for i in range(20)))
    link.write(b"stray")
    wait_for_counters(host, lambda counters: counters["strayBytes"] == 5)
    link.interrupt()
    host.wait_for_event("link-lost")
    for i in range(50):
        autopilot.encode(attitude(i))  # into the void
    link.restore()
    host.wait_for_event("link-open")
    link.take_client(TIMEOUT)
    autopilot.send(heartbeat(PX4), attitude(1))
    counters = wait_for_counters(host, lambda counters: counters["frames"] == 23)
    assert (counters["received"], counters["lost"], counters["restarts"]) == (23, 0, 0)
    assert (counters["strayBytes"], counters["badChecksums"]) == (5, 0)
    assert counters["heartbeatAgeS"] < TIMEOUT


def test_frame_that_is_cut_by_a_reconnect_costs_what_the_plugin_loses(hosts, link):
    host = start(hosts, link, watched=True)
    autopilot = Autopilot(link)
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4))
    link.write(autopilot.encode(attitude(0))[:15])
    before = wait_for_counters(host, lambda counters: counters["frames"] == 1)
    link.interrupt()
    host.wait_for_event("link-lost")
    link.restore()
    host.wait_for_event("link-open")
    link.take_client(TIMEOUT)
    autopilot.send(*(attitude(float(i)) for i in range(1, 10)))
    host.wait_for("roll", lambda roll: roll == 9)
    counters = wait_for_counters(host, lambda counters: counters["badChecksums"] == 1)
    published = host.values("roll")
    assert published == [float(i) for i in range(2, 10)]  # the first is a part of what was begun
    assert (
        counters["frames"] - before["frames"] == counters["received"] - before["received"] == len(published)
    )
    assert counters["lost"] == 0


def test_counters_are_told_only_if_asked_for(hosts, link, autopilot):
    host = hosts.start(link, "--script", "-")
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4), attitude(0))
    autopilot.encode(attitude(1))
    autopilot.send(attitude(2))
    host.wait_for("roll", lambda roll: roll == 2)
    host.write_line("wait-for link.lost=1")  # looked at once a second
    host.write_line("status")
    report = host.wait_for_event("status")["values"]["link"]
    assert (report["frames"], report["received"], report["lost"]) == (3, 3, 1)
    assert report["lossPercent"] == 25
    host.ask_to_end()
    assert host.wait_for_end() == 0
    assert not [record for record in host.records if record.get("event") == "link"]


def test_last_counters_come_at_the_end(hosts, link, autopilot):
    host = hosts.start(link, "--link-counters", 3600)
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4))
    host.wait_for_log("PX4 Detected")
    host.ask_to_end()
    if isinstance(link, TcpLink):
        link.interrupt()  # it would be waited for
    assert host.wait_for_end() == 0
    told = [record for record in host.records if record.get("event") == "link"]
    assert [record["counters"]["frames"] for record in told] == [1]
    assert host.records[-1]["event"] == "stopped"


def test_quiet_says_nothing_of_a_bad_link(bin_dir, environment, tmp_path):
    link = TcpLink()
    config = write_config(tmp_path / "host.ini", link.settings)
    quiet = JsonProcess([bin_dir / "noflailsten-host", "--config", config, "--quiet"], environment)
    autopilot = Autopilot(link)
    autopilot.meet(quiet)
    link.write(b"stray bytes")
    autopilot.send(heartbeat(PX4))
    quiet.wait_for_log("PX4 Detected")
    quiet.ask_to_end()
    link.close()
    assert quiet.wait_for_end() == 0
    assert (quiet.records, quiet.output.bad) == ([], [])
    assert not [line for line in quiet.log_lines if "stray" in line]


def test_log_lines_tell_of_a_bad_link(bin_dir, environment, tmp_path):
    link = TcpLink()
    config = write_config(tmp_path / "host.ini", link.settings)
    host = JsonProcess([bin_dir / "noflailsten-host", "--config", config], environment)
    autopilot = Autopilot(link)
    autopilot.meet(host)
    link.write(b"stray bytes")
    autopilot.send(heartbeat(PX4))
    host.log.wait_for(lambda line: "PX4 Detected" in line, TIMEOUT)
    wanted = "link 11 stray bytes"
    assert wait_until(lambda: any(line.endswith(wanted) for line in host.output.bad), host)
    host.ask_to_end()
    link.close()
    host.process.wait(TIMEOUT)


def wait_until(wanted: Callable[[], bool], host: JsonProcess) -> bool:
    with host.output.changed:
        return host.output.changed.wait_for(wanted, TIMEOUT)


@pytest.fixture
def live(bin_dir, environment, tmp_path) -> Iterator[Callable[..., Terminal]]:
    started = []
    environment = {**environment, "XDG_STATE_HOME": str(tmp_path / "state")}

    def start(link: TcpLink, *arguments) -> Terminal:
        config = write_config(tmp_path / "host.ini", link.settings)
        started.append(Terminal([bin_dir / "noflailsten-host", "--config", config, *arguments], environment))
        return started[-1]

    yield start
    for terminal in started:
        terminal.close()


def test_live_view_tells_what_is_wrong_with_the_link_and_nothing_else(live):
    link = TcpLink()
    terminal = live(link, "--no-reconnect")
    link.take_client(TIMEOUT)
    autopilot = Autopilot(link)
    autopilot.send_heartbeat(ARDUPILOT)
    address = f"open: tcp:127.0.0.1:{link.settings['MAV/BAUD_RATE']}"
    wait_for_table(terminal, lambda table: table.text("Autopilot").startswith("heard"))
    assert wait_for_table(terminal, lambda table: True).text("Link") == address
    late = wait_for_table(terminal, lambda table: "heartbeat" in table.text("Link"))
    assert re.fullmatch(rf"{address} · heartbeat [\d.]+ s ago", late.text("Link"))
    autopilot.encode(attitude(0))
    link.write(b"??")
    autopilot.send_heartbeat(ARDUPILOT)
    wait_for_table(terminal, lambda table: table.text("Link").endswith(" · loss 33.3 % · 2 stray bytes"))


def test_live_view_shows_arming_mode_and_what_the_script_does(live, tmp_path):
    script = tmp_path / "long.script"
    script.write_text("# first\nwait-for roll=7\n\nwait 600\n")
    link = TcpLink()
    terminal = live(link, "--script", script)
    link.take_client(TIMEOUT)
    autopilot = Autopilot(link)
    autopilot.send_heartbeat(ARDUPILOT)
    table = wait_for_table(terminal, lambda table: table.text("Vehicle").startswith("disarmed, stabilize"))
    assert table.text("Script") == "line 2: wait-for roll=7"
    autopilot.send(heartbeat(ARDUPILOT, base_mode=128), attitude(7))
    table = wait_for_table(terminal, lambda table: table.text("Vehicle").startswith("armed, stabilize"))
    wait_for_table(terminal, lambda table: table.text("Script") == "line 4: wait 600")


@pytest.mark.parametrize("how", ["--json", "--quiet", "--no-reconnect"])
def test_link_that_fails_for_good_is_told_of_once(bin_dir, environment, tmp_path, how):
    link = TcpLink()
    address = f"tcp:127.0.0.1:{link.settings['MAV/BAUD_RATE']}"
    config = write_config(tmp_path / "host.ini", link.settings)
    link.close()
    command = [bin_dir / "noflailsten-host", "--config", config, "--no-reconnect", how]
    host = JsonProcess(command, environment)
    assert host.process.wait(TIMEOUT) == LINK_FAILED
    host.output.thread.join()
    host.log.thread.join()
    told = f"{address} did not open: Connection refused"
    assert [line for line in host.log_lines if "did not open" in line] == [f"noflailsten-host: {told}"]
    assert [r["reason"] for r in host.records if "reason" in r] == ([told] if how == "--json" else [])
    assert not [line for line in host.output.bad if "did not open" in line]
