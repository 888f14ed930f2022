# SPDX-License-Identifier: MIT
"""A serial device that is pulled out and put back. NOFLAILSTEN_FAULT_ROUNDS=1000 makes the full form."""

import os
import random
import time

import pytest
from faultrounds import cpu_seconds, open_files, resident_kb, rounds, say
from jsonprocess import JsonProcess
from links import SerialLink

from autopilot import PX4, Autopilot, attitude, heartbeat

pytestmark = pytest.mark.alone

PERIOD = 0.02  # of the autopilot's telemetry
BACK_WITHIN = 1.0
# Rounds of which one may take longer, on a machine that stands still for a moment.
HICCUP = 25
CPU_SHARE = 0.01
ABSENCE = 4  # seconds
GROWTH_KB = 8192


@pytest.fixture
def link(tmp_path, monkeypatch):
    # What a sanitizer sets aside is no growth of ours.
    options = filter(None, [os.environ.get("ASAN_OPTIONS"), "quarantine_size_mb=1"])
    monkeypatch.setenv("ASAN_OPTIONS", ":".join(options))
    made = SerialLink(tmp_path)
    yield made
    made.close()


def meet(host: JsonProcess, autopilot: Autopilot) -> None:
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4))
    host.wait_for("autopilotStatus", lambda status: status == 2)


def seconds_until_telemetry(host: JsonProcess, autopilot: Autopilot, roll: float) -> float:
    begin = time.monotonic()

    def arrived() -> bool:
        wanted = lambda record: record.get("signal") == "roll" and record["value"] == roll  # noqa: E731
        return host.output.wait_for(wanted, PERIOD) is not None

    autopilot.send(heartbeat(PX4), attitude(roll))
    while not arrived():
        assert time.monotonic() - begin < 30, host.story("Telemetry did not come back.")
        autopilot.send(heartbeat(PX4), attitude(roll))
    return time.monotonic() - begin


def test_telemetry_is_back_within_a_second_of_the_device(hosts, link, autopilot):
    host = hosts.start(link, watched=True)
    meet(host, autopilot)
    pid = host.process.pid
    files = open_files(pid)
    generator = random.Random(1)
    seconds = []
    resident = 0
    for number in range(1, rounds(30) + 1):
        if generator.random() < 0.5:
            link.write(autopilot.encode(attitude(0.5))[: generator.randrange(1, 30)])
        link.interrupt()
        if generator.random() < 0.8:  # else it is back before its absence is noticed
            host.wait_for_record(lambda record: "waiting for the device" in record.get("reason", ""))
            time.sleep(generator.uniform(0, 0.25))  # how long it is away
        link.restore()
        seconds.append(seconds_until_telemetry(host, autopilot, float(number)))
        resident = resident or resident_kb(pid)
    growth = resident_kb(pid) - resident
    say("telemetry after replugging", seconds)
    print(f"grown by {growth} kB, open files {files} before and {open_files(pid)} after")
    late = [duration for duration in seconds if duration > BACK_WITHIN]
    assert len(late) <= len(seconds) // HICCUP, late
    assert growth < GROWTH_KB
    assert open_files(pid) == files


def test_waiting_for_the_device_takes_hardly_any_cpu_time(hosts, link, autopilot):
    host = hosts.start(link, watched=True, APP__STATUS_PERIOD_MS=1000)
    meet(host, autopilot)
    link.interrupt()
    host.wait_for_record(lambda record: "waiting for the device" in record.get("reason", ""))
    spent, begin = cpu_seconds(host.process.pid), time.monotonic()
    for _ in range(ABSENCE):
        host.wait_for("autopilotStatus")
    spent, passed = cpu_seconds(host.process.pid) - spent, time.monotonic() - begin
    print(f"\n{100 * spent / passed:.2f} % of a processor while the device is absent ({passed:.1f} s)")
    assert passed > ABSENCE - 2
    assert spent / passed < CPU_SHARE
