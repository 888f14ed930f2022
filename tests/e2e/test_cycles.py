# SPDX-License-Identifier: MIT
"""What takes the host's long periods: subscription every 10 s, silence after 5 s, nobody after 10 s.
All of it runs at once, and each test looks at its part."""

import math
import time
from collections.abc import Callable, Iterator
from concurrent.futures import Future, ThreadPoolExecutor
from dataclasses import dataclass, field
from itertools import takewhile

import pytest
from conftest import Hosts, make_link
from jsonprocess import TIMEOUT, JsonProcess

from autopilot import ARDUPILOT, PX4, Autopilot, attitude, heartbeat

LINKS = ("tcp", "serial")
KINDS = {"px4": PX4, "ardupilot": ARDUPILOT}
# Not 1/1: what is detected is what is addressed.
SOURCE = (17, 3)
HEARTBEAT_PERIOD = 0.5
STATUS = "DATA32"  # carries the altimeter status to the ground
REQUESTS = {"px4": "COMMAND_LONG", "ardupilot": "REQUEST_DATA_STREAM"}
TELEMETRY_RATE = 4
OURS_AFTER_SILENCE = 11


@dataclass
class Scene:
    host: JsonProcess
    autopilot: Autopilot
    openings: int = 0
    statuses: list[int] = field(default_factory=list)

    def end(self) -> None:
        """Notes what has happened so far: the host goes on while others play."""
        self.openings = len([line for line in self.host.log_lines if "Connected to autopilot" in line])
        self.statuses = self.host.values("autopilotStatus")


def play_until(scene: Scene, kind: int | None, done: Callable[[], bool]) -> None:
    """Sends heartbeats of this kind of autopilot and takes in what the host sends, until it is done."""
    deadline = time.monotonic() + TIMEOUT
    next_beat = 0.0
    while not done():
        now = time.monotonic()
        assert now < deadline, scene.host.story("The scene did not come to its end.")
        if kind and now >= next_beat:
            scene.autopilot.send(heartbeat(kind), source=SOURCE)
            next_beat = now + HEARTBEAT_PERIOD
        scene.autopilot.take_in(0.1)


def subscription(scene: Scene, kind: str) -> None:
    """One cycle, until the next heartbeat after it."""
    scene.autopilot.meet(scene.host)

    def is_over() -> bool:
        types = [message.get_type() for message in scene.autopilot.received]
        return REQUESTS[kind] in types and "HEARTBEAT" in types[types.index(REQUESTS[kind]) :]

    play_until(scene, KINDS[kind], is_over)


def statuses(scene: Scene) -> None:
    """No autopilot, then one, then none again."""
    scene.autopilot.meet(scene.host)
    scene.host.wait_for("autopilotStatus", lambda status: status == 1)
    scene.autopilot.send(heartbeat(PX4))
    scene.host.wait_for("autopilotStatus", lambda status: status == 2)
    scene.host.wait_for("autopilotStatus", lambda status: status != 2)


def silence(scene: Scene) -> None:
    """An autopilot that says nothing any more, until the host opens the link anew."""
    scene.autopilot.meet(scene.host)
    scene.autopilot.send(heartbeat(PX4))
    scene.host.wait_for("autopilotStatus", lambda status: status == 2)
    meet_again(scene)


def nobody(scene: Scene) -> None:
    """A peer without an autopilot, until the host opens the link anew."""
    scene.autopilot.meet(scene.host)
    meet_again(scene)


def meet_again(scene: Scene) -> None:
    scene.autopilot.meet(scene.host)
    scene.autopilot.send(heartbeat(PX4), attitude(2.5))
    scene.host.wait_for("roll", lambda roll: roll == 2.5)


def unwatched(scene: Scene) -> None:
    scene.autopilot.meet(scene.host)
    play_until(scene, None, lambda: heartbeats_in(scene) >= OURS_AFTER_SILENCE)


def heartbeats_in(scene: Scene) -> int:
    return sum(message.get_type() == "HEARTBEAT" for message in scene.autopilot.received)


