# SPDX-License-Identifier: MIT
import time
from collections.abc import Callable

from jsonprocess import TIMEOUT
from pymavlink.dialects.v20 import ardupilotmega as mavlink

PX4 = mavlink.MAV_AUTOPILOT_PX4
ARDUPILOT = mavlink.MAV_AUTOPILOT_ARDUPILOTMEGA
ARMED = mavlink.MAV_MODE_FLAG_SAFETY_ARMED
DISARMED = 0


class Autopilot:
    """pymavlink at the far end of a link."""

    def __init__(self, link, system: int = 1, component: int = 1):
        self.link = link
        self.ids = (system, component)
        self.encoders: dict[tuple[int, int], mavlink.MAVLink] = {}
        self.parser = mavlink.MAVLink(None)
        self.parser.robust_parsing = True
        self.received: list = []
        self.position = 0

    def meet(self, host) -> None:
        """Waits until the host has opened the link."""
        host.wait_for_log("[AP] Connected to autopilot")
        self.link.take_client(TIMEOUT)

    def encode(self, message, source: tuple[int, int] | None = None, version1: bool = False) -> bytes:
        source = source or self.ids
        encoder = self.encoders.setdefault(source, mavlink.MAVLink(None, *source))
        frame = message.pack(encoder, force_mavlink1=version1)
        encoder.seq = (encoder.seq + 1) % 256
        return bytes(frame)

    def send(self, *messages, source: tuple[int, int] | None = None, version1: bool = False) -> None:
        self.link.write(b"".join(self.encode(message, source, version1) for message in messages))

    def send_heartbeat(self, autopilot: int = ARDUPILOT, base_mode: int = DISARMED, **options) -> None:
        self.send(heartbeat(autopilot, base_mode), **options)

    def receive(self, name: str, wanted: Callable = lambda message: True, timeout: float = TIMEOUT):
        """The next such message from the host; those before it are passed over."""
        deadline = time.monotonic() + timeout
        while True:
            while self.position < len(self.received):
                message = self.received[self.position]
                self.position += 1
                if message.get_type() == name and wanted(message):
                    return message
            left = deadline - time.monotonic()
            assert left > 0, f"No {name} from the host; there came {[str(m) for m in self.received[-10:]]}"
            self.take_in(left)

    def take_in(self, timeout: float) -> None:
        """Reads what the host has sent, at the latest after the time-out."""
        self.received += self.parser.parse_buffer(self.link.read(timeout)) or []


def heartbeat(autopilot: int, base_mode: int = DISARMED):
    return mavlink.MAVLink_heartbeat_message(
        type=mavlink.MAV_TYPE_QUADROTOR,
        autopilot=autopilot,
        base_mode=base_mode,
        custom_mode=0,
        system_status=mavlink.MAV_STATE_STANDBY,
        mavlink_version=3,
    )


def attitude(roll: float, pitch: float = 0.0, yaw: float = 0.0):
    return mavlink.MAVLink_attitude_message(
        time_boot_ms=1000, roll=roll, pitch=pitch, yaw=yaw, rollspeed=0.1, pitchspeed=0.2, yawspeed=0.3
    )


def global_position(
    lat: int = 0, lon: int = 0, relative_alt: int = 0, velocity: tuple[int, int, int] = (0, 0, 0)
):
    return mavlink.MAVLink_global_position_int_message(
        1000, lat, lon, 500_000, relative_alt, *velocity, 65535
    )


def gps_raw(fix_type: int, lat: int = 0, lon: int = 0, satellites: int = 10):
    return mavlink.MAVLink_gps_raw_int_message(0, fix_type, lat, lon, 500_000, 100, 100, 0, 0, satellites)


def system_time(unix_microseconds: int):
    return mavlink.MAVLink_system_time_message(unix_microseconds, 1000)


def distance(centimetres: int):
    return mavlink.MAVLink_distance_sensor_message(1000, 0, 10_000, centimetres, 0, 0, 25, 0)
