"""Headless mutter for the end-to-end tests.

mutter starts XWayland itself; the app's windows live there, the click recorder is a native
Wayland window. Input goes through mutter's own RemoteDesktop interface on the session bus, which
creates virtual devices in the compositor, so both kinds of window see it as a user's input.
Screenshots come from XWayland: rootless XWayland refuses GetImage on its root window, so a
screenshot is put together from the app's X windows laid over the recorder's grey.
"""

import glob
import os
import re
import struct
import subprocess
import time

import waylandtest
from panelsteps import GI_PYTHON, HEIGHT, KEY_LEFTSHIFT, WIDTH, Compositor, LineInput, write_png
from waylandtest import StepFailed, log, wait_for

# What the recorder paints: the backdrop a composed screenshot puts the X windows on.
RECORDER_GREY = (0x80, 0x80, 0x80)

# NotifyPointerAxis's flags and NotifyPointerAxisDiscrete's axes in mutter's RemoteDesktop.
AXIS_FINISH = 1
AXIS_SOURCE_FINGER = 4
AXIS_HORIZONTAL = 1

# Runs as the session's user under the system Python (which has PyGObject): mutter ends a
# RemoteDesktop session when the connection that created it goes away, so one process keeps it
# for the whole test and takes commands on stdin, one a line, answering "ok" or "error ...".
_INPUT_HELPER = r'''
import sys
from gi.repository import Gio, GLib

bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
SERVICE = "org.gnome.Mutter.RemoteDesktop"
SESSION = SERVICE + ".Session"


def call(path, interface, method, args=None, reply=None):
    return bus.call_sync(SERVICE, path, interface, method, args,
                         GLib.VariantType(reply) if reply else None,
                         Gio.DBusCallFlags.NONE, 10000, None)


path = call("/org/gnome/Mutter/RemoteDesktop", SERVICE, "CreateSession", None, "(o)").unpack()[0]
call(path, SESSION, "Start")
print("ready " + path, flush=True)
for line in sys.stdin:
    words = line.split()
    try:
        if words[0] == "motion":
            call(path, SESSION, "NotifyPointerMotionRelative",
                 GLib.Variant("(dd)", (float(words[1]), float(words[2]))))
        elif words[0] == "button":
            call(path, SESSION, "NotifyPointerButton",
                 GLib.Variant("(ib)", (int(words[1]), words[2] == "press")))
        elif words[0] == "axis":
            call(path, SESSION, "NotifyPointerAxis",
                 GLib.Variant("(ddu)", (float(words[1]), float(words[2]), int(words[3]))))
        elif words[0] == "discrete":
            call(path, SESSION, "NotifyPointerAxisDiscrete",
                 GLib.Variant("(ui)", (int(words[1]), int(words[2]))))
        elif words[0] == "key":
            call(path, SESSION, "NotifyKeyboardKeycode",
                 GLib.Variant("(ub)", (int(words[1]), words[2] == "press")))
        else:
            raise ValueError("unknown command " + words[0])
        print("ok", flush=True)
    except Exception as error:
        print("error %s" % error, flush=True)
'''


