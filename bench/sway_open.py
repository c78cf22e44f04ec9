#!/usr/bin/env python3
"""Opening and closing the panel on headless sway: latency from the pointer resting on the sensor,
from Alt+N through sway's key binding (`tallowfern --toggle`) and from the bus method Toggle to
the first frame on screen that shows the panel moving, and the frames on screen during the open
and close springs; of the app beside a reference panel in the same run.

Everything runs as the Wayland end-to-end tests do (tests/wayland): sway 1.7 on the headless
backend with the pixman renderer, a private session bus, the click recorder as a grey window
filling the screen beneath, all as an unprivileged user, input through wayvnc and a small RFB
client. The driver notes the CLOCK_MONOTONIC time just before it sends the pointer motion, the N
of Alt+N or the bus call; sway then moves the pointer or runs the binding.

The screen is read by a Wayland client of its own (this script under /usr/bin/python3, standard
library only) through wlr-screencopy: it asks for every frame of the output that brings damage,
copies the left half of the panel's area and reports the output commit's time (wlroots stamps it
with CLOCK_MONOTONIC, so it compares with the driver's), a checksum of what it copied and the
pixels at two points: just below the closed notch, which the opening panel covers, and just
inside the bottom edge of the open panel, which the closing panel uncovers. A spring's first
frame is the first that changed its point; its frames run until nothing was drawn for --quiet
ms. 'Any change' is the first frame that changed the copied half at all. Frame intervals are
those of the output's commits that damaged the panel's area. The pointer rests right of the
copied half: sway draws the headless output's cursor into the frames. The headless output
draws on a 16 ms timer that starts again after each repaint, so its frames come about every
20 ms, not 16.7.

The reference, bench_reference_panel with Qt Quick's software renderer as the app's, has two
floating xdg toplevels placed by sway rules where the app's surfaces are: a sensor strip and a
grey panel window in which a black rectangle grows along the app's open spring at once when the
pointer enters the strip or Toggle comes on the bus (io.tallowfern.BenchReference), and shrinks
back along the close spring. Its binding runs `bench_reference_panel --toggle`, the least a Qt
program does to call it. The app opens on hover only after its deliberate 100 ms and closes
350 ms after the pointer has left; the hover ratio subtracts the 100 ms.

With WAYLAND_DEBUG=1 in a program's environment libwayland prints every message it sends and
every event it dispatches, stamped with CLOCK_REALTIME in microseconds (wrapped at 2^32, mapped
here to CLOCK_MONOTONIC): the runs with it (--debug on or both) also tell when the program
dispatched wl_pointer.enter on its sensor and when it committed buffers on its panel (the first,
the first with damage, the one the first frame on screen showed), so that the latency splits
into input, the program and the compositor. Printing costs the program time; --debug both
measures each program without it and with it and shows both. At the end, each program's
`--toggle` runs alone --cycles times with nothing to answer it: what starting it costs the key
binding.

A cycle: the pointer jumps onto the sensor and the panel opens; it jumps away and the panel
closes; Alt+N opens, Alt+N closes; Toggle opens, Toggle closes; each step from a still screen.
Each launch runs --warmups unmeasured cycles first; the programs take turns.

Usage (as root; the compositor runs as uid 65534):
    bench/sway_open.py --build-dir build [--cycles 10] [--warmups 1] [--debug both|off|on]
        [--quiet 200] [--late 25] [--timeout 10] [--json FILE] [--artifacts DIR]

The defaults take about five minutes. Prints a latency table, a spring-frame table, the ratios
app/reference and, for runs with WAYLAND_DEBUG, where the time went; then one line "JSON {...}".
The targets are printed beside the figures: the hover latency 100 ms plus one frame, Alt+N and
Toggle one frame (16.7 ms at 60 Hz). It never judges the figures; it exits non-zero only when a
measurement cannot be taken, and 77 without root.
"""

from __future__ import annotations

import argparse
import mmap
import os
import queue
import re
import select
import shutil
import socket
import struct
import subprocess
import sys
import threading
import time
import zlib
from dataclasses import dataclass, field
from pathlib import Path

# Run from the source tree: leave no __pycache__ behind in it.
sys.dont_write_bytecode = True

# The helpers below run as the session's user under Debian's own Python: the interpreter that runs
# the driver may live where that user cannot go.
HELPER_PYTHON = "/usr/bin/python3"


# --- helper: the screen, through wlr-screencopy ---------------------------------------------------

def _wl_uint(value: int) -> bytes:
    return struct.pack("<I", value & 0xFFFFFFFF)


def _wl_int(value: int) -> bytes:
    return struct.pack("<i", value)


def _wl_string(text: str) -> bytes:
    data = text.encode() + b"\0"
    return _wl_uint(len(data)) + data + b"\0" * (-len(data) % 4)


class WaylandClient:
    """Just enough of the Wayland wire protocol for screencopy: no file descriptors come back."""

    def __init__(self) -> None:
        path = os.path.join(os.environ["XDG_RUNTIME_DIR"], os.environ["WAYLAND_DISPLAY"])
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.connect(path)
        self.handlers: dict = {1: self._display_event}
        self._next_id = 2
        self._pending = b""

    def new_id(self, handler=None) -> int:
        object_id = self._next_id
        self._next_id += 1
        if handler:
            self.handlers[object_id] = handler
        return object_id

    def send(self, object_id: int, opcode: int, payload: bytes = b"", fds=()) -> None:
        message = _wl_uint(object_id) + _wl_uint(((8 + len(payload)) << 16) | opcode) + payload
        if fds:
            socket.send_fds(self.socket, [message], list(fds))
        else:
            self.socket.sendall(message)

    def dispatch(self) -> None:
        data = self.socket.recv(1 << 16)
        if not data:
            raise SystemExit("the compositor closed the connection")
        self._pending += data
        while len(self._pending) >= 8:
            object_id, word = struct.unpack_from("<II", self._pending)
            size = word >> 16
            if len(self._pending) < size:
                break
            payload, self._pending = self._pending[8:size], self._pending[size:]
            handler = self.handlers.get(object_id)
            if handler:
                handler(word & 0xFFFF, payload)

    def roundtrip(self) -> None:
        done = []
        self.send(1, 0, _wl_uint(self.new_id(lambda opcode, payload: done.append(True))))
        while not done:
            self.dispatch()

    @staticmethod
    def _display_event(opcode: int, payload: bytes) -> None:
        if opcode == 0:  # error
            object_id, code, length = struct.unpack_from("<III", payload)
            message = payload[12:12 + length - 1].decode(errors="replace")
            raise SystemExit(f"Wayland error on object {object_id} ({code}): {message}")


