# SPDX-License-Identifier: MIT
"""noflailsten-sim --autopilot: its heartbeats, and what it relays, as measured on the real autopilots."""

import signal
import subprocess
import time
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from relaylinks import (
    GROUND,
    HOST,
    THIRD,
    RelaySim,
    Station,
    data_message,
    extension,
    frame_of,
    heartbeat,
)

USAGE, LINK_FAILED = 1, 4
DATA_SIZES = (16, 32, 64, 96)


@pytest.fixture
def start(bin_dir: Path, environment: dict) -> Iterator[Callable[..., RelaySim]]:
    sims = []

    def start_one(*arguments: str) -> RelaySim:
        sims.append(RelaySim(bin_dir / "noflailsten-sim", environment, *arguments))
        return sims[-1]

    yield start_one
    for sim in sims:
        sim.close()


@pytest.fixture(params=["tcp", "pty"])
def links(request: pytest.FixtureRequest, tmp_path: Path) -> list[str]:
    """Three --link arguments of one kind."""
    if request.param == "tcp":
        return ["--link", "tcp:127.0.0.1:0"] * 3
    return [part for name in "abc" for part in ("--link", f"pty:{tmp_path / name}")]


@pytest.fixture
def ardupilot(start, links: list[str]) -> RelaySim:
    return start("--autopilot", "ardupilot", *links)


@pytest.fixture
def px4(start, links: list[str]) -> RelaySim:
    """Forwarding is on for all three links."""
    return start("--autopilot", "px4", *links, *forwarding(links))


def forwarding(links: list[str]) -> list[str]:
    return ["--forward" if part == "--link" else part for part in links]


def meet(sim: RelaySim) -> tuple[Station, Station]:
    """Host and ground station on the first two links. Each has been heard, and both know it."""
    host = sim.join(0, HOST)
    ground = sim.join(1, GROUND)
    assert host.receive(lambda m: m.get_srcSystem() == GROUND[0]).get_type() == "HEARTBEAT"
    until_relayed(host, ground)
    return host, ground


def until_relayed(sender: Station, receiver: Station) -> None:
    """A frame to all has gone from one to the other, and with it everything before it."""
    receiver.receive_until(sender.send_heartbeat())


def pause() -> None:
    """The gap at which a PX4 loses nothing."""
    time.sleep(0.005)


# Heartbeats


@pytest.mark.parametrize(
    ("name", "autopilot", "base_modes", "custom_mode"),
    [("ardupilot", 3, {89, 81}, 0), ("px4", 12, {29}, 50593792)],
)
def test_heartbeats_come_on_every_link_once_a_second_as_from_the_real_one(
    name: str, autopilot: int, base_modes: set[int], custom_mode: int, start, links: list[str]
):
    sim = start("--autopilot", name, *links)
    stations = [Station(address, HOST) for address in sim.addresses]
    sim.stations += stations
    began = time.monotonic()
    for station in stations:
        for beat in [station.receive_heartbeat() for _ in range(4)]:
            assert beat.get_msgbuf()[0] == 0xFD
            assert (beat.type, beat.autopilot, beat.custom_mode) == (2, autopilot, custom_mode)
            assert beat.base_mode in base_modes
            assert beat.system_status in (0, 1, 3)  # booting, or standing by
    # The first can come at once, the second within a second, the others a second apart.
    assert time.monotonic() - began > 1.5


@pytest.mark.parametrize("name", ["ardupilot", "px4"])
def test_sequence_numbers_of_the_autopilot_have_no_gaps(name: str, start, links: list[str]):
    sim = start("--autopilot", name, *links)
    station = sim.join(1, HOST, heard=False)
    sequence = [frame_of(station.receive())[4] for _ in range(3)]
    assert [(number - sequence[0]) % 256 for number in sequence] == [0, 1, 2]


def test_client_that_comes_back_gets_heartbeats_again(ardupilot: RelaySim):
    ardupilot.join(0, HOST).close()
    ardupilot.stations.clear()
    assert ardupilot.process.wait_for_record(lambda r: r.get("connected") is False)
    ardupilot.join(0, HOST)


# ArduPilot


@pytest.mark.parametrize("version1", [False, True])
def test_ardupilot_relays_to_all_heard_links_byte_by_byte(version1: bool, ardupilot: RelaySim):
    host, ground = meet(ardupilot)
    third = ardupilot.join(2, THIRD)
    until_relayed(third, host)
    frame = host.send(extension(0), version1)
    assert frame[0] == (0xFE if version1 else 0xFD)
    ground.receive_until(frame)
    assert third.receive_frame() == frame
    answer = ground.send(extension(0, payload=bytes(range(249))), version1)
    host.receive_until(answer)


