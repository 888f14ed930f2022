# SPDX-License-Identifier: MIT
"""A simulated autopilot, the wire, the host, and the ground stations on the autopilot's other link."""

import contextlib
import os
import socket
import subprocess
import time
from collections import Counter
from collections.abc import Callable
from pathlib import Path

import onboard
from program import Program
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from wire import SerialEnd, TcpEnd, Wire

START_S = 30
GROUND = (254, 190)  # that of the broken payloads
PING_INTERVAL_S = 0.02
FRAME_PAUSE_S = 0.005
# What the PX4 believes of its links, and slows its streams down to.
PX4_BAUD = 115200


def environment(folder: Path, standins: Path) -> dict[str, str]:
    """Stand-ins for `date` and `nmcli` come first: the clock of the machine is not the soak's to set."""
    kept = {name: value for name, value in os.environ.items() if not name.startswith("NOFLAILSTEN_")}
    kept["PATH"] = f"{standins}{os.pathsep}{kept['PATH']}"
    kept["NOFLAILSTEN_STANDIN_LOG"] = str(folder / "stand-ins.log")
    # The C library counts the freed pieces that it keeps at hand as in use, and gathers them for hours.
    kept["GLIBC_TUNABLES"] = "glibc.malloc.tcache_count=0"
    return kept


def wait_until(condition: Callable[[], bool], what: str) -> None:
    deadline = time.monotonic() + START_S
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError(f"{what} did not come in {START_S} s")
        time.sleep(0.05)


def write_settings(path: Path, settings: dict) -> Path:
    lines = ["[APP]", "STATUS_PERIOD_MS=100", "[MAV]", "V2_EXTENSION=true"]
    lines += [f"{key.removeprefix('MAV/')}={value}" for key, value in settings.items()]
    path.write_text("\n".join(lines) + "\n")
    return path


class Chain:
    def __init__(self, autopilot: str, speed: int, seed: int, binaries: Path, folder: Path, standins: Path):
        self.autopilot = autopilot
        self.speed = speed
        self.seed = seed
        self.binaries = binaries
        self.folder = folder
        self.environment = environment(folder, standins)
        self.programs: list[Program] = []
        self.oneshots: list[subprocess.Popen] = []
        self.oneshot_codes: Counter[int] = Counter()

    def start(self, resources_s: float) -> None:
        self.sim = self._start("sim", *self._sim_arguments())
        wait_until(lambda: len(self.sim.listening) == 2, "the simulator's links")
        host_side, self.ground_address = (address.split(":") for address in self.sim.listening)
        end = TcpEnd() if self.autopilot == "ardupilot" else SerialEnd(self.folder / "autopilot-port")
        self.wire = Wire((host_side[1], int(host_side[2])), end)
        self.wire.start()
        config = write_settings(self.folder / f"{self.autopilot}.ini", end.settings)
        self.host = self._start("host", "--config", config, "--script", "-", "--resources", resources_s)
        wait_until(lambda: self.host.signals > 100, "the host's signals")
        ground = ("--connect", ":".join(self.ground_address))
        # A pace of 5 ms is that of a real autopilot; this one lives faster.
        pace = ("--pace", "0" if self.autopilot == "ardupilot" else "1")
        self.ping = self._start("ground", *ground, *pace, "-i", PING_INTERVAL_S, "ping", suffix="-ping")
        self.watch = self._start("ground", *ground, "watch", suffix="-watch")

    def _sim_arguments(self) -> list:
        link = ["--link", "tcp:127.0.0.1:0"]
        arguments = ["--autopilot", self.autopilot, "--speed", self.speed, "--seed", self.seed, *link, *link]
        return arguments + (["--forward", link[1], "--baud", PX4_BAUD] if self.autopilot == "px4" else [])

    def _start(self, program: str, *arguments, suffix: str = "") -> Program:
        command = [self.binaries / f"noflailsten-{program}", "--json", *arguments]
        name = f"{program}{suffix}-{self.autopilot}"
        started = Program(name, command, self.environment, self.folder)
        self.programs.append(started)
        return started

    def send_from_ground(self, size: int) -> None:
        """By a ground station of its own, which comes and goes."""
        self._gather_oneshots()
        command = [
            self.binaries / "noflailsten-ground",
            "--connect",
            ":".join(self.ground_address),
            "--quiet",
        ]
        arguments = ["--system-id", "253", "--no-ping", "send", "3", "254", "text:" + "g" * size]
        with (self.folder / f"ground-send-{self.autopilot}.log").open("ab") as log:
            self.oneshots.append(
                subprocess.Popen(
                    [*map(str, command), *arguments],
                    env=self.environment,
                    stdin=subprocess.DEVNULL,
                    stdout=log,
                    stderr=log,
                    process_group=0,
                )
            )

    def _gather_oneshots(self) -> None:
        self.oneshot_codes.update(code for process in self.oneshots if (code := process.poll()) is not None)
        self.oneshots = [process for process in self.oneshots if process.returncode is None]

    def end_oneshots(self) -> None:
        """They end by themselves; one that does not is killed, as its code then tells."""
        deadline = time.monotonic() + START_S
        for process in self.oneshots:
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.wait(max(0, deadline - time.monotonic()))
        self._kill_oneshots()
        self._gather_oneshots()

    def _kill_oneshots(self) -> None:
        for process in self.oneshots:
            if process.poll() is None:
                process.kill()
                process.wait()

    def send_unfinished(self, first_id: int, count: int) -> None:
        """Payloads of which only the first fragment comes."""
        encoder = mavlink.MAVLink(None, *GROUND)
        frames = [mavlink.MAVLink_heartbeat_message(6, 8, 0, 0, 0, 3)]
        for number in range(count):
            fragment = onboard.Fragment(60_000, (first_id + number) % 65536, 0, 3, 254, b"u" * onboard.CHUNK)
            frames.append(onboard.to_v2_extension(onboard.pack_frame(onboard.DATA, fragment.pack())))
        address = (self.ground_address[1], int(self.ground_address[2]))
        with socket.create_connection(address, START_S) as ground:
            for frame in frames:
                ground.sendall(frame.pack(encoder))
                encoder.seq = (encoder.seq + 1) % 256
                time.sleep(FRAME_PAUSE_S)

    def end(self) -> dict[str, int | None]:
        """The exit codes; from the ends to the middle, as each notices when its peer goes."""
        self.end_oneshots()
        codes = {program.name: program.end() for program in (self.ping, self.watch, self.host)}
        self.wire.ask("stop")
        self.wire.join(START_S)
        return codes | {self.sim.name: self.sim.end()}

    def kill(self) -> None:
        for program in self.programs:
            if program.is_running():
                program.process.kill()
                program.process.wait()
        self._kill_oneshots()