def screen_probe(argv: list[str]) -> int:
    """Prints "frame WHEN_MS RECEIVED_MS DX DY DW DH CRC RGB..." for every output commit with
    damage: when the compositor committed it, when it arrived here, the extent of the output's
    damage, a checksum of the area and the colour at each point. Arguments: X Y W H of the area
    to copy, then X Y of each point, on the output."""
    x, y, width, height, *flat = (int(word) for word in argv)
    points = list(zip(flat[0::2], flat[1::2]))
    client = WaylandClient()
    globals_: dict[str, tuple[int, int]] = {}

    def registry_event(opcode: int, payload: bytes) -> None:
        if opcode == 0:
            name, length = struct.unpack_from("<II", payload)
            interface = payload[8:8 + length - 1].decode()
            version = struct.unpack_from("<I", payload, 8 + length + (-length % 4))[0]
            globals_.setdefault(interface, (name, version))

    registry = client.new_id(registry_event)
    client.send(1, 1, _wl_uint(registry))
    client.roundtrip()
    for needed in ("wl_shm", "wl_output", "zwlr_screencopy_manager_v1"):
        if needed not in globals_:
            raise SystemExit(f"the compositor offers no {needed}")

    def bind(interface: str, version: int) -> int:
        name, offered = globals_[interface]
        object_id = client.new_id()
        client.send(registry, 0, _wl_uint(name) + _wl_string(interface) +
                    _wl_uint(min(version, offered)) + _wl_uint(object_id))
        return object_id

    shm = bind("wl_shm", 1)
    output = bind("wl_output", 1)
    if globals_["zwlr_screencopy_manager_v1"][1] < 2:
        raise SystemExit("screencopy without damage (version 1)")
    manager = bind("zwlr_screencopy_manager_v1", 2)

    state = {"buffer": None, "layout": None, "damage": (0, 0, 0, 0), "frame": None}
    memory: list[mmap.mmap] = []

    def capture() -> None:
        frame = client.new_id(frame_event)
        state["frame"] = frame
        client.send(manager, 1, _wl_uint(frame) + _wl_int(0) + _wl_uint(output) + _wl_int(x) +
                    _wl_int(y) + _wl_int(width) + _wl_int(height))
        if state["buffer"]:
            # Same area, same buffer: no need to wait for the buffer event before asking.
            client.send(frame, 2, _wl_uint(state["buffer"]))

    def frame_event(opcode: int, payload: bytes) -> None:
        frame = state["frame"]
        if opcode == 0:  # buffer: format, width, height, stride
            layout = struct.unpack_from("<IIII", payload)
            if state["buffer"] is None:
                shm_format, buffer_width, buffer_height, stride = layout
                size = stride * buffer_height
                fd = os.memfd_create("tallowfern-screen-probe")
                os.ftruncate(fd, size)
                memory.append(mmap.mmap(fd, size))
                pool = client.new_id()
                client.send(shm, 0, _wl_uint(pool) + _wl_int(size), fds=[fd])
                os.close(fd)
                buffer = client.new_id()
                client.send(pool, 0, _wl_uint(buffer) + _wl_int(0) + _wl_int(buffer_width) +
                            _wl_int(buffer_height) + _wl_int(stride) + _wl_uint(shm_format))
                state["buffer"], state["layout"] = buffer, layout
                client.send(frame, 2, _wl_uint(buffer))
            elif layout != state["layout"]:
                raise SystemExit(f"the frame's layout changed: {layout} after {state['layout']}")
        elif opcode == 4:  # damage
            state["damage"] = struct.unpack_from("<IIII", payload)
        elif opcode == 2:  # ready
            received = time.monotonic() * 1000
            high, low, nanoseconds = struct.unpack_from("<III", payload)
            when = ((high << 32) + low) * 1000 + nanoseconds / 1e6
            stride = state["layout"][3]
            pixels = [f"{zlib.crc32(memory[0]):08x}"]
            for px, py in points:
                offset = (py - y) * stride + (px - x) * 4
                blue, green, red = memory[0][offset:offset + 3]
                pixels.append(f"{red:02x}{green:02x}{blue:02x}")
            client.send(frame, 1)  # destroy
            capture()
            print("frame %.3f %.3f %d %d %d %d %s" % (when, received, *state["damage"],
                                                       " ".join(pixels)), flush=True)
        elif opcode == 3:
            raise SystemExit("the compositor could not copy a frame")

    capture()
    print("ready", flush=True)
    while True:
        client.dispatch()


# --- helper: calls on the session bus -------------------------------------------------------------

def _bus_connect() -> socket.socket:
    for address in os.environ["DBUS_SESSION_BUS_ADDRESS"].split(";"):
        transport, _, rest = address.partition(":")
        keys = dict(pair.split("=", 1) for pair in rest.split(",") if "=" in pair)
        if transport != "unix":
            continue
        path = "\0" + keys["abstract"] if "abstract" in keys else keys.get("path")
        if path:
            bus = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            bus.connect(path)
            return bus
    raise SystemExit("no unix address for the session bus")


