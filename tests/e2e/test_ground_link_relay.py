# SPDX-License-Identifier: MIT
"""The whole way: host - simulated autopilot - ground, which is noflailsten-ground or pymavlink."""

import onboard
import pytest
from conftest import program_environment, write_config
from jsonprocess import JsonProcess
from relaylinks import Station, source_of

KINDS = ["tcp", "pty"]


class Chain:
    """A simulated autopilot, a host on its first link; grounds come and go on the second."""

    def __init__(self, bin_dir, folder, kind: str):
        self.bin_dir = bin_dir
        self.folder = folder
        self.kind = kind
        self.processes: list[JsonProcess] = []
        self.addresses: list[str] = []

    def start(self, program: str, *arguments) -> JsonProcess:
        command = [self.bin_dir / program, *arguments, "--json"]
        process = JsonProcess(command, program_environment(self.folder))
        self.processes.append(process)
        return process

    def start_sim(self, autopilot: str) -> JsonProcess:
        if self.kind == "tcp":
            links = ["tcp:127.0.0.1:0"] * 2
        else:
            links = [f"pty:{self.folder / name}" for name in ("host-port", "ground-port")]
        arguments = ["--autopilot", autopilot]
        for link in links:
            arguments += ["--link", link]
            if autopilot == "px4":
                arguments += ["--forward", link]
        sim = self.start("noflailsten-sim", *arguments)
        self.addresses = [sim.wait_for_event("listening")["address"] for _ in links]
        return sim

    def port(self, link: int) -> tuple[str, str]:
        """Device and baud rate, or host and port."""
        if self.kind == "tcp":
            _, host, port = self.addresses[link].split(":")
            return host, port
        return self.addresses[link].removeprefix("pty:"), "57600"

    def start_host(self, v2: bool, status_period_ms: int = 100) -> JsonProcess:
        device, parameter = self.port(0)
        settings = {
            "MAV/CONNECTION_TYPE": "TCP" if self.kind == "tcp" else "UART",
            "MAV/SERIAL_DEVICE": device,
            "MAV/BAUD_RATE": parameter,
            "MAV/V2_EXTENSION": str(v2).lower(),
            "APP/STATUS_PERIOD_MS": status_period_ms,
        }
        config = write_config(self.folder / "host.ini", settings)
        host = self.start("noflailsten-host", "--config", config, "--script", "-")
        host.wait_for("autopilotStatus", lambda status: status == 2)
        return host

    def start_ground(self, *command) -> JsonProcess:
        device, parameter = self.port(1)
        address = f"tcp:{device}:{parameter}" if self.kind == "tcp" else f"{device},{parameter}"
        return self.start("noflailsten-ground", "--connect", address, *command)

    def wait_until_heard(self) -> None:
        """Until the autopilot has heard the host, whose first heartbeat takes a second, and relays to it."""
        assert any(
            self.start_ground("-c", "1", "--timeout", "0.3", "ping").wait_for_end() == 0 for _ in range(50)
        )

    def end(self) -> None:
        for process in reversed(self.processes):
            was_running = process.is_running()
            process.ask_to_end()
            code = process.wait_for_end()
            assert code == 0 or not was_running, process.story(f"Asked to end, it ended with {code}.")
            assert code >= 0, process.story("It crashed.")


@pytest.fixture(params=KINDS)
def chain(request, bin_dir, tmp_path):
    made = Chain(bin_dir, tmp_path, request.param)
    yield made
    made.end()


def pattern(size: int) -> bytes:
    return bytes(i * 7 % 251 for i in range(size))


def watch(chain) -> JsonProcess:
    watcher = chain.start_ground("watch")
    watcher.wait_for_event("payload")  # an altimeter status: the way is open
    return watcher


def send(chain, host, data: bytes) -> None:
    path = chain.folder / "payload"
    path.write_bytes(data)
    host.write_line(f"send 3 254 @{path}")
    host.wait_for_event("sent")


def hints(host) -> list[str]:
    return [record["message"] for record in host.records if record.get("event") == "hint"]


def next_payload(watcher) -> dict:
    return watcher.wait_for_record(lambda r: r.get("event") == "payload" and r["payloadId"] == 254)


