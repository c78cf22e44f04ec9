"""Headless KWin for the end-to-end tests.

KWin offers layer-shell, so the app's panel is a native Wayland surface here. Input goes through
KWin's fake-input protocol (a small client, kwin_fake_input, that keeps one connection open for
the whole test); screenshots come from KWin's ScreenShot2 interface on the session bus. Both are
refused to ordinary clients, so the test session turns KWin's permission checks off.
"""

import os
import shutil
import subprocess

import waylandtest
from panelsteps import GI_PYTHON, HEIGHT, WIDTH, Compositor, LineInput, write_png
from waylandtest import StepFailed, log, wait_for

# Runs as the session's user under the system Python (which has PyGObject): ScreenShot2 writes
# the picture into a pipe passed along with the call, which gdbus cannot do. Prints a binary PPM.
_SCREENSHOT_HELPER = r'''
import os
import sys
import threading
from gi.repository import Gio, GLib

bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
read_end, write_end = os.pipe()
chunks = []


def drain():
    while True:
        chunk = os.read(read_end, 1 << 20)
        if not chunk:
            break
        chunks.append(chunk)


reader = threading.Thread(target=drain)
reader.start()
fds = Gio.UnixFDList.new()
index = fds.append(write_end)
os.close(write_end)
reply, _ = bus.call_with_unix_fd_list_sync(
    "org.kde.KWin", "/org/kde/KWin/ScreenShot2", "org.kde.KWin.ScreenShot2", "CaptureWorkspace",
    GLib.Variant("(a{sv}h)", ({"native-resolution": GLib.Variant("b", True)}, index)),
    GLib.VariantType("(a{sv})"), Gio.DBusCallFlags.NONE, 10000, fds, None)
del fds
results = reply.unpack()[0]
reader.join()
data = b"".join(chunks)
width, height, stride = results["width"], results["height"], results["stride"]
image_format = results["format"]
# QImage formats: 4 RGB32, 5 ARGB32, 6 ARGB32 premultiplied are B G R A in memory on a
# little-endian machine; 16, 17, 18 (RGBX8888, RGBA8888, premultiplied) are R G B A.
if image_format in (4, 5, 6):
    order = (2, 1, 0)
elif image_format in (16, 17, 18):
    order = (0, 1, 2)
else:
    sys.stderr.write("unexpected image format %d\n" % image_format)
    sys.exit(1)
out = bytearray(width * height * 3)
for y in range(height):
    row = data[y * stride:y * stride + width * 4]
    for channel, source in enumerate(order):
        out[y * width * 3 + channel:(y + 1) * width * 3:3] = row[source::4]
sys.stdout.buffer.write(b"P6\n%d %d\n255\n" % (width, height))
sys.stdout.buffer.write(bytes(out))
'''


class KWin(Compositor):
    """kwin_wayland on its virtual backend with one 1920x1080 output and XWayland, run as the
    session's user with the session's private bus."""

    name = "kwin"

    def __init__(self, session):
        super().__init__(session, "wayland-tallowfern-kwin-%d" % os.getpid())

    def install_kwin(self):
        """A copy without the file capability Debian gives kwin_wayland: the kernel refuses to
        exec a binary with capabilities for a user without them. shutil.copy2 would copy the
        capability along with the other extended attributes."""
        target = os.path.join(self.session.bin, "kwin_wayland")
        shutil.copyfile(shutil.which("kwin_wayland"), target)
        os.chmod(target, 0o755)
        return target

    def start(self):
        session = self.session
        environment_file = os.path.join(session.runtime, "kwin-environment")
        # KWin starts this once its Wayland socket and XWayland are up; what it sees is what
        # programs in this session see.
        report = waylandtest.environment_reporter(environment_file, then="exec sleep infinity")
        self.spawn(
            [self.install_kwin(), "--virtual", "--xwayland", "--width", str(WIDTH),
             "--height", str(HEIGHT), "--socket", self.wayland_display, "--no-lockscreen",
             report],
            env={"KWIN_WAYLAND_NO_PERMISSION_CHECKS": "1",
                 "KWIN_SCREENSHOT_NO_PERMISSION_CHECKS": "1",
                 "XDG_SESSION_TYPE": "wayland", "XDG_CURRENT_DESKTOP": "KDE",
                 "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": "5",
                 "WAYLAND_DISPLAY": None, "DISPLAY": None})

        values = waylandtest.child_environment(self.process, environment_file, "kwin", 40)
        self.x_display = values.get("DISPLAY") or None
        if values.get("WAYLAND_DISPLAY") != self.wayland_display:
            raise StepFailed("KWin gave its children WAYLAND_DISPLAY=%s"
                             % values.get("WAYLAND_DISPLAY"))
        wait_for(lambda: session.name_on_bus("org.kde.KWin.ScreenShot2"),
                 "org.kde.KWin.ScreenShot2 on the session bus")
        log("KWin up: WAYLAND_DISPLAY=%s DISPLAY=%s" % (self.wayland_display, self.x_display))
        return self

    def client_env(self):
        """What a program started in this Plasma session sees."""
        return {"WAYLAND_DISPLAY": self.wayland_display, "DISPLAY": self.x_display,
                "XDG_SESSION_TYPE": "wayland", "XDG_CURRENT_DESKTOP": "KDE",
                "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": "5"}

    def recorder_env(self):
        # Without a title bar the recorder's content starts at the screen's top-left corner, so
        # the positions it reports are screen positions.
        env = self.client_env()
        env.update({"DISPLAY": None, "QT_WAYLAND_DISABLE_WINDOWDECORATION": "1"})
        return env

    def start_input(self, helper_binary):
        self.input = FakeInput(self.session, helper_binary, self.user_env())
        return self.input

    def screenshot(self, path=None):
        """The whole output as an Image; also saved as PNG at path when given."""
        result = subprocess.run(
            self.session.user_command([GI_PYTHON, "-c", _SCREENSHOT_HELPER]),
            env=self.user_env(), cwd=self.session.home, capture_output=True, timeout=20)
        if result.returncode != 0:
            raise RuntimeError("ScreenShot2: %s"
                               % result.stderr.decode(errors="replace")[-2000:])
        image = waylandtest.Image.from_ppm(result.stdout)
        if path:
            write_png(path, image)
        return image


class FakeInput(LineInput):
    """One lasting virtual pointer and keyboard in KWin, driven through kwin_fake_input."""

    what = "fake input"

    def __init__(self, session, helper_binary, env):
        self.session = session
        installed = session.install_binary(helper_binary)
        first = self.start_helper(session, session.user_command([installed]), env,
                                  "kwin-fake-input.log")
        if not first.startswith("ready"):
            raise StepFailed("kwin_fake_input did not start: %r" % first)
        if int(first.split()[1]) < 4:
            raise StepFailed("KWin's fake input is version %s; keys need 4" % first.split()[1])
        self.position = None

    def move(self, x, y):
        self._send("move %d %d" % (x, y))
        self.position = (x, y)

