# SPDX-License-Identifier: MIT
"""Autopilots that reboot, change who they are, or are two. It takes the host's long periods, so all run
at once."""

import time
from collections.abc import Callable, Iterator
from concurrent.futures import Future, ThreadPoolExecutor
from dataclasses import dataclass, field

import pytest
from conftest import Hosts, make_link
from jsonprocess import TIMEOUT, JsonProcess
from onboardrules import HostRules, assert_published, published_by
from pymavlink.dialects.v20 import ardupilotmega as mavlink

from autopilot import ARDUPILOT, PX4, Autopilot, gps_raw, heartbeat

PERIOD = 0.1
HEARTBEAT_PERIOD = 1.0
REBOOT_SECONDS = 3
STRAY = b"0 0 0 "
REQUESTS = {PX4: "COMMAND_LONG", ARDUPILOT: "REQUEST_DATA_STREAM"}
SUBSCRIPTION = {PX4: 15, ARDUPILOT: 12}  # messages
FIRST, SECOND = (1, 1), (9, 1)


@dataclass
class Voice:
    """One autopilot on the line."""

    kind: int
    source: tuple[int, int]
    streaming: bool = True
    booted: float = field(default_factory=time.monotonic)
    next_heartbeat: float = 0.0
    sent: int = 0

    def messages(self) -> list:
        now = time.monotonic()
        found = []
        if now >= self.next_heartbeat:
            self.next_heartbeat = now + HEARTBEAT_PERIOD
            found = [heartbeat(self.kind), gps_raw(3, 470_000_000, 80_000_000)]
        if self.streaming:
            self.sent += 1
            boot_ms = int((now - self.booted) * 1000)
            roll = self.source[0] * 100_000 + self.sent
            found.append(mavlink.MAVLink_attitude_message(boot_ms, roll, 0, 0, 0, 0, 0))
            place = (470_000_000 + self.sent, 80_000_000, 500_000, self.sent, 0, 0, 0, 0)
            found.append(mavlink.MAVLink_global_position_int_message(boot_ms, *place))
        return found


@dataclass
class Scene:
    host: JsonProcess
    autopilot: Autopilot
    rules: HostRules = field(default_factory=HostRules)
    losses: list[str] = field(default_factory=list)  # of the link, until the scene's end

    def meet(self) -> None:
        self.autopilot.meet(self.host)

    def speak(self, *voices: Voice) -> None:
        """All of them once, and the host is listened to for a while."""
        for voice in voices:
            for message in voice.messages():
                frame = self.autopilot.encode(message, voice.source)
                self.autopilot.link.write(frame)
                self.rules.take(mavlink.MAVLink(None).decode(bytearray(frame)))
        self.autopilot.take_in(PERIOD)

    def speak_until(self, done: Callable[[], bool], *voices: Voice) -> None:
        deadline = time.monotonic() + TIMEOUT
        while not done():
            assert time.monotonic() < deadline, self.host.story("The scene did not come to its end.")
            self.speak(*voices)

    def requests(self, kind: int) -> list:
        return [m for m in self.autopilot.received if m.get_type() == REQUESTS[kind]]

    def speak_until_asked(self, kind: int, *voices: Voice) -> None:
        wanted = len(self.requests(kind)) + SUBSCRIPTION[kind]
        self.speak_until(lambda: len(self.requests(kind)) >= wanted, *voices)

    def is_lost(self) -> bool:
        self.losses = [r["reason"] for r in self.host.records if r.get("event") == "link-lost"]
        return self.losses != []

    def settle(self) -> None:
        """Whatever was sent before has been published. The host goes on while others play."""
        self.is_lost()
        count = len(self.rules.published)
        deadline = time.monotonic() + TIMEOUT
        while len(published_by(self.host)) < count and time.monotonic() < deadline:
            self.host.wait_for("autopilotStatus")


def reboots(scene: Scene) -> None:
    """It forgets its streams, its clock begins anew, the line carries a few stray bytes."""
    scene.meet()
    voice = Voice(ARDUPILOT, FIRST, streaming=False)
    scene.speak_until_asked(ARDUPILOT, voice)
    voice.streaming = True
    scene.speak_until(lambda: voice.sent >= 5, voice)
    silent_until = time.monotonic() + REBOOT_SECONDS
    scene.speak_until(lambda: time.monotonic() > silent_until)
    scene.autopilot.link.write(STRAY)
    voice = Voice(ARDUPILOT, FIRST, streaming=False)
    scene.speak_until_asked(ARDUPILOT, voice)
    voice.streaming = True
    scene.speak_until(lambda: voice.sent >= 5, voice)