@pytest.mark.parametrize("autopilot", ["ardupilot", "px4"])
def test_pings_go_round(chain, autopilot):
    chain.start_sim(autopilot)
    chain.start_host(v2=True)
    chain.wait_until_heard()
    ground = chain.start_ground("-c", "5", "-i", "0.2", "ping")
    assert ground.wait_for_end() == 0
    summary = ground.records[-1]
    assert (summary["sent"], summary["received"]) == (5, 5)
    assert 0 < summary["minMs"] <= summary["medianMs"] <= summary["maxMs"]
    assert {r["version"] for r in ground.records if r["event"] == "pong"} == {"0.2"}


# A PX4 has room for two frames: at the usual pace a simulator that is held up for 20 ms loses one of 745.
@pytest.mark.parametrize(("autopilot", "pace"), [("ardupilot", "5"), ("px4", "20")])
def test_largest_payload_reaches_the_host(chain, autopilot, pace):
    chain.start_sim(autopilot)
    host = chain.start_host(v2=True)
    chain.wait_until_heard()
    path = chain.folder / "to-host"
    path.write_bytes(pattern(65535))
    ground = chain.start_ground("--pace", pace, "send", "3", "200", f"@{path}")
    assert ground.wait_for_end() == 0
    assert ground.records[-1]["fragments"] == 745
    received = host.wait_for("communicator.receivedData")
    assert (received["messageId"], received["payloadId"]) == (3, 200)
    assert received["data"] == pattern(65535).hex()


def test_altimeter_status_is_decoded(chain):
    chain.start_sim("ardupilot")
    chain.start_host(v2=True)
    status = watch(chain).wait_for_event("payload")
    assert (status["messageId"], status["payloadId"], status["size"]) == (1, 4, 7)
    assert status["altimeter"] == {"value": 0, "status": 4}


@pytest.mark.parametrize("size", [1, 176, 177, 20_000])
def test_ardupilot_brings_payloads_whole_to_the_ground(chain, size):
    chain.start_sim("ardupilot")
    host = chain.start_host(v2=True)
    watcher = watch(chain)
    send(chain, host, pattern(size))
    assert next_payload(watcher)["data"] == pattern(size).hex()


def test_px4_brings_two_fragments_whole_and_no_more(chain):
    chain.start_sim("px4")
    host = chain.start_host(v2=True, status_period_ms=1000)
    watcher = watch(chain)
    send(chain, host, pattern(20_000))
    assert "up to 176 bytes" in hints(host)[0]
    # Statuses and heartbeats, once a second, take room in the buffer too: the payload goes between them.
    watcher.wait_for_event("payload")
    host.write_line("wait 0.3")
    send(chain, host, pattern(176))
    assert next_payload(watcher)["data"] == pattern(176).hex()


def test_ardupilot_brings_data_messages_up_to_84_bytes(chain):
    chain.start_sim("ardupilot")
    host = chain.start_host(v2=False)
    watcher = watch(chain)
    for size in 89, 85, 84:
        send(chain, host, pattern(size))
    assert next_payload(watcher)["data"] == pattern(84).hex()


def test_px4_brings_no_data_messages(chain):
    chain.start_sim("px4")
    host = chain.start_host(v2=False)
    assert "does not relay DATA" in hints(host)[0]
    ground = chain.start_ground("-c", "1", "--timeout", "0.5", "ping")
    assert ground.wait_for_end() == 5
    host.write_line("set MAV V2_EXTENSION true")
    chain.wait_until_heard()


def test_pymavlink_is_a_ground_too(chain):
    chain.start_sim("ardupilot")
    chain.start_host(v2=True)
    station = Station(chain.addresses[1], (254, 190))
    try:
        station.send_heartbeat()
        station.receive(lambda message: source_of(message) == (2, 5))  # the host is heard, and so are we
        station.send(onboard.to_v2_extension(onboard.pack_ping(onboard.PING, 42)))
        pong = station.receive(lambda message: kind_of(message) == onboard.PONG)
        assert onboard.parse_ping(onboard.parse_frame(onboard.carried_frame(pong)).body).timestamp == 42
        assert pong.target_system == 254
    finally:
        station.close()


def kind_of(message) -> int | None:
    frame = onboard.carried_frame(message)
    return None if frame is None else onboard.parse_frame(frame).kind
