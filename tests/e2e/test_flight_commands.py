# SPDX-License-Identifier: MIT
"""The host's commands that fly, as pymavlink at the far end sees them."""

import math
import signal
import struct
import time

import pytest
from pymavlink.dialects.v20 import ardupilotmega as mavlink

from autopilot import ARDUPILOT, ARMED, DISARMED, PX4, heartbeat

GUIDED = 8
SINGLE_PI = struct.unpack("f", struct.pack("f", math.pi))[0]


@pytest.fixture
def host(hosts, link, autopilot):
    started = hosts.start(link, "--script", "-")
    autopilot.meet(started)
    return started


COPTER_GUIDED, COPTER_LOITER, PX4_HOLD, PX4_OFFBOARD = 4, 5, 4 << 16 | 3 << 24, 6 << 16
TAKEN_OVER = "an operator or a failsafe has taken the vehicle over"


def mode(kind, custom_mode: int, base_mode: int = ARMED):
    message = heartbeat(kind, base_mode)
    message.custom_mode = custom_mode
    return message


def hints(host) -> list[str]:
    return [record["message"] for record in host.records if record.get("event") == "hint"]


def detect(host, autopilot, kind=ARDUPILOT, base_mode=DISARMED) -> None:
    autopilot.send(heartbeat(kind, base_mode))
    host.wait_for("virtualStick.statusChanged", lambda status: status["armed"] == bool(base_mode & ARMED))


def single(value: float) -> float:
    return struct.unpack("f", struct.pack("f", value))[0]


def fields(message) -> dict:
    """Those that are not zero, without the message's own name."""
    return {name: value for name, value in message.to_dict().items() if name != "mavpackettype" and value}


def test_control_asks_for_the_guided_mode(host, autopilot):
    detect(host, autopilot)
    host.write_line("control")
    assert fields(autopilot.receive("SET_MODE")) == {"target_system": 1, "base_mode": 1, "custom_mode": 4}


def test_before_the_detection_everybody_is_addressed(host, autopilot):
    host.write_line("control")
    assert autopilot.receive("SET_MODE").target_system == 0
    host.write_line("takeoff")
    assert fields(autopilot.receive("COMMAND_LONG")) == {"command": 22, "param7": 15.0}


def test_arm_is_repeated_until_the_vehicle_is_armed(host, autopilot):
    detect(host, autopilot)
    host.write_line("arm")
    host.write_line("takeoff")
    times = []
    for _ in range(3):
        message = autopilot.receive("COMMAND_LONG")
        assert fields(message) == {"target_system": 1, "command": 400, "param1": 1.0}
        times.append(time.monotonic())
    assert times[2] - times[0] > 2.5
    autopilot.send(heartbeat(ARDUPILOT, ARMED))
    following = autopilot.receive("COMMAND_LONG")
    assert fields(following) == {"target_system": 1, "command": 22, "param7": 15.0}


def test_vehicle_that_does_not_arm_ends_the_script(host, autopilot):
    detect(host, autopilot)
    host.write_line("arm 0.5")
    assert host.wait_for_end() == 5
    assert "noflailsten-host: script line 1: the vehicle did not arm" in host.log_lines


def test_vehicle_that_does_not_arm_says_why(host, autopilot):
    detect(host, autopilot)
    host.write_line("arm 5")
    autopilot.receive("COMMAND_LONG")
    autopilot.send(mavlink.MAVLink_statustext_message(6, b"EKF3 waiting for GPS"))
    autopilot.send(mavlink.MAVLink_statustext_message(2, b"PreArm: Need Position Estimate"))
    autopilot.send(mavlink.MAVLink_statustext_message(6, b"Still here"))
    host.wait_for_log("script line 1: the vehicle did not arm; it says: PreArm: Need Position Estimate")
    assert host.wait_for_end() == 5


@pytest.mark.parametrize(
    ("north", "east", "down", "yaw_rate"), [(1, 2, -0.5, 90), (0.1, -3.3, 1e-7, -45.5), (30, -30, 0, 180)]
)
def test_velocity_is_sent_to_the_bit(host, autopilot, north, east, down, yaw_rate):
    detect(host, autopilot)
    host.write_line(f"velocity {north} {east} {down} {yaw_rate}")
    message = autopilot.receive("SET_POSITION_TARGET_LOCAL_NED")
    expected = {
        "target_system": 1,
        "coordinate_frame": 1,
        "type_mask": 1991,
        "vx": single(north),
        "vy": single(east),
        "vz": single(down),
        "yaw_rate": single(single(yaw_rate) / 180 * SINGLE_PI),
    }
    assert fields(message) == {name: value for name, value in expected.items() if value}
    assert (message.get_srcSystem(), message.get_srcComponent()) == (2, 5)


