# SPDX-License-Identifier: MIT
"""Makes inputs to begin with for each fuzzer: python fuzz/seeds.py FOLDER

Those of the line come from the recordings of real autopilots; the others are a few of each kind.
"""

import struct
import sys
from pathlib import Path

DATA = Path(__file__).resolve().parent.parent / "tests" / "data"
TLOG_TIME = 8  # bytes in front of each frame
READ_SIZE = bytes([63])


def tlog_frames(path):
    """The frames of a .tlog, each with its time in front."""
    content = path.read_bytes()
    at = 0
    while at + TLOG_TIME + 12 <= len(content):
        start = at + TLOG_TIME
        head = 12 if content[start] == 0xFD else 8
        signed = 13 if head == 12 and content[start + 2] & 1 else 0
        end = start + head + content[start + 1] + signed
        yield content[at:start], content[start:end]
        at = end


def message_id(frame):
    return int.from_bytes(frame[7:10], "little") if frame[0] == 0xFD else frame[5]


def line_seeds():
    """The first frame of each kind in each recording, and the stray bytes of serial lines."""
    for path in sorted(DATA.glob("*.tlog")):
        seen = set()
        for _, frame in tlog_frames(path):
            if message_id(frame) not in seen:
                seen.add(message_id(frame))
                yield READ_SIZE + frame
        yield READ_SIZE + b"".join(frame for _, frame in list(tlog_frames(path))[:40])
    for path in sorted(DATA.glob("*.raw")):
        content = path.read_bytes()
        for start in range(0, min(len(content), 20000), 2000):
            yield READ_SIZE + content[start : start + 1000]


def recording_seeds():
    for path in sorted(DATA.glob("*.tlog")):
        yield b"\x01" + b"".join(time + frame for time, frame in list(tlog_frames(path))[:20])
    for path in sorted(DATA.glob("*.raw")):
        yield b"\x04" + path.read_bytes()[:2000]


def onboard_frame(kind, body):
    frame = bytes([kind, len(body)]) + body + b"\0\0"
    return bytes([len(frame)]) + frame


def fragments(payload, size):
    for offset in range(0, len(payload), size):
        head = struct.pack("<HHHBB", len(payload), 7, offset, 1, 4)
        yield onboard_frame(252, head + payload[offset : offset + size])


def frame_seeds():
    yield onboard_frame(254, struct.pack("<qBB", 1700000000000, 0, 2))
    yield onboard_frame(4, struct.pack("<q", 1700000000000))
    yield b"".join(fragments(bytes(range(200)), 88))
    yield b"".join(reversed(list(fragments(bytes(range(200)), 88))))
    yield onboard_frame(2, b"\1\0\0\0\0\0\1\4A") + onboard_frame(252, b"\0\0\0\0\0\0\1\4")


def reassembly_seeds():
    yield bytes([1, 4, 0, 2, 0, 1, 4, 2, 2, 0])
    yield bytes([1, 4, 2, 2, 0, 1, 4, 0, 2, 0])
    yield b"".join(bytes([number, 2, 0, 1, 0]) for number in range(25))
    yield bytes([1, 255, 0, 255, 128, 1, 255, 1, 255, 128])


def body_seeds():
    words = b"\3MAV\4RATE\x0257"
    for which in range(7):
        yield bytes([which]) + words
        yield bytes([which]) + bytes(range(40))
    yield b"\4" + struct.pack("<HH", 96, 1) + b"\1\4" + bytes(300)


def settings_seeds():
    yield b"[MAV]\nCONNECTION_TYPE=TCP\nSERIAL_DEVICE=127.0.0.1\nBAUD_RATE=5760\nSYSTEM_ID=2\n"
    yield b"[APP]\nVERBOSE=true\nOLD=1\n[Payloads]\nX=@Variant(\\0\\0\\0\\x2)\n"
    yield b'[%General]\na\\b\\c=1, 2, "three"\n[MAV/X]\n=@Invalid()\n'


def call_seeds():
    for call in range(5):
        for setting in range(7):
            yield bytes([call, setting, 4]) + b"true" + bytes([call, setting, 2]) + b"12" + b"\4\0\0"


def geodesy_seeds():
    yield struct.pack("<6d", 47.4, 8.55, 488, 47.401, 8.551, 500)
    yield struct.pack("<6d", -35.36, 149.16, 584, -35.37, 149.17, 600)
    yield struct.pack("<6d", 1.5708, 0, 0, -1.5708, 180, 0)


def user_seeds():
    typed = {
        0: ["tcp:127.0.0.1:5760", "tcp:[::1]:0", "/dev/ttyUSB0,57600", "pty:/tmp/link"],
        1: [
            "control\narm 30\ntakeoff\nvelocity 1 0 -0.5 10 2\nquit",
            "wait-for roll>1 5\nsend 1 4 hex:01ff\nset MAV SYSTEM_ID 7\nwait 0.5\nstatus",
        ],
        2: ["roll>0.1", "virtualStick.statusChanged.guided=true", "textToGround.text=x"],
        3: ["hex:00ff", "text:hello"],
        4: ["--config\nhost.ini\n--json\n--set\nMAV/SYSTEM_ID=3\n--duration\n2"],
        5: ["--autopilot\npx4\n--link\ntcp:127.0.0.1:0\n--speed\n2\n--loss\n0.1\n--stall\n2@3"],
        6: ["--connect\ntcp:127.0.0.1:5760\nping\n-c\n3", "--connect\n/dev/x,9600\nsend\n1\n4\nhex:00"],
    }
    for which, texts in typed.items():
        for text in texts:
            yield bytes([which]) + text.encode()


SEEDS = {
    "bodies": body_seeds,
    "frames": frame_seeds,
    "geodesy": geodesy_seeds,
    "reassembly": reassembly_seeds,
    "receive": line_seeds,
    "recording": recording_seeds,
    "settingsfile": settings_seeds,
    "updatesetting": call_seeds,
    "userinput": user_seeds,
}


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: python fuzz/seeds.py FOLDER")
    for target, seeds in SEEDS.items():
        folder = Path(sys.argv[1]) / target
        folder.mkdir(parents=True, exist_ok=True)
        for number, seed in enumerate(seeds()):
            (folder / f"seed-{number:03}").write_bytes(seed)


if __name__ == "__main__":
    main()