def test_ardupilot_relays_signed_frames_byte_by_byte(ardupilot: RelaySim):
    host, ground = meet(ardupilot)
    host.encoder.signing.secret_key = bytes(range(32))
    host.encoder.signing.sign_outgoing = True
    frame = host.send(extension(0))
    assert frame[2] == 1
    assert ground.receive_frame() == frame


def test_ardupilot_relays_the_heartbeats_of_others(ardupilot: RelaySim):
    host, ground = meet(ardupilot)
    frame = ground.send_heartbeat()
    assert host.receive_frame() == frame


def test_ardupilot_sends_nothing_to_a_link_that_never_sent(ardupilot: RelaySim):
    host, ground = meet(ardupilot)
    silent = ardupilot.join(2, THIRD, heard=False)
    sent = [host.send(extension(0)), host.send(data_message(96)), host.send(extension(THIRD[0]))]
    assert [ground.receive_frame() for _ in sent[:2]] == sent[:2]
    assert silent.messages_until_heartbeats(2) == []


@pytest.mark.parametrize(
    ("target", "arrives"),
    [
        ((0, 0), True),
        ((255, 190), True),
        ((255, 0), True),
        ((255, 7), True),
        ((1, 1), False),
        ((77, 0), False),
    ],
)
def test_ardupilot_relays_by_the_system_addressed(
    target: tuple[int, int], arrives: bool, ardupilot: RelaySim
):
    host, ground = meet(ardupilot)
    frame = host.send(extension(*target))
    end = host.send_heartbeat()
    assert ground.receive_until(end) == ([frame] if arrives else [])


def test_ardupilot_relays_an_addressed_frame_to_the_link_of_that_system_only(ardupilot: RelaySim):
    host, ground = meet(ardupilot)
    third = ardupilot.join(2, THIRD)
    until_relayed(third, host)
    to_ground, to_third, end = (host.send(m) for m in (extension(255), extension(THIRD[0]), heartbeat()))
    assert to_third not in ground.receive_until(end)
    assert third.receive_until(end) == [to_third]
    assert to_ground != to_third


def test_ardupilot_relays_other_addressed_messages_by_the_same_rule(ardupilot: RelaySim):
    host, ground = meet(ardupilot)
    to_ground = mavlink.MAVLink_command_long_message(255, 0, 400, 0, 1, 0, 0, 0, 0, 0, 0)
    to_autopilot = mavlink.MAVLink_command_long_message(1, 1, 400, 0, 1, 0, 0, 0, 0, 0, 0)
    frames = [host.send(message) for message in (to_autopilot, to_ground)]
    assert ground.receive_frame() == frames[1]


@pytest.mark.parametrize("size", DATA_SIZES)
def test_ardupilot_relays_data_messages_to_all_heard_links(size: int, ardupilot: RelaySim):
    host, ground = meet(ardupilot)
    assert ground.send(data_message(size)) == host.receive_frame()
    assert host.send(data_message(size), version1=True) == ground.receive_frame()


def test_ardupilot_relays_a_thousand_frames_without_loss_in_order(ardupilot: RelaySim):
    host, ground = meet(ardupilot)
    frames = [host.encode(data_message(96)) for _ in range(1000)]
    host.write(b"".join(frames))
    assert [ground.receive_frame() for _ in frames] == frames
    assert ardupilot.end()["lost"] == 0


def test_frames_that_are_damaged_or_unknown_go_nowhere_and_are_counted(ardupilot: RelaySim):
    host, ground = meet(ardupilot)
    damaged = bytearray(host.encode(extension(0)))
    damaged[-1] ^= 1
    unknown = bytes.fromhex("fd03000009 0205 fafaf9 010203 abcd")
    host.write(bytes(damaged) + unknown + b"rubbish")
    end = host.send(extension(0))
    assert ground.receive_until(end) == []
    assert ardupilot.end()["bad"] == 2


def test_two_clients_of_one_tcp_link_are_links_of_their_own(start):
    sim = start("--autopilot", "ardupilot", "--link", "tcp:127.0.0.1:0")
    host = sim.join(0, HOST)
    ground = sim.join(0, GROUND)
    until_relayed(ground, host)
    one, other = host.encode(extension(0)), ground.encode(extension(0))
    host.write(one[:9])
    ground.write(other[:9])
    host.write(one[9:])
    ground.write(other[9:])
    ground.receive_until(one)
    host.receive_until(other)


