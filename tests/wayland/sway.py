"""Headless sway for the end-to-end tests, with input through wayvnc and a small RFB client.

wayvnc keeps one virtual pointer and one virtual keyboard for as long as a VNC client stays
connected, with the compositor's own keymap, which is what a real user's devices look like to
the app. Screenshots come from grim.
"""

import json
import os
import socket
import struct
import subprocess
import threading

import waylandtest
from waylandtest import StepFailed, log, wait_for

WIDTH = 1920
HEIGHT = 1080

KEY_ALT_L = 0xffe9
KEY_ESCAPE = 0xff1b
KEY_RETURN = 0xff0d
KEY_SHIFT_L = 0xffe1

BUTTON_LEFT = 1


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Sway:
    """sway on the headless backend, run as the session's user."""

    def __init__(self, session, extra_config=""):
        self.session = session
        self.extra_config = extra_config
        self.process = None
        self.wayland_display = None
        self.x_display = None
        self.swaysock = None
        self.output = None
        self.vnc = None
        self.wayvnc = None

    def config_text(self):
        toggle = ("gdbus call --session --dest %s --object-path %s --method %s.Toggle"
                  % (waylandtest.BUS_NAME, waylandtest.OBJECT_PATH, waylandtest.INTERFACE))
        environment_file = os.path.join(self.session.runtime, "sway-environment")
        return "\n".join([
            "output HEADLESS-1 resolution %dx%d position 0,0" % (WIDTH, HEIGHT),
            "xwayland force",
            "default_border none",
            "default_floating_border none",
            "titlebar_border_thickness 0",
            "focus_on_window_activation focus",
            # What a sway user writes to reach the app with Alt+N.
            "bindsym Mod1+n exec " + toggle,
            # The display names sway gives its children, for the app and the tools.
            "exec " + waylandtest.environment_reporter(environment_file),
            self.extra_config,
            "",
        ])

    def start(self):
        session = self.session
        config = os.path.join(session.root, "sway.config")
        session.write_user_file(config, self.config_text())
        self.process = session.spawn_logged(
            ["sway", "-c", config], "sway.log",
            env={"WLR_BACKENDS": "headless", "WLR_LIBINPUT_NO_DEVICES": "1",
                 "WLR_RENDERER": "pixman", "WLR_HEADLESS_OUTPUTS": "1",
                 "XDG_SESSION_TYPE": "wayland", "XDG_CURRENT_DESKTOP": "sway",
                 "WAYLAND_DISPLAY": None, "DISPLAY": None})
        values = waylandtest.child_environment(
            self.process, os.path.join(session.runtime, "sway-environment"), "sway")
        self.wayland_display = values.get("WAYLAND_DISPLAY")
        self.x_display = values.get("DISPLAY")
        self.swaysock = values.get("SWAYSOCK")
        if not self.wayland_display or not self.swaysock:
            raise StepFailed("sway gave its children no WAYLAND_DISPLAY/SWAYSOCK")
        outputs = json.loads(self.swaymsg("-t", "get_outputs", "-r"))
        self.output = outputs[0]["name"]
        rect = outputs[0]["rect"]
        log("sway up: WAYLAND_DISPLAY=%s DISPLAY=%s output %s %dx%d" % (
            self.wayland_display, self.x_display, self.output, rect["width"], rect["height"]))
        if (rect["width"], rect["height"]) != (WIDTH, HEIGHT):
            raise StepFailed("output %s is %dx%d, not %dx%d" % (
                self.output, rect["width"], rect["height"], WIDTH, HEIGHT))
        return self

    def client_env(self):
        """What a program started in this sway session sees."""
        env = {"WAYLAND_DISPLAY": self.wayland_display, "SWAYSOCK": self.swaysock,
               "XDG_SESSION_TYPE": "wayland", "XDG_CURRENT_DESKTOP": "sway"}
        if self.x_display:
            env["DISPLAY"] = self.x_display
        return env

    def swaymsg(self, *args):
        return self.session.run(["swaymsg"] + list(args), env=self.client_env())

    def tree(self):
        return json.loads(self.swaymsg("-t", "get_tree", "-r"))

    def screenshot(self, path=None):
        """The output as an Image; also saved as PNG at path when given."""
        data = subprocess.run(
            self.session.user_command(["grim", "-t", "ppm", "-"]),
            env=dict(self.session.env, **self.client_env()), capture_output=True,
            timeout=30, check=True).stdout
        image = waylandtest.Image.from_ppm(data)
        if path:
            png = subprocess.run(
                self.session.user_command(["grim", "-t", "png", "-"]),
                env=dict(self.session.env, **self.client_env()), capture_output=True,
                timeout=30, check=True).stdout
            with open(path, "wb") as handle:
                handle.write(png)
        return image

    def start_input(self):
        """wayvnc on the output and our client connected to it, for the whole run."""
        port = free_port()
        self.wayvnc = self.session.spawn_logged(
            ["wayvnc", "--output=" + self.output, "127.0.0.1", str(port)], "wayvnc.log",
            env=self.client_env())

        def connect():
            if self.wayvnc.poll() is not None:
                raise StepFailed("wayvnc exited (%s); see wayvnc.log" % self.wayvnc.returncode)
            return RfbClient("127.0.0.1", port)
        self.vnc = wait_for(connect, "wayvnc to accept a connection")
        return self.vnc

    def close(self):
        if self.vnc:
            self.vnc.close()