def test_velocity_for_a_time_is_sent_ten_times_a_second(host, autopilot):
    detect(host, autopilot)
    host.write_line("velocity 1 0 0 0 1.05")
    host.write_line("velocity 2 0 0 0")
    received = [autopilot.receive("SET_POSITION_TARGET_LOCAL_NED")]
    while received[-1].vx == 1:
        received.append(autopilot.receive("SET_POSITION_TARGET_LOCAL_NED"))
    assert 4 <= len(received) - 1 <= 11  # fewer where the machine has better to do


def test_subscribe_asks_an_ardupilot_for_four_streams(host, autopilot):
    detect(host, autopilot)
    host.write_line("subscribe")
    requests = [autopilot.receive("REQUEST_DATA_STREAM") for _ in range(12)]
    wanted = [(6, 50), (10, 50), (2, 2), (12, 2)]
    assert [(r.req_stream_id, r.req_message_rate) for r in requests] == [w for w in wanted for _ in range(3)]


def test_subscribe_asks_a_px4_for_five_messages(host, autopilot):
    detect(host, autopilot, PX4)
    host.write_line("subscribe")
    requests = [autopilot.receive("COMMAND_LONG") for _ in range(15)]
    wanted = [(124, 500000), (33, 500000), (30, 500000), (2, 1000000), (132, 1000000)]
    assert [(r.param1, r.param2) for r in requests] == [w for w in wanted for _ in range(3)]
    assert {r.command for r in requests} == {511}


