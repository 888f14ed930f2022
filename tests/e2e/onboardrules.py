# SPDX-License-Identifier: MIT
"""What a host must make of all that its link brings, the ground's frames too, worked out a second time."""

from dataclasses import dataclass, field

import onboard
from jsonprocess import JsonProcess
from telemetryrules import TelemetryRules, message_driven

PAYLOAD_SIGNAL = "communicator.receivedData"


@dataclass
class HostRules(TelemetryRules):
    reassembly: onboard.Reassembly = field(default_factory=onboard.Reassembly)
    pongs: list[int] = field(default_factory=list)
    malformed: int = 0

    def take(self, message) -> None:
        if message.get_type() == "V2_EXTENSION":
            self._take_frame(onboard.carried_frame(message))
        super().take(message)

    def _take_frame(self, data: bytes) -> None:
        try:
            frame = onboard.parse_frame(data)
            if frame.kind in (onboard.DATA, onboard.TELEMETRY):
                self._take_fragment(frame)
            elif frame.kind in (onboard.PING, onboard.PONG):
                ping = onboard.parse_ping(frame.body)
                self.pongs += [ping.timestamp] if frame.kind == onboard.PING else []
        except onboard.Malformed:
            self.malformed += 1

    def _take_fragment(self, frame: onboard.Frame) -> None:
        whole = self.reassembly.put(onboard.parse_fragment(frame.body))
        if whole is None or frame.kind != onboard.DATA:
            return
        payload = {
            "id": whole.payload_id,
            "messageId": whole.message,
            "payloadId": whole.payload,
            "data": whole.data.hex(),
        }
        self.published.append((PAYLOAD_SIGNAL, payload))


def published_by(host: JsonProcess) -> list[tuple[str, object]]:
    """As the rules have it."""
    found = []
    for record in host.records:
        if record.get("signal") == PAYLOAD_SIGNAL:
            found.append((PAYLOAD_SIGNAL, record["value"]))
        else:
            found += message_driven([record])
    return found


def assert_published(host: JsonProcess, rules: HostRules) -> None:
    published = published_by(host)
    for position, (ours, expected) in enumerate(zip(published, rules.published, strict=False)):
        assert ours == expected, f"number {position}"
    assert len(published) == len(rules.published)