def _bus_call(serial: int, destination: str, path: str, interface: str, member: str) -> bytes:
    fields = b""
    for code, signature, value in ((1, "o", path), (2, "s", interface), (3, "s", member),
                                   (6, "s", destination)):
        fields += b"\0" * (-len(fields) % 8)
        fields += bytes([code, 1]) + signature.encode() + b"\0"
        fields += b"\0" * (-len(fields) % 4)
        data = value.encode()
        fields += struct.pack("<I", len(data)) + data + b"\0"
    header = struct.pack("<BBBBIII", ord("l"), 1, 0, 1, 0, serial, len(fields))
    return header + fields + b"\0" * (-len(fields) % 8)


def _bus_reply_serial(message: bytes) -> int | None:
    fields_end = 16 + struct.unpack_from("<I", message, 12)[0]
    at = 16
    while at < fields_end:
        at += -at % 8
        code, length = message[at], message[at + 1]
        signature = message[at + 2:at + 2 + length].decode()
        at += 3 + length
        if signature in ("u", "s", "o"):
            at += -at % 4
            value = struct.unpack_from("<I", message, at)[0]
            if code == 5 and signature == "u":
                return value
            at += 4 if signature == "u" else 4 + value + 1
        elif signature == "g":
            at += 2 + message[at]
        else:
            return None
    return None


def bus_caller(_argv: list[str]) -> int:
    """Reads "DESTINATION PATH INTERFACE MEMBER" lines and calls each on the session bus from one
    connection made beforehand, printing "sent MS" just before it goes and "reply MS TYPE" when
    the answer comes (TYPE 2 a return, 3 an error)."""
    bus = _bus_connect()
    bus.sendall(b"\0AUTH EXTERNAL " + str(os.getuid()).encode().hex().encode() + b"\r\n")
    answer = b""
    while not answer.endswith(b"\r\n"):
        answer += bus.recv(1)
    if not answer.startswith(b"OK"):
        raise SystemExit(f"the bus refused us: {answer!r}")
    bus.sendall(b"BEGIN\r\n")
    serial = 1
    bus.sendall(_bus_call(serial, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                          "org.freedesktop.DBus", "Hello"))
    pending = b""
    waiting: set[int] = {serial}
    print("ready", flush=True)
    while True:
        readable, _, _ = select.select([sys.stdin, bus], [], [])
        if sys.stdin in readable:
            line = sys.stdin.readline()
            if not line:
                return 0
            serial += 1
            message = _bus_call(serial, *line.split())
            waiting.add(serial)
            print("sent %.3f" % (time.monotonic() * 1000), flush=True)
            bus.sendall(message)
        if bus in readable:
            data = bus.recv(1 << 16)
            if not data:
                raise SystemExit("the bus closed the connection")
            pending += data
            while len(pending) >= 16:
                body, fields = struct.unpack_from("<I", pending, 4)[0], \
                    struct.unpack_from("<I", pending, 12)[0]
                size = 16 + fields + (-fields % 8) + body
                if len(pending) < size:
                    break
                message, pending = pending[:size], pending[size:]
                replied = _bus_reply_serial(message) if message[1] in (2, 3) else None
                if replied in waiting:
                    waiting.discard(replied)
                    if replied != 1:
                        print("reply %.3f %d" % (time.monotonic() * 1000, message[1]),
                              flush=True)


HELPERS = {"--screen-probe": screen_probe, "--bus-caller": bus_caller}

if __name__ == "__main__" and len(sys.argv) > 1 and sys.argv[1] in HELPERS:
    sys.exit(HELPERS[sys.argv[1]](sys.argv[2:]))


# --- the driver -----------------------------------------------------------------------------------

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.path.insert(0, str(HERE.parent / "tests" / "wayland"))

import openbench  # noqa: E402
import sway  # noqa: E402
import waylandtest  # noqa: E402
from desktop_common import (BenchError, check_executables, end_process, format_ratio,  # noqa: E402
                            table, write_json)
from openbench import (NOTCH_HEIGHT, OPEN_HEIGHT, PROGRAMS, REFERENCE_PANEL_TITLE,  # noqa: E402
                       REFERENCE_SENSOR_TITLE, FrameWatch, add_cycle_arguments,
                       check_cycle_arguments, cycle_setup, cycles_note, latency_rows,
                       latency_triggers, ms, percentile, print_springs, ratios, ratios_line,
                       spread)

WIDTH, HEIGHT = sway.WIDTH, sway.HEIGHT
CENTRE = WIDTH // 2
# The app's layer surfaces and the reference's windows alike: the notch 24 high at the top
# centre, the open panel 780 x 380, the panel's window 860 x 420 with room for its shadow.
PANEL_AREA = (CENTRE - 430, 0, 860, 420)
# What the probe copies: the panel's left half, where the pointer's cursor never is.
COPIED_AREA = (CENTRE - 430, 0, 430, 420)
REFERENCE_SENSOR = (CENTRE - 107, 0)
REFERENCE_PANEL = (CENTRE - 430, 0)
# Left of centre, where the resting pointer's cursor (drawn down and right of the pointer) never
# covers them: below the closed notch, inside the bottom edge of the open panel, inside the notch.
OPENING_POINT = (CENTRE - 60, NOTCH_HEIGHT + 2)
CLOSING_POINT = (CENTRE - 60, OPEN_HEIGHT - 2)
NOTCH_POINT = (CENTRE - 60, 8)
POINTS = (OPENING_POINT, CLOSING_POINT, NOTCH_POINT)
OPENING, CLOSING, NOTCH = range(3)
# On the sensor of both (the app's notch is 318 wide with a card waiting, the reference's strip
# 214), right of the points.
ON_SENSOR = (CENTRE + 80, 12)
AWAY = (CENTRE, 700)