def changes_its_id(scene: Scene) -> None:
    """The old one is never heard again; the line is opened anew, and stays with it."""
    scene.meet()
    voice = Voice(PX4, FIRST)
    scene.speak_until(lambda: voice.sent >= 5, voice)
    other = Voice(PX4, SECOND)
    scene.speak_until(scene.is_lost, other)
    scene.meet()
    scene.speak_until(lambda: len(scene.host.values("autopilotStatus")) > 5, other)


def answers_as_the_other_kind(scene: Scene) -> None:
    scene.meet()
    voice = Voice(PX4, FIRST)
    scene.speak_until(lambda: voice.sent >= 5, voice)
    voice.kind = ARDUPILOT
    scene.speak_until_asked(PX4, voice)


def are_two(scene: Scene) -> None:
    """The second goes on when the first falls silent."""
    scene.meet()
    first, second = Voice(ARDUPILOT, FIRST), Voice(PX4, SECOND)
    scene.speak_until_asked(ARDUPILOT, first, second)
    scene.speak_until(scene.is_lost, second)


def is_one_with_two_components(scene: Scene) -> None:
    scene.meet()
    autopilot, companion = Voice(PX4, FIRST), Voice(ARDUPILOT, (FIRST[0], 191))
    scene.speak_until_asked(PX4, autopilot, companion)


ACTS = [reboots, changes_its_id, answers_as_the_other_kind, are_two, is_one_with_two_components]


@pytest.fixture(scope="module")
def futures(tmp_path_factory) -> Iterator[dict[tuple, Future]]:
    folder = tmp_path_factory.mktemp("autopilots")
    hosts = Hosts(folder)
    links = []

    def run(act: Callable, scene: Scene) -> Scene:
        act(scene)
        scene.settle()
        return scene

    with ThreadPoolExecutor(max_workers=2 * len(ACTS)) as pool:
        played = {}
        for kind in "tcp", "serial":
            for act in ACTS:
                place = folder / f"{act.__name__}-{kind}"
                place.mkdir()
                links.append(make_link(kind, place))
                scene = Scene(hosts.start(links[-1], watched=True), Autopilot(links[-1]))
                played[act, kind] = pool.submit(run, act, scene)
        yield played
    hosts.end()
    for link in links:
        link.close()


@pytest.fixture(params=["tcp", "serial"])
def scene_of(request, futures) -> Callable[[Callable], Scene]:
    return lambda act: futures[act, request.param].result()


@pytest.mark.parametrize("act", ACTS)
def test_what_is_published_is_that_of_the_first_autopilot(scene_of, act):
    scene = scene_of(act)
    assert_published(scene.host, scene.rules)
    rolls = scene.host.values("roll")
    assert rolls and all(roll // 100_000 == FIRST[0] for roll in rolls)


def test_autopilot_that_reboots_is_asked_anew_over_the_same_link(scene_of):
    scene = scene_of(reboots)
    assert len(scene.requests(ARDUPILOT)) >= 2 * SUBSCRIPTION[ARDUPILOT]
    assert scene.losses == []
    rolls = scene.host.values("roll")
    assert rolls.count(rolls[0]) == 2  # it began again


def test_autopilot_that_changes_its_id_is_looked_for_under_the_old_one(scene_of):
    scene = scene_of(changes_its_id)
    assert scene.losses[0] == "autopilot silent"
    assert scene.host.values("autopilotStatus")[-1] == 1
    assert [line for line in scene.host.log_lines if "[AP] Autopilot systemid" in line] == [
        "[AP] Autopilot systemid detected  1"
    ]


def test_autopilot_that_answers_as_the_other_kind_is_asked_as_before(scene_of):
    scene = scene_of(answers_as_the_other_kind)
    assert scene.requests(ARDUPILOT) == []
    assert scene.losses == []


def test_second_autopilot_is_asked_for_nothing_and_does_not_stand_in_for_the_first(scene_of):
    scene = scene_of(are_two)
    assert {request.target_system for request in scene.requests(ARDUPILOT)} == {FIRST[0]}
    assert scene.requests(PX4) == []
    assert scene.losses[0] == "autopilot silent"


def test_second_component_that_claims_to_be_an_autopilot_changes_nothing(scene_of):
    scene = scene_of(is_one_with_two_components)
    assert scene.requests(ARDUPILOT) == []
    assert scene.losses == []