class Mutter(Compositor):
    """mutter on its headless backend with one 1920x1080 virtual monitor, run as the session's
    user with the session's private bus."""

    name = "mutter"

    def __init__(self, session):
        super().__init__(session, "wayland-tallowfern-%d" % os.getpid())
        self.xauthority = None

    def start(self):
        session = self.session
        self.spawn(
            ["mutter", "--headless", "--wayland", "--virtual-monitor",
             "%dx%d" % (WIDTH, HEIGHT), "--wayland-display", self.wayland_display,
             "--sm-disable"],
            env={"XDG_SESSION_TYPE": "wayland", "XDG_CURRENT_DESKTOP": "GNOME",
                 "WAYLAND_DISPLAY": None, "DISPLAY": None})

        def x_display():
            if self.process.poll() is not None:
                raise StepFailed("mutter exited (%s); see mutter.log" % self.process.returncode)
            with open(self.log_path, errors="replace") as handle:
                found = re.search(r"Using public X11 display (:\d+)", handle.read())
            return found.group(1) if found else None
        self.x_display = wait_for(x_display, "mutter to start XWayland")
        # XWayland only lets in clients with the cookie mutter wrote into the runtime folder.
        self.xauthority = wait_for(
            lambda: sorted(glob.glob(os.path.join(session.runtime, ".mutter-Xwaylandauth.*"))),
            "mutter's XWayland cookie")[0]
        wait_for(lambda: self._x_answers(), "XWayland %s to answer" % self.x_display)
        wait_for(lambda: session.name_on_bus("org.gnome.Mutter.RemoteDesktop"),
                 "org.gnome.Mutter.RemoteDesktop on the session bus")
        log("mutter up: WAYLAND_DISPLAY=%s DISPLAY=%s" % (self.wayland_display, self.x_display))
        return self

    def _x_answers(self):
        self.session.run(["xwininfo", "-root"], env=self.client_env(), timeout=10)
        return True

    def client_env(self):
        """What a program started in this GNOME session sees."""
        return {"WAYLAND_DISPLAY": self.wayland_display, "DISPLAY": self.x_display,
                "XAUTHORITY": self.xauthority, "XDG_SESSION_TYPE": "wayland",
                "XDG_CURRENT_DESKTOP": "GNOME"}

    def recorder_env(self):
        # Qt's client-side title bar would shift the recorder's content and take clicks near the
        # top edge; the recorder stands for a plain surface.
        env = self.client_env()
        env.update({"DISPLAY": None, "XAUTHORITY": None,
                    "QT_WAYLAND_DISABLE_WINDOWDECORATION": "1"})
        return env

    def start_input(self):
        self.input = RemoteDesktopInput(self.session)
        return self.input

    # -- XWayland's windows -----------------------------------------------------------------

    def x_windows(self):
        """The root's children, bottom to top, as dicts: id, name, x, y, width, height,
        viewable, depth."""
        out = self.session.run(["xwininfo", "-root", "-children"], env=self.client_env())
        windows = []
        for line in out.splitlines():
            found = re.match(r'\s+(0x[0-9a-f]+) (?:"([^"]*)"|\(has no name\)).*?'
                             r'(\d+)x(\d+)\+(-?\d+)\+(-?\d+)\s+\+(-?\d+)\+(-?\d+)\s*$', line)
            if not found:
                continue
            windows.append({"id": found.group(1), "name": found.group(2) or "",
                            "width": int(found.group(3)), "height": int(found.group(4)),
                            "x": int(found.group(7)), "y": int(found.group(8))})
        # xwininfo lists the top of the stack first.
        windows.reverse()
        for window in windows:
            info = self.session.run(["xwininfo", "-id", window["id"]], env=self.client_env(),
                                    check=False)
            window["viewable"] = "IsViewable" in info
            depth = re.search(r"Depth: (\d+)", info)
            window["depth"] = int(depth.group(1)) if depth else 0
        return windows

    def shown_windows(self):
        """The X windows a user would see: viewable, drawable, bigger than Qt's and mutter's
        1x1 helpers. mutter's guard window is input-only (depth 0)."""
        return [w for w in self.x_windows()
                if w["viewable"] and w["depth"] > 0 and w["width"] > 1 and w["height"] > 1]

    def capture_window(self, window_id):
        data = subprocess.run(
            self.session.user_command(["xwd", "-id", window_id, "-silent"]),
            env=self.user_env(), capture_output=True, timeout=30)
        if data.returncode != 0:
            raise RuntimeError("xwd -id %s: %s" % (
                window_id, data.stderr.decode(errors="replace").strip()))
        return read_xwd(data.stdout)

    def screenshot(self, path=None):
        """The screen as the user would see it where X windows are, over the recorder's grey
        elsewhere (native windows cannot be read back through XWayland)."""
        canvas = bytearray(bytes(RECORDER_GREY) * (WIDTH * HEIGHT))
        for window in self.shown_windows():
            try:
                width, height, argb, has_alpha = self.capture_window(window["id"])
            except RuntimeError as error:
                # A window can go away between listing and reading.
                log("screenshot: %s" % error)
                continue
            blit(canvas, window["x"], window["y"], width, height, argb, has_alpha)
        image = waylandtest.Image(WIDTH, HEIGHT, bytes(canvas))
        if path:
            write_png(path, image)
        return image