APP_BUS = (waylandtest.BUS_NAME, waylandtest.OBJECT_PATH, waylandtest.INTERFACE)
REFERENCE_BUS = ("io.tallowfern.BenchReference", "/io/tallowfern/BenchReference",
                 "io.tallowfern.BenchReference")
RECORDER_TITLE = "click recorder"

TRIGGERS = ("hover", "leave", "binding open", "binding close", "bus open", "bus close")
OPENS = {"hover", "binding open", "bus open"}


def is_black(rgb: str) -> bool:
    return max(int(rgb[i:i + 2], 16) for i in (0, 2, 4)) <= 8


def is_grey(rgb: str) -> bool:
    return all(abs(int(rgb[i:i + 2], 16) - 0x80) <= 8 for i in (0, 2, 4))


class BenchSway(sway.Sway):
    """The tests' sway, without their key binding (each program gets its own), with the
    reference's windows floating where the app's surfaces are, and nothing that moves the
    keyboard on its own."""

    def config_text(self) -> str:
        environment_file = os.path.join(self.session.runtime, "sway-environment")
        rules = []
        for title, (x, y) in ((REFERENCE_SENSOR_TITLE, REFERENCE_SENSOR),
                              (REFERENCE_PANEL_TITLE, REFERENCE_PANEL)):
            rules.append(f'for_window [title="^{title}$"] floating enable, '
                         f"move absolute position {x} {y}")
            rules.append(f'no_focus [title="^{title}$"]')
        return "\n".join([
            f"output HEADLESS-1 mode {WIDTH}x{HEIGHT}@60Hz position 0,0",
            "xwayland disable",
            "default_border none",
            "default_floating_border none",
            "titlebar_border_thickness 0",
            "focus_follows_mouse no",
            # The reference's strip is 24 high; sway's default minimum would make it 50.
            "floating_minimum_size 1 x 1",
            *rules,
            "exec " + waylandtest.environment_reporter(environment_file),
            "",
        ])


@dataclass
class Frame:
    at: float  # the output commit, CLOCK_MONOTONIC ms
    received: float
    damage: tuple[int, int, int, int]
    pixels: list[str]
    checksum: str  # of COPIED_AREA

    def touches_panel(self) -> bool:
        x, y, width, height = self.damage
        ax, ay, aw, ah = PANEL_AREA
        return width > 0 and height > 0 and x < ax + aw and ax < x + width and \
            y < ay + ah and ay < y + height


class Helper:
    """One of this script's helpers, run as the session's user; its lines arrive on a queue."""

    def __init__(self, session, env: dict, script: str, argv: list[str], name: str):
        full_env = dict(session.env)
        full_env.update(env)
        self.name = name
        errors = open(os.path.join(session.artifacts_dir, name + ".log"), "wb")
        self.process = subprocess.Popen(
            session.user_command([HELPER_PYTHON, script] + argv), env=full_env, cwd=session.home,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=errors, text=True, bufsize=1,
            start_new_session=True)
        errors.close()
        self.lines: queue.Queue = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()
        first = self.next(20)
        if first != "ready":
            raise BenchError(f"{name} did not start ({first!r}); see {name}.log")

    def _read(self) -> None:
        for line in self.process.stdout:
            self.lines.put(line.strip())
        self.lines.put(None)

    def next(self, timeout: float) -> str | None:
        try:
            line = self.lines.get(timeout=max(0.0, timeout))
        except queue.Empty:
            return ""
        if line is None:
            raise BenchError(f"{self.name} ended ({self.process.wait()}); see {self.name}.log")
        return line

    def stop(self) -> None:
        end_process(self.process, terminate=True)


class Screen(FrameWatch):
    """The screen probe's frames, and the waits a cycle needs."""

    def __init__(self, probe: Helper, quiet_ms: float, timeout: float):
        super().__init__(quiet_ms, timeout)
        self.probe = probe
        self.pixels: list[str] | None = None  # as the last frame left them
        self.checksum = ""

    def next(self, timeout: float) -> Frame | None:
        line = self.probe.next(timeout)
        if not line:
            return None
        words = line.split()
        frame = Frame(float(words[1]), float(words[2]), tuple(int(w) for w in words[3:7]),
                      words[8:], words[7])
        self.pixels = frame.pixels
        self.checksum = frame.checksum
        return frame

    def wait_pixels(self, check, what: str, nudge=None) -> None:
        """Until the pixels pass check; `nudge` makes the screen draw when nothing else does."""
        deadline = time.monotonic() + self.timeout
        while self.pixels is None or not check(self.pixels):
            if time.monotonic() > deadline:
                raise BenchError(f"timed out waiting for {what} (pixels {self.pixels})")
            if self.next(0.5) is None and nudge:
                nudge()

    def spring(self, trigger: str, since: float, point: int, before: str,
               checksum: str) -> "Spring":
        """The frames from the first that changed `point` (whose colour was `before`) until none
        came for the quiet time; and the first that changed anything in the area's left half
        (whose checksum was `checksum`)."""
        shown: list[Frame] = []
        changed: float | None = None
        for frame in self.spring_events(trigger, since, shown):
            if changed is None and frame.checksum != checksum:
                changed = frame.at
            if shown:
                if frame.touches_panel():
                    shown.append(frame)
            elif frame.pixels[point] != before:
                shown.append(frame)
        return Spring(trigger, since, [frame.at for frame in shown],
                      max(frame.received - frame.at for frame in shown),
                      changed - since if changed is not None else None)


@dataclass
class Spring:
    trigger: str
    since: float  # the input, CLOCK_MONOTONIC ms
    frames: list[float]  # output commits
    probe_lag_ms: float
    change_ms: float | None  # to the first frame that changed anything in the panel's area
    debug: dict = field(default_factory=dict)

    @property
    def first_ms(self) -> float:
        return self.frames[0] - self.since


# --- WAYLAND_DEBUG ------------------------------------------------------------------------------