class RfbClient(waylandtest.InputActions):
    """Just enough of RFB 3.8 to send pointer and key events; keys are X keysyms."""

    def __init__(self, host, port):
        self.socket = socket.create_connection((host, port), timeout=10)
        version = self._read(12)
        if not version.startswith(b"RFB "):
            raise RuntimeError("not an RFB server: %r" % version)
        self.socket.sendall(b"RFB 003.008\n")
        count = self._read(1)[0]
        if count == 0:
            length = struct.unpack(">I", self._read(4))[0]
            raise RuntimeError("RFB refused: %s" % self._read(length).decode(errors="replace"))
        types = self._read(count)
        if 1 not in types:
            raise RuntimeError("the VNC server wants authentication (offers %s)" % list(types))
        self.socket.sendall(bytes([1]))
        if struct.unpack(">I", self._read(4))[0] != 0:
            raise RuntimeError("RFB security handshake failed")
        self.socket.sendall(bytes([1]))  # shared
        width, height = struct.unpack(">HH", self._read(4))
        self._read(16)  # pixel format
        name_length = struct.unpack(">I", self._read(4))[0]
        self.name = self._read(name_length).decode(errors="replace")
        self.width, self.height = width, height
        self.socket.settimeout(None)
        self.buttons = 0
        self.position = (0, 0)
        self._lock = threading.Lock()
        # The server may send bells or clipboard text; read and drop them so it never blocks.
        self._drain = threading.Thread(target=self._drain_loop, daemon=True)
        self._drain.start()

    def _read(self, count):
        data = b""
        while len(data) < count:
            chunk = self.socket.recv(count - len(data))
            if not chunk:
                raise RuntimeError("VNC connection closed")
            data += chunk
        return data

    def _drain_loop(self):
        try:
            while self.socket.recv(65536):
                pass
        except OSError:
            pass

    def _send(self, data):
        with self._lock:
            self.socket.sendall(data)

    def move(self, x, y):
        self.position = (x, y)
        self._send(struct.pack(">BBHH", 5, self.buttons, x, y))

    def press(self, button=BUTTON_LEFT):
        self.buttons |= button
        self._send(struct.pack(">BBHH", 5, self.buttons, *self.position))

    def release(self, button=BUTTON_LEFT):
        self.buttons &= ~button
        self._send(struct.pack(">BBHH", 5, self.buttons, *self.position))

    def button(self, pressed, button=BUTTON_LEFT):
        if pressed:
            self.press(button)
        else:
            self.release(button)

    def key(self, keysym, down):
        self._send(struct.pack(">BBxxI", 4, 1 if down else 0, keysym))

    def type_text(self, text):
        for character in text:
            if character.isupper():
                self.chord(KEY_SHIFT_L, ord(character))
            else:
                self.tap(ord(character))

    def close(self):
        try:
            self.socket.close()
        except OSError:
            pass