def test_tcp_and_pty_links_relay_to_each_other(start, tmp_path: Path):
    sim = start("--autopilot", "ardupilot", "--link", "tcp:127.0.0.1:0", "--link", f"pty:{tmp_path / 'tty'}")
    host, ground = meet(sim)
    assert host.send(extension(0)) == ground.receive_frame()
    assert ground.send(extension(0)) == host.receive_frame()


def test_client_that_does_not_read_loses_frames_and_the_others_none(start, tmp_path: Path):
    pty = f"pty:{tmp_path / 'tty'}"
    sim = start("--autopilot", "ardupilot", *["--link", "tcp:127.0.0.1:0"] * 2, "--link", pty)
    host, ground = meet(sim)
    lazy = sim.join(2, THIRD)
    until_relayed(lazy, host)
    until_relayed(host, ground)
    frames = [host.encode(extension(0, payload=b"x" * 249)) for _ in range(3000)]
    for first in range(0, len(frames), 100):
        part = frames[first : first + 100]
        host.write(b"".join(part))
        assert [ground.receive_frame() for _ in part] == part
    event = sim.process.wait_for_event("relay")
    assert event["dropped"] > 0
    # A queue of 256 KiB, what the kernel holds for a terminal, and no more.
    assert 256 * 1024 - 1000 < (3000 - sim.end()["dropped"]) * len(frames[0]) < 400 * 1024


# PX4


def test_px4_relays_from_and_to_links_with_forwarding_only(start, links: list[str]):
    sim = start("--autopilot", "px4", *links)
    host = sim.join(0, HOST)
    ground = sim.join(1, GROUND)
    for station in (host, ground):
        station.send(extension(0))
    assert ground.messages_until_heartbeats(2) == []
    assert host.messages_until_heartbeats(2) == []
    assert sim.end()["relayed"] == 0


def test_px4_forward_adds_the_link_it_names(start, tmp_path: Path):
    addresses = [f"pty:{tmp_path / name}" for name in "abc"]
    links = [part for address in addresses for part in ("--link", address)]
    sim = start("--autopilot", "px4", *links, "--forward", addresses[2])
    first = sim.join(0, HOST)
    second = sim.join(1, GROUND)
    third = sim.join(2, THIRD)
    first.receive_frame()  # the heartbeat of the third
    frame = first.send(extension(0))
    third.receive_until(frame)
    pause()
    answer = third.send(extension(0))
    assert first.receive_frame() == answer
    assert second.messages_until_heartbeats(1) == []


@pytest.mark.parametrize("version1", [False, True])
def test_px4_relays_to_all_byte_by_byte(version1: bool, px4: RelaySim):
    host, ground = meet(px4)
    silent = px4.join(2, THIRD, heard=False)
    pause()
    frame = host.send(extension(0), version1)
    assert ground.receive_frame() == frame
    assert silent.receive_frame() == frame


@pytest.mark.parametrize(
    ("target", "arrives"),
    [
        ((0, 0), True),
        ((255, 190), True),
        ((255, 0), True),
        ((255, 7), False),
        ((1, 1), False),
        ((77, 0), False),
    ],
)
def test_px4_relays_to_the_component_addressed(target: tuple[int, int], arrives: bool, px4: RelaySim):
    host, ground = meet(px4)
    pause()
    frame = host.send(extension(*target))
    pause()
    end = host.send_heartbeat()
    assert ground.receive_until(end) == ([frame] if arrives else [])


def test_px4_never_relays_data_messages(px4: RelaySim):
    host, ground = meet(px4)
    for size in DATA_SIZES:
        pause()
        host.send(data_message(size))
    pause()
    end = host.send(extension(0))
    assert ground.receive_until(end) == []
    assert px4.end()["lost"] == 0


def test_px4_drops_damaged_and_unknown_frames(px4: RelaySim):
    host, ground = meet(px4)
    damaged = bytearray(host.encode(extension(0)))
    damaged[-1] ^= 1
    pause()
    host.write(bytes(damaged) + bytes.fromhex("fd03000009 0205 fafaf9 010203 abcd"))
    pause()
    end = host.send(extension(0))
    assert ground.receive_until(end) == []
    assert px4.end()["bad"] == 2


@pytest.mark.alone  # a burst that is held up on its way is none any more
@pytest.mark.parametrize("count", [3, 10, 100])
def test_px4_passes_two_or_three_of_a_burst(count: int, px4: RelaySim):
    """On a machine that keeps the simulator waiting a burst may find room for more: the fewest of several
    tell what there is room for."""
    host, ground = meet(px4)
    passed = [count_passed_of_burst(host, ground, number, count) for number in range(5)]
    assert min(passed) in (2, 3)
    assert px4.end()["lost"] >= 5 * count - sum(passed)