DEBUG_LINE = re.compile(r"^\[\s*(\d+)\.(\d{3})\]\s+(-> )?(\w+)@(\d+)\.(\w+)\((.*)\)\s*$")


class DebugLog:
    """A program's WAYLAND_DEBUG lines, followed as they come: which of its surfaces are the sensor
    and the panel, when it dispatched wl_pointer.enter on one, and when it committed a new buffer
    on one."""

    def __init__(self, reader, sensor_names: set[str], panel_names: set[str]):
        self.reader = reader
        self.sensor_names = sensor_names
        self.panel_names = panel_names
        self.mark = 0
        self.role: dict[int, str] = {}
        self.xdg_surface: dict[int, int] = {}
        self.toplevel: dict[int, int] = {}
        self.attached: set[int] = set()
        self.damaged: set[int] = set()
        self.events: list[tuple[float, str, str]] = []  # (monotonic ms, kind, role)
        self.lines = 0

    def _name_role(self, surface: int, name: str) -> None:
        if name in self.sensor_names:
            self.role[surface] = "sensor"
        elif name in self.panel_names:
            self.role[surface] = "panel"

    def update(self) -> None:
        lines = self.reader.since(self.mark)
        self.mark += len(lines)
        # libwayland stamps with CLOCK_REALTIME in microseconds, wrapped at 2^32 (71 minutes):
        # unwrapped from now, then moved to CLOCK_MONOTONIC.
        realtime_us = time.clock_gettime(time.CLOCK_REALTIME) * 1e6
        to_monotonic_us = realtime_us - time.monotonic() * 1e6
        for line in lines:
            match = DEBUG_LINE.match(line)
            if not match:
                continue
            self.lines += 1
            stamp, sent, interface, object_id, member, args = (
                int(match[1]) * 1000 + int(match[2]), match[3], match[4], int(match[5]),
                match[6], match[7])
            full_us = realtime_us - ((int(realtime_us) - stamp) % (1 << 32))
            at = (full_us - to_monotonic_us) / 1000
            ids = [int(n) for n in re.findall(r"@(\d+)", args)]
            if sent and interface == "wl_compositor" and member == "create_surface":
                self.role.pop(ids[0], None)
                self.attached.discard(ids[0])
            elif sent and member == "get_layer_surface":
                names = re.findall(r'"([^"]*)"', args)
                if names:
                    self._name_role(ids[1], names[-1])
            elif sent and member == "get_xdg_surface":
                self.xdg_surface[ids[0]] = ids[1]
            elif sent and interface == "xdg_surface" and member == "get_toplevel":
                if object_id in self.xdg_surface:
                    self.toplevel[ids[0]] = self.xdg_surface[object_id]
            elif sent and interface == "xdg_toplevel" and member == "set_title":
                names = re.findall(r'"([^"]*)"', args)
                if names and object_id in self.toplevel:
                    self._name_role(self.toplevel[object_id], names[0])
            elif sent and interface == "wl_surface" and member == "attach":
                if ids:
                    self.attached.add(object_id)
            elif sent and interface == "wl_surface" and member in ("damage", "damage_buffer"):
                self.damaged.add(object_id)
            elif sent and interface == "wl_surface" and member == "commit":
                if object_id in self.attached and object_id in self.role:
                    # A buffer without damage shows nothing new; Qt sends one when a frame
                    # changed nothing.
                    kind = "commit" if object_id in self.damaged else "empty commit"
                    self.events.append((at, kind, self.role[object_id]))
                self.attached.discard(object_id)
                self.damaged.discard(object_id)
            elif not sent and interface == "wl_pointer" and member == "enter":
                if len(ids) > 0 and ids[0] in self.role:
                    self.events.append((at, "enter", self.role[ids[0]]))

    def explain(self, spring: Spring, until: float) -> dict:
        """When, after the input, the program dispatched the pointer's entering its sensor, first
        committed a buffer on its panel (with damage or without), and committed the buffer that
        the spring's first frame on screen showed; and the intervals of the panel's commits with
        damage until `until`."""
        self.update()
        window = [(at, kind, role) for at, kind, role in self.events
                  if spring.since <= at <= until]
        enter = next((at for at, kind, role in window
                      if kind == "enter" and role == "sensor"), None)
        buffers = [at for at, kind, role in window if kind.endswith("commit") and role == "panel"]
        commits = [at for at, kind, role in window if kind == "commit" and role == "panel"]
        shown = [at for at in commits if at <= spring.frames[0]]

        def after(times: list[float]) -> float | None:
            return times[0] - spring.since if times else None
        return {
            "enter_ms": after([enter] if enter is not None else []),
            "first_buffer_ms": after(buffers),
            "first_commit_ms": after(commits),
            "shown_commit_ms": shown[-1] - spring.since if shown else None,
            "commit_intervals": [b - a for a, b in zip(commits, commits[1:])],
        }


# --- one program ----------------------------------------------------------------------------------

@dataclass
class Run:
    session: waylandtest.Session
    compositor: BenchSway
    vnc: sway.RfbClient
    screen: Screen
    caller: Helper
    args: argparse.Namespace


class Program:
    def __init__(self, label: str, binary: str, bus: tuple[str, str, str]):
        self.label = label
        self.binary = binary  # installed where the session's user can run it
        self.bus = bus
        self.process = None
        self.stderr = None

    def start(self, run: Run, env: dict) -> None:
        raise NotImplementedError

    def stop(self, run: Run) -> None:
        if self.process is not None:
            run.session.stop(self.process)
            self.process = None

    def debug_log(self) -> DebugLog:
        raise NotImplementedError


