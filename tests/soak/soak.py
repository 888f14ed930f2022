# SPDX-License-Identifier: MIT
"""Host, simulated autopilot and ground stations under fifty times a real vehicle's traffic, with trouble, for
hours; then judges whether anything grew.

Usage: soak.py BINARIES HOURS FOLDER [SECONDS-between-samples] [SEED]
Exit codes: 0 passed, 1 failed, 2 usage, 3 not judged: interrupted, or sampled too seldom. If fewer hours are
asked for than it takes to judge growth, all but growth is judged.
"""

import csv
import json
import signal
import sys
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "e2e"))

import verdict  # noqa: E402
from chain import Chain  # noqa: E402
from program import Program  # noqa: E402
from resources import cpu_seconds, descriptors, memory, threads  # noqa: E402
from trouble import Traffic, Trouble  # noqa: E402

# For fifty times the bytes a second of the recorded ArduPilot, and of a PX4 on a line of 115200 baud. They
# are somewhat above fifty, as streams wait for whole steps of the simulated time and trouble takes its share.
SPEEDS = {"ardupilot": 58, "px4": 65}
PEAK_PERIOD_S = 0.5
RESOURCES_PERIOD_S = 1
RESOURCES_LATE_S = 15  # what was told before may hide what happens since
TROUBLE_PAUSE_S = 20
GROUND_PERIOD_S = 20
LAST_SIGNAL_S = 5
CALM_S = 20  # at the end: a silence is over, and what was lost is back
COLUMNS = (
    "seconds",
    "program",
    "rss_kb",
    "pss_kb",
    "anonymous_kb",
    "fds",
    "threads",
    "cpu_s",
    "timers",
    "objects",
    "heap_kb",
    "signals",
    "events",
)


class Peaks:
    """The most that was seen since the last sample: what lasts for less than the time between two is often
    missed, and then seen by chance late."""

    def __init__(self, program: Program):
        self.program = program
        self.values: dict[str, int] = {}
        self.heap_kb: int | str = ""

    def look(self) -> None:
        pid = self.program.pid
        now = {"fds": descriptors(pid), "threads": threads(pid)}
        counted = dict(self.program.last.get("resources", {}).get("resources", {}))
        self.heap_kb = counted.pop("heap_kb", "")  # what it is now: peaks tell nothing of a leak
        self.values = {
            name: max(value, self.values.get(name, 0)) for name, value in {**now, **counted}.items()
        }

    def take(self) -> dict[str, int]:
        taken, self.values = self.values, {}
        return taken


