# SPDX-License-Identifier: MIT
import pytest

from autopilot import ARDUPILOT, ARMED, DISARMED, PX4, attitude, heartbeat

STARTED = {"text": "[AP] Logging started (auto)", "type": 0}
STOPPED = {"text": "[AP] Logging stopped (auto)", "type": 0}
WIFI_OFF = {"text": "[AP] Disable Wi-Fi", "type": 0}
WIFI_ON = {"text": "[AP] Enable Wi-Fi", "type": 0}


@pytest.fixture
def host(hosts, link, autopilot):
    started = hosts.start(link, "--script", "-", APP__DISABLE_WIFI_IN_AIR="true")
    autopilot.meet(started)
    return started


def story(host) -> list:
    return [r["value"] for r in host.records if r.get("signal") in ("daqEnabled", "textToGround")]


@pytest.mark.parametrize("kind", [PX4, ARDUPILOT], ids=["px4", "ardupilot"])
def test_arming_starts_logging_and_disarming_stops_it(host, autopilot, standin_calls, kind):
    modes = [DISARMED, ARMED, ARMED | 29, DISARMED, 29, ARMED, DISARMED]
    autopilot.send(*(heartbeat(kind, base_mode) for base_mode in modes))
    for enabled in True, False, True, False:
        assert host.wait_for("daqEnabled") is enabled
    host.wait_for_log("The drone is disarming")
    flight = [STARTED, True, WIFI_OFF, WIFI_ON, STOPPED, False]
    assert story(host) == flight * 2
    assert standin_calls() == ["nmcli radio wifi off", "nmcli radio wifi on"] * 2


def test_an_autopilot_that_is_armed_already_counts_as_arming(host, autopilot):
    autopilot.send(heartbeat(PX4, ARMED))
    assert host.wait_for("daqEnabled") is True
    assert host.wait_for("textToGround") == WIFI_OFF


def test_the_wifi_stays_on_where_that_is_not_asked_for(hosts, link, autopilot, standin_calls):
    host = hosts.start(link)
    autopilot.meet(host)
    autopilot.send(heartbeat(PX4, ARMED), heartbeat(PX4, DISARMED))
    host.wait_for("daqEnabled", lambda enabled: not enabled)
    assert story(host) == [STARTED, True, STOPPED, False]
    assert standin_calls() == []


def test_the_wifi_setting_can_be_changed_between_flights(host, autopilot, standin_calls):
    autopilot.send(heartbeat(PX4, ARMED))
    host.wait_for("daqEnabled")
    host.write_line("set APP DISABLE_WIFI_IN_AIR false")
    host.wait_for_log("Updated: APP/DISABLE_WIFI_IN_AIR=false")
    autopilot.send(heartbeat(PX4, DISARMED))
    host.wait_for("daqEnabled")
    assert standin_calls() == ["nmcli radio wifi off"]


@pytest.mark.parametrize("other", [0, 8, 1, 4, 13, 255])
def test_other_heartbeats_neither_detect_nor_arm(host, autopilot, other):
    autopilot.send(heartbeat(other, ARMED), attitude(1.0))
    host.wait_for("yaw")
    for _ in range(2):
        assert host.wait_for("autopilotStatus") == 0
    assert story(host) == []
    assert not any("detected" in line for line in host.log_lines)


def test_only_the_detected_autopilot_arms(host, autopilot):
    autopilot.send(heartbeat(PX4))
    autopilot.send(heartbeat(PX4, ARMED), source=(1, 2))
    autopilot.send(heartbeat(ARDUPILOT, ARMED), source=(3, 1))
    autopilot.send(attitude(1.0))
    host.wait_for("yaw")
    assert story(host) == []
