# SPDX-License-Identifier: MIT
"""Trouble for one chain, one after the other, the same for the same seed."""

import random
import threading
from collections.abc import Callable

from chain import Chain

# Long enough for the host to notice, which takes it up to 7 s, and shorter than that.
SILENCES_S = (3, 9)
ABSENCES_S = (0.2, 5)
STEADY_S = 0.5
PAYLOADS_AT_A_TIME = 10
LARGE_PAYLOAD = 20_000


class Trouble(threading.Thread):
    def __init__(self, chain: Chain, seed: str, pause_s: float, note: Callable[[str, str], None]):
        super().__init__(daemon=True)
        self.chain = chain
        self.random = random.Random(seed)
        self.pause_s = pause_s
        self.note = note
        self.stopping = threading.Event()
        self.error: str | None = None
        self.unfinished = 0
        self.large = chain.folder / "payload"
        self.large.write_bytes(self.random.randbytes(LARGE_PAYLOAD))
        self.kinds = [name for name in sorted(dir(self)) if name.startswith("make_")]
        self.bag: list[str] = []

    def run(self) -> None:
        try:
            while self._wait(self.random.uniform(0.7, 1.3) * self.pause_s):
                kind = self._next_kind()
                self.note(self.chain.autopilot, kind.removeprefix("make_"))
                getattr(self, kind)()
        except Exception as error:  # without it the soak would go on and show nothing
            self.error = repr(error)
            raise

    def stop(self) -> None:
        self.stopping.set()
        self.join()

    def _next_kind(self) -> str:
        """Each once, in random order, and then again: no part of the time goes without one of them."""
        if not self.bag:
            self.bag = self.random.sample(self.kinds, len(self.kinds))
        return self.bag.pop()

    def _wait(self, seconds: float) -> bool:
        return not self.stopping.wait(seconds)

    def _for_a_while(self, *lines: str) -> None:
        self.chain.sim.say(*lines)
        self._wait(self.random.uniform(2, 8))
        self.chain.sim.say("fault none")

    def make_frames_lost(self) -> None:
        self._for_a_while(f"fault loss {self.random.choice([0.01, 0.1, 0.5])}")

    def make_frames_corrupted(self) -> None:
        self._for_a_while(f"fault corrupt {self.random.choice([0.01, 0.1, 0.5])}")

    def make_latency(self) -> None:
        self._for_a_while(f"fault latency {self.random.randint(20, 300)}")

    def make_stall(self) -> None:
        self.chain.sim.say(f"fault stall {self.random.randint(1, 3)}")

    def make_link_closed(self) -> None:
        self.chain.wire.ask("drop")

    def make_link_reset(self) -> None:
        self.chain.wire.ask("drop", True)

    def make_link_absent(self) -> None:
        self.chain.wire.ask("unplug")
        self._wait(self.random.uniform(*ABSENCES_S))
        self.chain.wire.ask("plug")

    def make_silence(self) -> None:
        self.chain.wire.ask("silence")
        self._wait(self.random.choice(SILENCES_S))
        self.chain.wire.ask("speak")

    def make_autopilot_restart(self) -> None:
        self.chain.sim.say("reboot")

    def make_unfinished_payloads(self) -> None:
        count = self.random.randint(10, 60)
        self.chain.send_unfinished(self.unfinished, count)
        self.unfinished += count

    def make_large_payload(self) -> None:
        self.chain.host.say(f"send 3 254 @{self.large}")

    def make_settings_changed(self) -> None:
        period = self.random.choice([50, 200, 1000])
        self.chain.host.say(f"set APP STATUS_PERIOD_MS {period}", "set MAV TELEMETRY_RATE 5")
        self._wait(self.random.uniform(1, 5))
        self.chain.host.say("set APP STATUS_PERIOD_MS 100", "set MAV TELEMETRY_RATE 10")


class Traffic(threading.Thread):
    """Payloads of the host and of the ground, all the time."""

    def __init__(self, chain: Chain, seed: str, ground_period_s: float):
        super().__init__(daemon=True)
        self.chain = chain
        self.random = random.Random(seed)
        self.ground_every = max(1, round(ground_period_s / STEADY_S))
        self.stopping = threading.Event()
        self.error: str | None = None

    def run(self) -> None:
        turn = 0
        try:
            while not self.stopping.wait(STEADY_S):
                sizes = [self.random.randint(1, 400) for _ in range(PAYLOADS_AT_A_TIME)]
                self.chain.host.say(*(f"send 3 254 text:{'h' * size}" for size in sizes))
                turn += 1
                if turn % self.ground_every == 0:
                    self.chain.send_from_ground(self.random.randint(1, 2000))
        except Exception as error:
            self.error = repr(error)
            raise

    def stop(self) -> None:
        self.stopping.set()
        self.join()
