# SPDX-License-Identifier: MIT
from collections.abc import Iterator

from pymavlink.dialects.v20 import ardupilotmega as mavlink
from pymavlink.generator.mavcrc import x25crc

V1_MARKER, V2_MARKER = 0xFE, 0xFD
V1_OVERHEAD, V2_OVERHEAD, SIGNATURE = 8, 12, 13
CHECKSUM = 2
SIGNED_FLAG = 0x01


class FrameParser:
    """The walk of the generated C parser through a byte stream, written anew.

    pymavlink's own stream parser is not the measure where a stream is damaged, as the two resume differently:

    - The C parser gives a frame up at the third byte if that has incompatibility flags other than "signed",
      and does not look whether that byte starts a frame; pymavlink reads on to the end that the frame
      claims.
    - To the C parser a message id that it does not know is a bad checksum. Of a bad frame all that it
      claims to hold is gone, start markers inside it too. But if its very last byte is the marker of
      version 2, the C parser takes that for the beginning of the next frame, of the version of the dropped
      one. The real next one is lost.
    - To the C parser a signed frame with a bad checksum ends with the checksum.
    """

    def __init__(self):
        self.frame = bytearray()

    def parse(self, data: bytes) -> Iterator[bytes]:
        """Good frames of known messages, in order."""
        for byte in data:
            if not self.frame:
                if byte in (V1_MARKER, V2_MARKER):
                    self.frame.append(byte)
                continue
            self.frame.append(byte)
            if self._has_foreign_flags():
                self.frame.clear()
            elif self._has_bad_checksum():
                version = self.frame[0]
                self.frame.clear()
                if byte == V2_MARKER:
                    self.frame.append(version)
            elif self._is_complete():
                yield bytes(self.frame)
                self.frame.clear()

    def _has_foreign_flags(self) -> bool:
        return len(self.frame) == 3 and self.frame[0] == V2_MARKER and bool(self.frame[2] & ~SIGNED_FLAG)

    def _has_bad_checksum(self) -> bool:
        return (
            len(self.frame) >= 3
            and len(self.frame) == unsigned_length(self.frame)
            and not is_good(self.frame)
        )

    def _is_complete(self) -> bool:
        return len(self.frame) >= 3 and len(self.frame) == claimed_length(self.frame)


def unsigned_length(frame: bytes) -> int:
    return (V1_OVERHEAD if frame[0] == V1_MARKER else V2_OVERHEAD) + frame[1]


def claimed_length(frame: bytes) -> int:
    signed = frame[0] == V2_MARKER and frame[2] & SIGNED_FLAG
    return unsigned_length(frame) + (SIGNATURE if signed else 0)


def message_id(frame: bytes) -> int:
    return frame[5] if frame[0] == V1_MARKER else int.from_bytes(frame[7:10], "little")


def is_good(frame: bytes) -> bool:
    known = mavlink.mavlink_map.get(message_id(frame))
    if known is None:
        return False
    end = unsigned_length(frame) - CHECKSUM
    crc = x25crc(frame[1:end])
    crc.accumulate(bytes([known.crc_extra]))
    return crc.crc == int.from_bytes(frame[end : end + CHECKSUM], "little")


def parse_messages(data: bytes) -> list:
    """The messages that the C parser would find, as pymavlink decodes them."""
    decoder = mavlink.MAVLink(None)
    return [decoder.decode(bytearray(frame)) for frame in FrameParser().parse(data)]