@pytest.fixture(scope="module")
def scenes(tmp_path_factory: pytest.TempPathFactory) -> Iterator[dict[tuple, Future]]:
    folder = tmp_path_factory.mktemp("cycles")
    hosts = Hosts(folder)
    links = []

    def start(link_kind: str, name: str, **options) -> Scene:
        place = folder / f"{name}-{link_kind}"
        place.mkdir()
        link = make_link(link_kind, place)
        links.append(link)
        return Scene(hosts.start(link, **options), Autopilot(link))

    def run(action: Callable, scene: Scene, *arguments) -> Scene:
        action(scene, *arguments)
        scene.end()
        return scene

    with ThreadPoolExecutor(max_workers=16) as pool:
        futures = {}
        for link in LINKS:
            for kind in KINDS:
                scene = start(link, kind, MAV__TELEMETRY_RATE=TELEMETRY_RATE)
                futures[kind, link] = pool.submit(run, subscription, scene, kind)
            for action in statuses, unwatched:
                name = action.__name__
                futures[name, link] = pool.submit(run, action, start(link, name))
            for action in silence, nobody:
                name = action.__name__
                futures[name, link] = pool.submit(run, action, start(link, name, watched=True))
        scene = start("tcp", "rate 0", MAV__TELEMETRY_RATE=0)
        futures["rate 0", "tcp"] = pool.submit(run, subscription, scene, "px4")
        yield futures
    hosts.end()
    for link in links:
        link.close()


@pytest.fixture(params=LINKS)
def scene_of(request: pytest.FixtureRequest, scenes: dict) -> Callable[[str], Scene]:
    return lambda name: scenes[name, request.param].result()


def requests_in(scene: Scene, kind: str) -> list:
    """The messages of one cycle, which come with no others between them."""
    types = [message.get_type() for message in scene.autopilot.received]
    first = types.index(REQUESTS[kind])
    cycle = takewhile(lambda m: m.get_type() == REQUESTS[kind], scene.autopilot.received[first:])
    return [message.to_dict() for message in cycle]


def test_px4_is_asked_for_five_messages_three_times_each(scene_of):
    wanted = [(124.0, 250000.0), (33.0, 250000.0), (30.0, 250000.0), (2.0, 1000000.0), (132.0, 1000000.0)]
    expected = [
        {
            "mavpackettype": "COMMAND_LONG",
            "target_system": SOURCE[0],
            "target_component": 1,
            "command": 511,
            "confirmation": 0,
            "param1": message,
            "param2": interval,
            **{f"param{i}": 0.0 for i in range(3, 8)},
        }
        for message, interval in wanted
        for _ in range(3)
    ]
    assert requests_in(scene_of("px4"), "px4") == expected


def test_ardupilot_is_asked_for_four_streams_three_times_each(scene_of):
    expected = [
        {
            "mavpackettype": "REQUEST_DATA_STREAM",
            "target_system": SOURCE[0],
            "target_component": 1,
            "req_stream_id": stream,
            "req_message_rate": TELEMETRY_RATE,
            "start_stop": 1,
        }
        for stream in (6, 2, 10, 12)
        for _ in range(3)
    ]
    assert requests_in(scene_of("ardupilot"), "ardupilot") == expected


def test_a_rate_of_0_asks_px4_for_an_infinite_interval(scenes):
    intervals = [request["param2"] for request in requests_in(scenes["rate 0", "tcp"].result(), "px4")]
    assert intervals == [math.inf] * 9 + [1000000.0] * 6


@pytest.mark.parametrize("kind", KINDS)
def test_all_that_is_sent_is_numbered_in_one_row(scene_of, kind):
    messages = scene_of(kind).autopilot.received
    assert {message.get_type() for message in messages} == {"HEARTBEAT", REQUESTS[kind], STATUS}
    first = messages[0].get_seq()
    assert [message.get_seq() for message in messages] == [(first + i) % 256 for i in range(len(messages))]
    assert {(message.get_srcSystem(), message.get_srcComponent()) for message in messages} == {(2, 5)}


def test_the_status_tells_the_link_from_the_autopilot(scene_of):
    reported = scene_of("statuses").statuses
    changes = [status for i, status in enumerate(reported) if i == 0 or reported[i - 1] != status]
    assert changes == [0, 1, 2, 1]


@pytest.mark.parametrize("name", ["silence", "nobody"])
def test_a_link_where_no_autopilot_is_heard_is_opened_anew(scene_of, name):
    assert scene_of(name).openings >= 2


def test_nobody_is_asked_for_nothing_and_unwatched_links_stay(scene_of):
    scene = scene_of("unwatched")
    assert {message.get_type() for message in scene.autopilot.received} == {"HEARTBEAT", STATUS}
    assert scene.openings == 1