class RemoteDesktopInput(LineInput):
    """A virtual pointer and keyboard in mutter. mutter 43 moves the pointer to an absolute
    position only for a screen-cast stream, which needs PipeWire; relative motion needs nothing
    and mutter applies no acceleration to it, so the pointer is pushed into the top-left corner
    once and then moved by differences from the position kept here."""

    what = "RemoteDesktop"

    def __init__(self, session):
        self.session = session
        command = session.user_command([GI_PYTHON, "-c", _INPUT_HELPER])
        first = self.start_helper(session, command, session.env, "mutter-input.log")
        if not first.startswith("ready"):
            raise StepFailed("mutter's RemoteDesktop session did not start (%r; see "
                             "mutter-input.log)" % first)
        # mutter drops the first key event of a new virtual keyboard; a lone Shift costs
        # nothing.
        self.key(KEY_LEFTSHIFT, True)
        self.key(KEY_LEFTSHIFT, False)
        self.position = None
        self.home()

    def home(self):
        self._send("motion %d %d" % (-4 * WIDTH, -4 * HEIGHT))
        self.position = (0, 0)

    def move(self, x, y):
        dx, dy = x - self.position[0], y - self.position[1]
        if dx or dy:
            self._send("motion %d %d" % (dx, dy))
        self.position = (x, y)

    def scroll(self, kind, x, y, dx, events, interval_ms):
        """Sideways scrolling with its source, as mutter passes a touchpad's strokes (ended by
        a finish) or a wheel's clicks on to its clients."""
        self.move(x, y)
        for _ in range(events):
            if kind == "finger":
                self._send("axis %f 0 %d" % (dx, AXIS_SOURCE_FINGER))
            else:
                self._send("discrete %d %d" % (AXIS_HORIZONTAL, 1 if dx > 0 else -1))
            time.sleep(interval_ms / 1000)
        if kind == "finger":
            self._send("axis 0 0 %d" % (AXIS_FINISH | AXIS_SOURCE_FINGER))


# -- pictures -------------------------------------------------------------------------------

def read_xwd(data):
    """(width, height, pixels, has_alpha) from an xwd dump of a TrueColor window of depth 24 or
    32; pixels are 4 bytes each, B G R A as an LSB-first 32-bit server stores them."""
    header = struct.unpack(">25I", data[:100])
    (header_size, _version, pixmap_format, depth, width, height, _xoffset, byte_order,
     _unit, _bit_order, _pad, bits_per_pixel, bytes_per_line, _visual_class, red_mask,
     _green_mask, blue_mask, _bits_per_rgb, _entries, ncolors) = header[:20]
    if pixmap_format != 2 or bits_per_pixel != 32:
        raise RuntimeError("xwd: unexpected format %d, %d bits a pixel" % (
            pixmap_format, bits_per_pixel))
    start = header_size + ncolors * 12
    rows = data[start:start + bytes_per_line * height]
    if bytes_per_line != width * 4:
        rows = b"".join(rows[y * bytes_per_line:y * bytes_per_line + width * 4]
                        for y in range(height))
    if byte_order != 0:
        swapped = bytearray(len(rows))
        for offset in range(4):
            swapped[offset::4] = rows[3 - offset::4]
        rows = bytes(swapped)
    if red_mask != 0xff0000 or blue_mask != 0xff:
        raise RuntimeError("xwd: unexpected colour masks")
    return width, height, rows, depth == 32


def _rgb(bgra):
    out = bytearray(len(bgra) // 4 * 3)
    out[0::3] = bgra[2::4]
    out[1::3] = bgra[1::4]
    out[2::3] = bgra[0::4]
    return out


def blit(canvas, x0, y0, width, height, bgra, has_alpha):
    """Lays a window's premultiplied B G R A pixels over the RGB canvas."""
    left = max(0, -x0)
    right = min(width, WIDTH - x0)
    count = right - left
    if count <= 0:
        return
    for row in range(height):
        y = y0 + row
        if y < 0 or y >= HEIGHT:
            continue
        source = bgra[(row * width + left) * 4:(row * width + right) * 4]
        start = (y * WIDTH + x0 + left) * 3
        alpha = source[3::4]
        # Most rows are all opaque or all clear; only the edges need blending.
        if not has_alpha or alpha.count(255) == count:
            canvas[start:start + count * 3] = _rgb(source)
            continue
        if alpha.count(0) == count:
            continue
        below = canvas[start:start + count * 3]
        target = bytearray(count * 3)
        for index in range(count):
            b, g, r, a = source[index * 4:index * 4 + 4]
            keep = 255 - a
            for channel, value in enumerate((r, g, b)):
                target[index * 3 + channel] = min(
                    255, value + below[index * 3 + channel] * keep // 255)
        canvas[start:start + count * 3] = target