class Soak:
    def __init__(self, binaries: Path, seconds: float, folder: Path, period_s: float, seed: int):
        self.seconds = seconds
        self.folder = folder
        self.period_s = period_s
        self.begun = time.monotonic()
        self.interrupted = threading.Event()
        self.lock = threading.Lock()
        self.chains = []
        for autopilot, speed in SPEEDS.items():
            place = folder / autopilot
            place.mkdir(parents=True, exist_ok=True)
            self.chains.append(Chain(autopilot, speed, seed, binaries, place, ROOT / "tools" / "standins"))
        scale = min(1, seconds / 600)
        self.helpers = [
            helper
            for chain in self.chains
            for helper in (
                Trouble(chain, f"{seed} {chain.autopilot}", TROUBLE_PAUSE_S * scale, self.note),
                Traffic(chain, f"{seed} {chain.autopilot} traffic", GROUND_PERIOD_S * scale),
            )
        ]
        self.faults = (folder / "faults.csv").open("w", newline="")
        self.samples = (folder / "samples.csv").open("w", newline="")
        self.writer = csv.DictWriter(self.samples, COLUMNS, restval="")

    @property
    def programs(self) -> list[Program]:
        return [program for chain in self.chains for program in chain.programs]

    def elapsed(self) -> float:
        return time.monotonic() - self.begun

    def note(self, autopilot: str, fault: str) -> None:
        with self.lock:
            self.faults.write(f"{self.elapsed():.1f},{autopilot},{fault}\n")
            self.faults.flush()

    def run(self) -> dict:
        self.faults.write("seconds,autopilot,fault\n")
        self.writer.writeheader()
        try:
            for chain in self.chains:
                chain.start(RESOURCES_PERIOD_S)
            self.begun = time.monotonic()
            for helper in self.helpers:
                helper.start()
            died = self._watch(self.seconds)
            interrupted = self.interrupted.is_set()
            for helper in self.helpers:
                helper.stop()
            died = died or self._calm()
            return {**self._end(died), "interrupted": interrupted}
        finally:
            for chain in self.chains:
                chain.kill()

    def _watch(self, until: float) -> list[str]:
        """Samples until then. The programs that died, and what went wrong with the soak itself."""
        peaks = [Peaks(program) for program in self.programs]
        due = self.elapsed() + self.period_s
        while self.elapsed() < until and not self.interrupted.wait(PEAK_PERIOD_S):
            if wrong := self._wrong():
                return wrong
            try:
                for peak in peaks:
                    peak.look()
                if self.elapsed() >= due:
                    due += self.period_s
                    self._sample(peaks)
            except (OSError, LookupError):  # there is no more to read of a program that has just ended
                if not self._wrong():
                    raise
        return []

    def _wrong(self) -> list[str]:
        dead = [f"{program.name} has ended" for program in self.programs if not program.is_running()]
        late = [chain.host.name for chain in self.chains if chain.host.age("resources") > RESOURCES_LATE_S]
        dead += [f"{name} has not told its resources for {RESOURCES_LATE_S} s" for name in late]
        threads_ = [*self.helpers, *(chain.wire for chain in self.chains)]
        return dead + [f"{type(thread).__name__}: {thread.error}" for thread in threads_ if thread.error]

    def _sample(self, peaks: list[Peaks]) -> None:
        now = self.elapsed()
        for peak in peaks:
            program = peak.program
            row = {
                "seconds": f"{now:.1f}",
                "program": program.name,
                "cpu_s": f"{cpu_seconds(program.pid):.2f}",
                "signals": program.signals,
                "events": sum(program.events.values()),
                **vars(memory(program.pid)),
                "heap_kb": peak.heap_kb,
                **peak.take(),
            }
            self.writer.writerow(row)
        self.samples.flush()

    def _calm(self) -> list[str]:
        for chain in self.chains:
            chain.sim.say("fault none")
            chain.wire.ask("plug")
            chain.wire.ask("speak")
        time.sleep(min(CALM_S, max(10, self.seconds / 10)))
        return self._wrong()

    def _end(self, wrong: list[str]) -> dict:
        seconds = self.elapsed()
        hosts = [chain.host for chain in self.chains]
        quiet = [h.name for h in hosts if time.monotonic() - h.last_signal > LAST_SIGNAL_S]
        wrong = wrong + [f"{name} publishes nothing any more" for name in quiet]
        codes = {}
        for chain in self.chains:
            codes |= chain.end()
        wrong += [f"{name} ended with {code}" for name, code in codes.items() if code != 0]
        sends = {f"ground-send-{chain.autopilot}": dict(chain.oneshot_codes) for chain in self.chains}
        wrong += [
            f"{name} ended with {code}, {count} times"
            for name, counts in sends.items()
            for code, count in counts.items()
            if code != 0  # nothing that the soak does touches their link
        ]
        self.samples.close()
        return {
            "seconds": round(seconds),
            "wrong": wrong,
            "signals a second": {h.name: round(h.signals / seconds) for h in hosts},
            "bytes from the autopilot a second": {
                chain.autopilot: round(chain.wire.downwards / seconds) for chain in self.chains
            },
            "ends of ground stations that come and go": sends,
            "events": {program.name: dict(program.events) for program in self.programs},
        }


def report(result: dict, asked_s: float, folder: Path) -> int:
    """Prints and writes it. The exit code."""
    findings = verdict.judge(folder / "samples.csv")
    outcome = verdict.decide(findings, result["wrong"], result["interrupted"], asked_s)
    lines = verdict.lines(findings)
    lines += [f"{name}: {value}" for name, value in result.items() if name != "wrong"]
    lines += [f"WRONG: {what}" for what in result["wrong"]]
    text = "\n".join([*lines, outcome.text]) + "\n"
    (folder / "report.txt").write_text(text)
    told = {**result, "outcome": outcome.text, "good": outcome.code == 0}
    (folder / "result.json").write_text(json.dumps(told, indent=1) + "\n")
    print(text, end="", flush=True)
    return outcome.code


def main() -> int:
    if len(sys.argv) not in (4, 5, 6):
        print(__doc__, file=sys.stderr)
        return 2
    binaries, hours, folder = Path(sys.argv[1]), float(sys.argv[2]), Path(sys.argv[3]).resolve()
    period_s = float(sys.argv[4]) if len(sys.argv) > 4 else 10
    seed = int(sys.argv[5]) if len(sys.argv) > 5 else 1
    folder.mkdir(parents=True, exist_ok=True)
    seconds = hours * 3600
    soak = Soak(binaries.resolve(), seconds, folder, period_s, seed)
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: soak.interrupted.set())
    return report(soak.run(), seconds, folder)


if __name__ == "__main__":
    sys.exit(main())
