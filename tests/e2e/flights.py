# SPDX-License-Identifier: MIT
"""A simulated vehicle with its operator, the hosts that fly it, and what others see of the flight."""

import contextlib
import math
import select
import socket
import threading
from collections.abc import Callable, Iterator
from pathlib import Path

from conftest import program_environment, write_config
from jsonprocess import TIMEOUT, JsonProcess
from pymavlink.dialects.v20 import ardupilotmega as mavlink
from relaylinks import AUTOPILOT, GROUND, Station, source_of

SPEED = 5
POSITIONS = 6  # a stream of an ArduPilot


class Flight:
    """Hosts are on the vehicle's first link, which may be tapped; the second is for others."""

    def __init__(
        self,
        bin_dir: Path,
        folder: Path,
        kind: str,
        autopilot: str,
        speed: int = SPEED,
        boot_delay: int = 5,
        tapped: bool = False,
    ):
        self.bin_dir = bin_dir
        self.folder = folder
        self.processes: list[JsonProcess] = []
        self.tap: Tap | None = None
        self.observers: list[Observer] = []
        link = "tcp:127.0.0.1:0" if kind == "tcp" else f"pty:{folder / 'host-port'}"
        links = ["--link", link, "--link", "tcp:127.0.0.1:0"]
        boot = ["--autopilot", autopilot, "--boot-delay", boot_delay, "--speed", speed]
        self.sim = self.start("noflailsten-sim", *boot, *links)
        self.addresses = [self.sim.wait_for_event("listening")["address"] for _ in range(2)]
        self.host_address = self.addresses[0]
        if tapped:
            self.tap = Tap(self.host_address)
            self.host_address = self.tap.address

    def start(self, program: str, *arguments) -> JsonProcess:
        command = [self.bin_dir / program, *arguments, "--json"]
        process = JsonProcess(command, program_environment(self.folder))
        self.processes.append(process)
        return process

    def write_host_config(self) -> Path:
        kind, device, parameter = ("UART", self.host_address.removeprefix("pty:"), "921600")
        if self.host_address.startswith("tcp"):
            kind = "TCP"
            _, device, parameter = self.host_address.split(":")
        settings = {
            "MAV/CONNECTION_TYPE": kind,
            "MAV/SERIAL_DEVICE": device,
            "MAV/BAUD_RATE": parameter,
            "MAV/V2_EXTENSION": "true",
        }
        return write_config(self.folder / "host.ini", settings)

    def start_host(self, *arguments) -> JsonProcess:
        """It has heard the vehicle. A link that falls silent on a slow machine is not opened again."""
        config = self.write_host_config()
        host = self.start("noflailsten-host", "--config", config, "--no-reconnect", *arguments)
        host.wait_for("virtualStick.statusChanged")
        return host

    def observe(self) -> "Observer":
        self.observers.append(Observer(self.addresses[1]))
        return self.observers[-1]

    def wait_for_fix(self) -> None:
        """The first position that a host hears is its origin, and before the fix it is zero."""
        self.observe().until(lambda position: position.lat != 0)

    def wait_for_mode(self, name: str) -> None:
        self.sim.wait_for_record(lambda record: record["event"] == "mode" and record["mode"] == name)

    def modes(self) -> list[str]:
        return [record["mode"] for record in self.sim.records if record["event"] == "mode"]

    def end(self) -> None:
        for observer in self.observers:
            observer.station.close()
        for process in reversed(self.processes):
            was_running = process.is_running()
            process.ask_to_end()
            code = process.wait_for_end()
            assert code == 0 or not was_running, process.story(f"Asked to end, it ended with {code}.")


class Tap:
    """Stands between a host and the vehicle, and keeps what the host says."""

    def __init__(self, vehicle: str):
        self.vehicle = vehicle
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.address = f"tcp:127.0.0.1:{self.listener.getsockname()[1]}"
        self.said = bytearray()
        self.thread = threading.Thread(target=self._run, daemon=True)
        self.thread.start()

    def messages(self, name: str) -> list:
        """All that the host has sent; it has ended."""
        self.thread.join(TIMEOUT)
        assert not self.thread.is_alive()
        messages = mavlink.MAVLink(None).parse_buffer(bytes(self.said)) or []
        return [message for message in messages if message.get_type() == name]

    def last_velocity(self) -> tuple[float, ...]:
        """North, east, down, yaw rate."""
        last = self.messages("SET_POSITION_TARGET_LOCAL_NED")[-1]
        assert (last.coordinate_frame, last.type_mask) == (1, 1991)
        return last.vx, last.vy, last.vz, last.yaw_rate

    def _run(self) -> None:
        with self.listener:
            host, _ = self.listener.accept()
        _, device, port = self.vehicle.split(":")
        with host, socket.create_connection((device, int(port))) as vehicle, contextlib.suppress(OSError):
            self._carry(host, vehicle)

    def _carry(self, host: socket.socket, vehicle: socket.socket) -> None:
        while True:
            for end in select.select([host, vehicle], [], [])[0]:
                data = end.recv(65536)
                if not data:
                    return
                if end is host:
                    self.said += data
                (vehicle if end is host else host).sendall(data)


class Observer:
    """A ground station, which asks for positions of its own."""

    def __init__(self, address: str):
        self.station = Station(address, GROUND)
        self.station.receive_heartbeat()
        self.station.send_heartbeat()
        self.station.send(mavlink.MAVLink_request_data_stream_message(1, 1, POSITIONS, 10, 1))

    def until(self, wanted: Callable):
        """The next such position."""
        return self._receive("GLOBAL_POSITION_INT", wanted)

    def until_it_hovers(self) -> None:
        """For two seconds of the vehicle's, in the air and in its guided mode."""
        begin = self.until(lambda position: speed_of(position) < 0.3)
        assert begin.relative_alt > 3000
        position = begin
        while position.time_boot_ms < begin.time_boot_ms + 2000:
            position = self.until(lambda position: True)
            assert speed_of(position) < 0.6
        heartbeat = self._receive("HEARTBEAT")
        assert heartbeat.base_mode & mavlink.MAV_MODE_FLAG_SAFETY_ARMED
        assert heartbeat.custom_mode == mavlink.COPTER_MODE_GUIDED

    def _receive(self, name: str, wanted: Callable = lambda message: True):
        def matches(message) -> bool:
            return source_of(message) == AUTOPILOT and message.get_type() == name and wanted(message)

        return self.station.receive(matches)


def speed_of(position) -> float:
    return math.hypot(position.vx, position.vy, position.vz) / 100


@contextlib.contextmanager
def flights(bin_dir: Path, folder: Path) -> Iterator[Callable[..., Flight]]:
    """Begins flights, and ends them all."""
    begun = []

    def fly(*arguments, **options) -> Flight:
        begun.append(Flight(bin_dir, folder, *arguments, **options))
        return begun[-1]

    yield fly
    for flight in begun:
        flight.end()