class App(Program):
    def __init__(self, label: str, source: str, bus: tuple[str, str, str]):
        super().__init__(label, source, bus)
        self.source = source

    def start(self, run: Run, env: dict) -> None:
        session = run.session
        # Copied anew where the session's user can run it.
        self.process = session.start_app(self.source, env=dict(run.compositor.client_env(),
                                                                 **env))
        self.binary = os.path.join(session.bin, os.path.basename(self.source))
        self.stderr = session.app_stderr
        waylandtest.wait_for(lambda: session.app_running() and session.app_on_bus(),
                             "the app on the bus", 40)

    def debug_log(self) -> DebugLog:
        return DebugLog(self.stderr, {"tallowfern-sensor"}, {"tallowfern-panel"})


class Reference(Program):
    def start(self, run: Run, env: dict) -> None:
        session = run.session
        full_env = dict(run.compositor.client_env(), QT_QPA_PLATFORM="wayland",
                        QT_QUICK_BACKEND="software", DISPLAY=None)
        full_env.update(env)
        self.process = session.spawn([self.binary], env=full_env, stderr=subprocess.PIPE,
                                     name="reference")
        self.stderr = waylandtest.LineReader(
            self.process.stderr, os.path.join(session.artifacts_dir,
                                              f"reference-{len(session._processes)}.log"))

        def mapped() -> bool:
            names = set()
            nodes = [run.compositor.tree()]
            while nodes:
                node = nodes.pop()
                names.add(node.get("name"))
                nodes += node.get("nodes", []) + node.get("floating_nodes", [])
            return {REFERENCE_SENSOR_TITLE, REFERENCE_PANEL_TITLE} <= names
        waylandtest.wait_for(mapped, "the reference's windows", 40)
        # Qt 6.4 on Wayland gives the panel window all of the pointer despite
        # WindowTransparentForInput, so the strip goes above it: focus raises a floating window
        # in sway. The keyboard then goes back to the window beneath.
        run.compositor.swaymsg(f'[title="^{REFERENCE_SENSOR_TITLE}$"] focus')
        run.compositor.swaymsg(f'[title="^{RECORDER_TITLE}$"] focus')

    def debug_log(self) -> DebugLog:
        return DebugLog(self.stderr, {REFERENCE_SENSOR_TITLE}, {REFERENCE_PANEL_TITLE})


def cpu_ms(pid: int) -> float:
    """User and system time of a process so far."""
    fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) * 1000 / os.sysconf("SC_CLK_TCK")


def toggle_alone(session: waylandtest.Session, binary: str, runs: int) -> list[float]:
    """How long `BINARY --toggle` takes, as the session's user, while nothing answers it: the
    process's start, its bus connection and one call, which the key binding's latency includes
    (and also the shell sway starts it with)."""
    times = []
    for _ in range(runs):
        started = time.monotonic()
        subprocess.run(session.user_command([binary, "--toggle"]), env=session.env,
                       cwd=session.home, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=30)
        times.append((time.monotonic() - started) * 1000)
    return times


def one_cycle(run: Run, program: Program, debug: DebugLog | None) -> list[Spring]:
    screen, vnc = run.screen, run.vnc
    springs = []

    def step(trigger: str, act) -> None:
        screen.settle()
        before, checksum = screen.pixels, screen.checksum
        point = OPENING if trigger in OPENS else CLOSING
        since = act()
        spring = screen.spring(trigger, since, point, before[point], checksum)
        if debug:
            spring.debug = debug.explain(spring, spring.frames[-1])
        springs.append(spring)

    def pointer(x: int, y: int):
        def act() -> float:
            at = time.monotonic() * 1000
            vnc.move(x, y)
            return at
        return act

    def alt_n() -> float:
        vnc.key(sway.KEY_ALT_L, True)
        at = time.monotonic() * 1000
        vnc.key(ord("n"), True)
        vnc.key(ord("n"), False)
        vnc.key(sway.KEY_ALT_L, False)
        return at

    def bus_toggle() -> float:
        # The last call's answer first: each call from an idle bus.
        run.caller.process.stdin.write(" ".join(program.bus + ("Toggle",)) + "\n")
        run.caller.process.stdin.flush()
        while True:
            line = run.caller.next(run.args.timeout)
            if not line:
                raise BenchError("the bus caller did not send the call")
            if line.startswith("sent "):
                return float(line.split()[1])
            if line.startswith("reply ") and line.split()[2] != "2":
                raise BenchError(f"Toggle failed on the bus ({line})")

    step("hover", pointer(*ON_SENSOR))
    step("leave", pointer(*AWAY))
    step("binding open", alt_n)
    step("binding close", alt_n)
    step("bus open", bus_toggle)
    step("bus close", bus_toggle)
    return springs


def measure_program(run: Run, program: Program, debug: bool) -> dict:
    screen = run.screen
    env = {"WAYLAND_DEBUG": "1"} if debug else {}
    run.vnc.move(*AWAY)
    program.start(run, env)
    try:
        # Drawn and still: the notch black, the panel closed over the grey beneath.
        screen.wait_pixels(lambda p: is_black(p[NOTCH]) and is_grey(p[OPENING]) and
                           is_grey(p[CLOSING]), f"{program.label} closed on the screen",
                           nudge=lambda: run.vnc.move(AWAY[0], AWAY[1] + 10))
        run.vnc.move(*AWAY)
        run.compositor.swaymsg(f"bindsym Mod1+n exec {program.binary} --toggle")
        log = program.debug_log() if debug else None
        springs: list[Spring] = []
        # What the measurement itself costs shows beside what the program costs.
        pids = {program.label: program.process.pid, "sway": run.compositor.process.pid,
                "wayvnc": run.compositor.wayvnc.pid, "screen probe": run.screen.probe.process.pid}
        for cycle in range(run.args.warmups + run.args.cycles):
            if cycle == run.args.warmups:
                started = time.monotonic()
                cpu_before = {name: cpu_ms(pid) for name, pid in pids.items()}
            done = one_cycle(run, program, log)
            if cycle >= run.args.warmups:
                springs += done
            if program.process.poll() is not None:
                raise BenchError(f"{program.label} ended during the measurement")
        seconds = time.monotonic() - started
        cpu = {name: (cpu_ms(pid) - cpu_before[name]) / seconds for name, pid in pids.items()}
    finally:
        program.stop(run)
    figures = summarise(springs, run.args.late, log)
    figures["cpu_ms_per_s"] = {"program" if name == program.label else name: value
                               for name, value in cpu.items()}
    figures["seconds"] = seconds
    return figures