@pytest.mark.parametrize("how", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_host_that_is_interrupted_in_flight_stops_the_vehicle(host, autopilot, how):
    detect(host, autopilot, base_mode=ARMED | GUIDED)
    host.write_line("velocity 3 0 0 0 60")
    autopilot.receive("SET_POSITION_TARGET_LOCAL_NED", lambda m: m.vx == 3)
    host.ask_to_end(how)
    stop = autopilot.receive("SET_POSITION_TARGET_LOCAL_NED", lambda m: m.vx == 0)
    assert fields(stop) == {"target_system": 1, "coordinate_frame": 1, "type_mask": 1991}
    autopilot.link.close()
    assert host.wait_for_end() == 0


def test_link_that_is_lost_in_flight_ends_the_script(host, autopilot):
    detect(host, autopilot, base_mode=ARMED | GUIDED)
    host.write_line("velocity 3 0 0 0 60")
    autopilot.receive("SET_POSITION_TARGET_LOCAL_NED", lambda m: m.vx == 3)
    autopilot.link.interrupt()
    autopilot.link.close()
    assert host.wait_for_end() == 5
    assert "noflailsten-host: script line 1: the link is not open" in host.log_lines
    assert not [record for record in host.records if record.get("event") == "hover"]


@pytest.mark.parametrize(
    ("kind", "ours", "theirs"),
    [(ARDUPILOT, COPTER_GUIDED, COPTER_LOITER), (PX4, PX4_OFFBOARD, PX4_HOLD)],
    ids=["ArduPilot", "PX4"],
)
def test_vehicle_that_is_taken_over_is_left_alone(host, autopilot, kind, ours, theirs):
    """The guided bit says nothing: an ArduPilot sets it at boot too, a PX4 sets it then."""
    autopilot.send(mode(kind, theirs, ARMED | GUIDED))
    host.wait_for("virtualStick.statusChanged")
    host.write_line("control")
    autopilot.receive("SET_MODE")
    host.write_line("velocity 3 0 0 0 60")
    autopilot.receive("SET_POSITION_TARGET_LOCAL_NED", lambda m: m.vx == 3)
    autopilot.send(mode(kind, ours))
    autopilot.receive("SET_POSITION_TARGET_LOCAL_NED", lambda m: m.vx == 3)
    autopilot.send(mode(kind, theirs, ARMED | GUIDED))
    host.wait_for_record(lambda r: r.get("event") == "hint" and "taken it over" in r["message"])
    host.wait_for_log(f"script line 2: {TAKEN_OVER}")
    host.wait_for_event("stopped")
    autopilot.link.close()
    assert host.wait_for_end() == 5
    assert sum("taken it over" in hint for hint in hints(host)) == 1
    assert not [record for record in host.records if record.get("event") == "hover"]


def test_vehicle_taken_over_between_two_velocities_is_left_alone(host, autopilot):
    detect(host, autopilot, base_mode=ARMED)
    autopilot.send(mode(ARDUPILOT, COPTER_GUIDED))
    host.write_line("wait-for inGuidedMode=true")
    host.write_line("velocity 3 0 0 0")
    autopilot.receive("SET_POSITION_TARGET_LOCAL_NED", lambda m: m.vx == 3)
    autopilot.send(mode(ARDUPILOT, COPTER_LOITER))
    host.write_line("wait-for inGuidedMode=false")
    host.write_line("velocity 2 0 0 0")
    host.wait_for_log(f"script line 4: {TAKEN_OVER}")
    autopilot.link.close()
    assert host.wait_for_end() == 5


def test_control_flies_a_vehicle_that_was_taken_over(host, autopilot):
    detect(host, autopilot, base_mode=ARMED)
    autopilot.send(mode(ARDUPILOT, COPTER_GUIDED))
    host.write_line("wait-for inGuidedMode=true")
    host.write_line("velocity 3 0 0 0")
    autopilot.receive("SET_POSITION_TARGET_LOCAL_NED", lambda m: m.vx == 3)
    autopilot.send(mode(ARDUPILOT, COPTER_LOITER))
    host.wait_for_event("hint")
    host.write_line("control")
    host.write_line("velocity 2 0 0 0")
    autopilot.receive("SET_POSITION_TARGET_LOCAL_NED", lambda m: m.vx == 2)


def test_host_that_has_not_flown_stops_nothing(host, autopilot):
    detect(host, autopilot, base_mode=ARMED | GUIDED)
    host.write_line("control")
    autopilot.receive("SET_MODE")
    host.ask_to_end()
    host.wait_for_event("stopped")
    assert not [record for record in host.records if record.get("event") == "hover"]


@pytest.mark.parametrize(
    ("line", "code", "complaint"),
    [
        ("velocity nan 0 0 0", 1, "nan is not a finite number"),
        ("velocity 5000 0 0 0", 1, "5000 is too fast, at most 30 m/s"),
        ("velocity 1 0 0", 1, "4 or 5 numbers, not 3"),
        ("wait-for altitude.valeu>14", 1, "altitude has no field valeu; there are value, status, time"),
        ("set MAV SYSTEM_ID two", 1, "MAV/SYSTEM_ID is a whole number from 0 to 65535, not two"),
        ("fly away", 1, "unknown command fly"),
        ("wait-for roll=99 0.2", 5, "wait-for roll=99: timed out"),
    ],
)
def test_script_that_fails_in_flight_leaves_the_vehicle_in_a_hover(host, autopilot, line, code, complaint):
    detect(host, autopilot, base_mode=ARMED | GUIDED)
    host.write_line("velocity 3 0 0 0")
    autopilot.receive("SET_POSITION_TARGET_LOCAL_NED", lambda m: m.vx == 3)
    host.write_line(line)
    autopilot.receive("SET_POSITION_TARGET_LOCAL_NED", lambda m: m.vx == 0)
    autopilot.link.close()
    assert host.wait_for_end() == code
    assert any("script line 2: " in logged and complaint in logged for logged in host.log_lines)


def test_px4_that_refuses_the_mode_is_explained_once(host, autopilot):
    detect(host, autopilot, PX4)
    for _ in range(2):
        host.write_line("control")
        autopilot.receive("SET_MODE")
        autopilot.send(refusal())
    host.wait_for_record(lambda r: r.get("event") == "hint" and "switch it to Offboard" in r["message"])
    host.write_line("text over")
    host.wait_for("textToGround", lambda text: text["text"] == "over")
    assert sum("Offboard" in record.get("message", "") for record in host.records) == 1


def refusal():
    return mavlink.MAVLink_command_ack_message(176, 1)