def count_passed_of_burst(host: Station, ground: Station, number: int, count: int) -> int:
    burst = [host.encode(extension(0, payload=b"x" * 249)) for _ in range(count)]
    host.write(b"".join(burst))
    for _ in range(5):
        pause()
        end = host.send(extension(0, payload=f"end of {number}".encode()))
    return sum(frame in burst for frame in ground.receive_until(end))


def test_px4_passes_all_that_are_5_ms_apart(px4: RelaySim):
    host, ground = meet(px4)
    frames = []
    for _ in range(50):
        pause()
        frames.append(host.send(extension(0, payload=b"x" * 249)))
    assert [ground.receive_frame() for _ in frames] == frames
    assert px4.end()["lost"] == 0


def test_px4_tells_of_losses_as_they_happen(px4: RelaySim):
    host, _ = meet(px4)
    host.write(b"".join(host.encode(extension(0)) for _ in range(100)))
    assert px4.process.wait_for_event("relay")["lost"] > 0


# The program


@pytest.mark.parametrize("name", ["px4", "ardupilot"])
@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_signal_ends_it_with_0_and_a_note(name: str, number: signal.Signals, bin_dir: Path, tmp_path: Path):
    link = tmp_path / "autopilot"
    process = subprocess.Popen(
        [bin_dir / "noflailsten-sim", "--autopilot", name, "--link", f"pty:{link}"],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
    )
    assert process.stdout.readline() == f"listening on pty:{link}\n"
    process.send_signal(number)
    out, err = process.communicate(timeout=60)
    assert (process.returncode, out) == (0, "")
    assert err.startswith("noflailsten-sim: relayed 0 frames, lost 0 ")
    assert len(err.splitlines()) == 1
    assert not link.is_symlink()


def test_json_events_and_nothing_on_stderr(ardupilot: RelaySim):
    meet(ardupilot)
    last = ardupilot.end()
    events = [record["event"] for record in ardupilot.process.records]
    assert events == ["listening"] * 3 + ["client"] * 2 + ["relay"]
    assert ardupilot.process.log_lines == []
    assert {name: last[name] for name in ("lost", "dropped", "bad")} == {"lost": 0, "dropped": 0, "bad": 0}
    assert last["relayed"] >= 2


LINK = ["--link", "tcp:127.0.0.1:0"]


@pytest.mark.parametrize(
    ("arguments", "says"),
    [
        (LINK, "--autopilot px4|ardupilot"),
        (["--autopilot", "px4"], "--link"),
        (["--autopilot", "px5", *LINK], '"px5"'),
        (["--autopilot", "", *LINK], '""'),
        (["--autopilot", "px4", "--autopilot", "px4", *LINK], "one autopilot"),
        (["--autopilot", "px4", "--replay", "x.tlog", *LINK], "exclude each other"),
        (["--autopilot", "px4", "--speed", "0", *LINK], "--speed"),
        (["--autopilot", "px4", "--boot-delay", "soon", *LINK], "--boot-delay"),
        (["--replay", "x.tlog", "--wind", "3@90", *LINK], "--wind goes with --autopilot"),
        (["--autopilot", "px4", "--loop", *LINK], "--loop goes with --replay"),
        (["--autopilot", "px4", "--forward", "pty:x", *LINK], "no such --link"),
        (["--autopilot", "px4", "--forward", "x", *LINK], "no address"),
        (["--autopilot", "ardupilot", "--forward", LINK[1], *LINK], "--forward goes with --autopilot px4"),
        (["--replay", "x.tlog", "--forward", LINK[1], *LINK], "--forward goes with --autopilot px4"),
    ],
)
def test_wrong_arguments_are_one_line_and_exit_1(arguments: list[str], says: str, bin_dir: Path):
    assert_refused([bin_dir / "noflailsten-sim", *arguments], USAGE, says)


def test_link_that_cannot_be_opened_is_one_line_and_exit_4(bin_dir: Path, tmp_path: Path):
    address = f"pty:{tmp_path}/missing/tty"
    command = [bin_dir / "noflailsten-sim", "--autopilot", "px4", *LINK, "--link", address]
    assert_refused(command, LINK_FAILED, address)


def assert_refused(command: list, code: int, says: str) -> None:
    result = subprocess.run(command, capture_output=True, text=True, timeout=60)
    assert (result.returncode, result.stdout) == (code, "")
    assert len(result.stderr.splitlines()) == 1
    assert result.stderr.startswith("noflailsten-sim: ")
    assert says in result.stderr