# --- figures --------------------------------------------------------------------------------------

def spring_figures(springs: list[Spring], late_ms: float) -> dict:
    counts = sorted(len(spring.frames) for spring in springs)
    figures = openbench.spring_figures(springs, late_ms)
    figures["frames"] = {"median": percentile(counts, 0.5), "min": counts[0],
                         "max": counts[-1], "values": counts}
    return figures


def summarise(springs: list[Spring], late: float, log: DebugLog | None) -> dict:
    by = {trigger: [s for s in springs if s.trigger == trigger] for trigger in TRIGGERS}
    figures = {
        "latency": {trigger.replace(" ", "_"): spread([s.first_ms for s in by[trigger]])
                    for trigger in TRIGGERS},
        "first_change": {trigger.replace(" ", "_"): spread([s.change_ms for s in by[trigger]
                                                            if s.change_ms is not None])
                         for trigger in TRIGGERS},
        "open": spring_figures([s for s in springs if s.trigger in OPENS], late),
        "close": spring_figures([s for s in springs if s.trigger not in OPENS], late),
        "probe_lag_ms": spread([s.probe_lag_ms for s in springs], keep=False),
    }
    if log:
        breakdown = {}
        for trigger in TRIGGERS:
            details = [s.debug for s in by[trigger]]

            def values(key: str) -> list[float]:
                return [d[key] for d in details if d.get(key) is not None]
            breakdown[trigger.replace(" ", "_")] = {
                "enter": spread(values("enter_ms")),
                "first_buffer": spread(values("first_buffer_ms")),
                "first_commit": spread(values("first_commit_ms")),
                "shown_commit": spread(values("shown_commit_ms")),
                "commit_to_screen": spread([s.first_ms - s.debug["shown_commit_ms"]
                                            for s in by[trigger]
                                            if s.debug.get("shown_commit_ms") is not None]),
            }
        commits = {kind: [gap for s in springs if (s.trigger in OPENS) == (kind == "open")
                          for gap in s.debug.get("commit_intervals", [])]
                   for kind in ("open", "close")}
        figures["debug"] = {"lines": log.lines, "steps": breakdown,
                            "commit_interval": {kind: spread(gaps, keep=False)
                                                for kind, gaps in commits.items()}}
    return figures


def report(runs: dict, toggles: dict, args: argparse.Namespace) -> None:
    triggers = latency_triggers([("binding_open", "Alt+N binding, opening"),
                                 ("binding_close", "Alt+N binding, closing"),
                                 ("bus_open", "Toggle on the bus, opening"),
                                 ("bus_close", "Toggle on the bus, closing")])
    print(f"Latency from the input to the first frame on screen that shows the panel moving, "
          f"{cycles_note(args)}")
    print("('any change': the first frame that changed anything in the left half of the panel's "
          "area, a wider panel or new content before the edge moves)")

    def any_change(figures: dict, key: str) -> list[str]:
        change = figures["first_change"][key]
        return [ms(change["median_ms"]), ms(change["max_ms"])]
    print(table(["WAYLAND_DEBUG", "program", "from", "median ms", "p95 ms", "max ms",
                 "target ms", "any change median", "max"],
                latency_rows(runs, triggers, any_change)))
    print()
    print_springs(runs, "WAYLAND_DEBUG", args.late,
                  " (output commits that damaged the panel's area)")
    print()
    for mode, figures in runs.items():
        r = figures["ratios"]
        print(f"WAYLAND_DEBUG {mode}: " + ratios_line(
            r, f"binding open {format_ratio(r['binding_open_latency'])}, close "
               f"{format_ratio(r['binding_close_latency'])}; bus open "
               f"{format_ratio(r['bus_open_latency'])}, close "
               f"{format_ratio(r['bus_close_latency'])}"))
    for mode, figures in runs.items():
        for program in PROGRAMS:
            cpu = figures[program]["cpu_ms_per_s"]
            print(f"  CPU during {program}'s cycles, WAYLAND_DEBUG {mode} (ms per second over "
                  f"{figures[program]['seconds']:.0f} s): " +
                  ", ".join(f"{name} {value:.0f}" for name, value in cpu.items()) +
                  f"; the probe's frames arrived at most "
                  f"{figures[program]['probe_lag_ms']['max_ms']:.1f} ms after the commit")
    print("  `--toggle` alone, as the binding runs it but with nothing to answer (the process, "
          "its bus connection, one call; from spawn to exit, median/p95/max ms): " +
          "; ".join(f"{label} {ms(t['median_ms'])}/{ms(t['p95_ms'])}/{ms(t['max_ms'])}"
                    for label, t in toggles.items()))
    if "on" in runs:
        print()
        print("Where the time went, with WAYLAND_DEBUG (medians, ms after the input): the "
              "program dispatching wl_pointer.enter on its sensor; its first buffer committed on "
              "the panel, and the first that carried damage; the commit of the buffer that the "
              "first frame on screen showed, and from that commit to the frame on screen")
        rows = []
        for key, label, _ in triggers:
            for program in PROGRAMS:
                step = runs["on"][program]["debug"]["steps"][key]
                rows.append([program, label, ms(step["enter"]["median_ms"]),
                             ms(step["first_buffer"]["median_ms"]),
                             ms(step["first_commit"]["median_ms"]),
                             ms(step["shown_commit"]["median_ms"]),
                             ms(step["commit_to_screen"]["median_ms"]),
                             ms(step["commit_to_screen"]["max_ms"])])
        print(table(["program", "from", "enter", "first buffer", "first damage",
                     "shown commit", "commit to screen", "max"], rows))
        for program in PROGRAMS:
            debug = runs["on"][program]["debug"]
            print(f"  {program}: {debug['lines']} WAYLAND_DEBUG lines; panel commit intervals "
                  f"open median {ms(debug['commit_interval']['open']['median_ms'])} p95 "
                  f"{ms(debug['commit_interval']['open']['p95_ms'])}, close median "
                  f"{ms(debug['commit_interval']['close']['median_ms'])} p95 "
                  f"{ms(debug['commit_interval']['close']['p95_ms'])}")
    print(flush=True)


# --- main -----------------------------------------------------------------------------------------

def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build-dir", type=Path, default=HERE.parent / "build",
                        help="where the app and the reference were built (default: build)")
    parser.add_argument("--app", type=Path, help="default: BUILD_DIR/tallowfern")
    parser.add_argument("--reference", type=Path,
                        help="default: BUILD_DIR/bench/bench_reference_panel")
    parser.add_argument("--recorder", type=Path,
                        help="the window beneath (default: "
                             "BUILD_DIR/tests/wayland/wayland_click_recorder)")
    add_cycle_arguments(parser, "program and mode")
    parser.add_argument("--debug", choices=("off", "on", "both"), default="both",
                        help="run the programs without WAYLAND_DEBUG, with it, or both "
                             "(default: both)")
    parser.add_argument("--artifacts", type=Path,
                        help="logs of sway, wayvnc, the programs and the helpers (default: a "
                             "temporary folder, removed afterwards)")
    parser.add_argument("--json", type=Path, metavar="FILE", help="also write the figures here")
    args = parser.parse_args()
    check_cycle_arguments(parser, args)
    if os.geteuid() != 0:
        print("skipped: needs root, to run the compositor as an unprivileged user")
        return 77
    build = args.build_dir.resolve()
    app = (args.app or build / "tallowfern").resolve()
    reference = (args.reference or build / "bench" / "bench_reference_panel").resolve()
    recorder = (args.recorder or build / "tests" / "wayland" / "wayland_click_recorder").resolve()
    check_executables(app, reference, recorder)
    for tool in ("sway", "swaymsg", "wayvnc", "dbus-daemon", "gdbus", "setpriv", HELPER_PYTHON):
        if not shutil.which(tool):
            raise BenchError(f"{tool} is missing")

    keep = args.artifacts is not None
    artifacts = str(args.artifacts.resolve()) if keep else None
    if artifacts:
        shutil.rmtree(artifacts, ignore_errors=True)
    else:
        import tempfile
        artifacts = tempfile.mkdtemp(prefix="tallowfern-sway-open-")
    session = waylandtest.Session(str(HERE.parent), artifacts, "bench-open")
    helpers: list[Helper] = []
    vnc = None
    try:
        session.start_bus()
        compositor = BenchSway(session).start()
        session.start_recorder(str(recorder), env=compositor.client_env())
        vnc = compositor.start_input()
        vnc.move(*AWAY)
        script = session.install_binary(__file__)
        probe_args = [str(v) for v in COPIED_AREA] + [str(v) for point in POINTS for v in point]
        helpers.append(Helper(session, compositor.client_env(), script,
                              ["--screen-probe"] + probe_args, "screen-probe"))
        helpers.append(Helper(session, {}, script, ["--bus-caller"], "bus-caller"))
        screen = Screen(helpers[0], args.quiet, args.timeout)
        screen.wait_pixels(lambda p: all(is_grey(value) for value in p),
                           "the window beneath to fill the screen",
                           nudge=lambda: vnc.move(AWAY[0], AWAY[1] + 10))
        vnc.click(*AWAY)  # the window beneath has the keyboard, as the one a user works in
        session.write_settings()
        session.write_board()
        run = Run(session, compositor, vnc, screen, helpers[1], args)
        # The reference's binary is installed once; the app's each time it starts.
        programs = [App("tallowfern", str(app), APP_BUS),
                    Reference("reference", session.install_binary(str(reference)),
                              REFERENCE_BUS)]
        load = os.getloadavg()
        print(f"headless sway ({compositor.output} {WIDTH}x{HEIGHT} at 60 Hz, pixman), input "
              f"through wayvnc; load average {load[0]:.2f} {load[1]:.2f} {load[2]:.2f}",
              flush=True)
        modes = {"off": ["off"], "on": ["on"], "both": ["off", "on"]}[args.debug]
        runs = {}
        for index, mode in enumerate(modes):
            order = programs if index % 2 == 0 else list(reversed(programs))
            run_figures = {}
            for program in order:
                waylandtest.log(f"{program.label}, WAYLAND_DEBUG {mode}")
                run_figures[program.label] = measure_program(run, program, mode == "on")
            run_figures["ratios"] = ratios(run_figures["tallowfern"], run_figures["reference"],
                                           ("binding_open", "binding_close", "bus_open",
                                            "bus_close"))
            runs[mode] = run_figures
        toggles = {program.label: spread(toggle_alone(session, program.binary, args.cycles))
                   for program in programs}
        report(runs, toggles, args)
    finally:
        for helper in helpers:
            helper.stop()
        if vnc:
            vnc.close()
        session.close()
        if not keep:
            shutil.rmtree(artifacts, ignore_errors=True)
    write_json(args, {"sway_open": {
        "runs": runs, "toggle_alone": toggles, "load_average_before": load,
        "setup": {"app": str(app), "reference": str(reference), **cycle_setup(args),
                  "points": POINTS, "area": PANEL_AREA, "copied_area": COPIED_AREA}}})
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (BenchError, waylandtest.StepFailed) as error:
        print(f"error: {error}", file=sys.stderr)
        sys.exit(1)
