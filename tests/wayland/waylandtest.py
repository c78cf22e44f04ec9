"""Shared pieces of the end-to-end tests on real Wayland compositors.

A Session owns everything one test run starts: a scratch root owned by an unprivileged user
(compositors refuse to run as root, and file permissions only mean something without root), a
private session bus, the app and the click recorder. Every process started here carries a marker
in its environment, so that cleanup also finds what those processes started in turn (XWayland,
commands run from a compositor key binding) and leaves nothing behind.

    session = Session(repo_dir, artifacts_dir, "name")   # scratch root, user dirs, marker
    session.start_bus()                                  # private bus; sets DBUS_SESSION_BUS_ADDRESS
    ... start the compositor with session.spawn_logged([...], "compositor.log", env={...}) ...
    session.start_recorder(recorder, env={"WAYLAND_DISPLAY": ...})   # lines: session.recorder_out
    session.write_settings(); session.write_board()
    session.start_app(app, env={"WAYLAND_DISPLAY": ..., "DISPLAY": ...})
    wait_for(session.app_on_bus, "the app on the bus"); session.is_open(); session.dbus_call("Open")
    session.close()                                      # also runs at exit and on SIGTERM

Recorder lines: "exposed W H", "press X Y global GX GY", "release X Y global GX GY",
"key TEXT" (typed text), "keycode N" (keys without text), "focus in", "focus out".
"""

import datetime
import os
import pwd
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import uuid

# The unprivileged identity everything runs as. nobody/nogroup is on every Debian machine and
# needs no home of its own: the session gives it one.
TEST_UID = 65534
TEST_GID = 65534

BUS_NAME = "io.tallowfern.Tallowfern"
OBJECT_PATH = "/io/tallowfern/Tallowfern"
INTERFACE = "io.tallowfern.Tallowfern"

# Generous: CI machines are slow and busy. Waiting ends as soon as the condition holds.
DEFAULT_DEADLINE = 20.0

EMPTY_BOARD = (
    "---\n\nkanban-plugin: board\n\n---\n\n"
    "## To do\n\n{todo}\n\n"
    "## Doing\n\n\n\n"
    "## Done\n\n**Complete**\n\n\n"
    "%% kanban:settings\n```\n{{\"kanban-plugin\":\"board\"}}\n```\n%%\n"
)


def board_text(todo_cards=("First card",)):
    """Today's board in the layout the app writes, with the given unchecked To do cards."""
    todo = "\n".join("- [ ] " + card for card in todo_cards)
    return EMPTY_BOARD.format(todo=todo + "\n" if todo else "")


class StepFailed(AssertionError):
    pass


def log(message):
    print("[%s] %s" % (datetime.datetime.now().strftime("%H:%M:%S.%f")[:-3], message), flush=True)


def wait_for(condition, what, deadline=DEFAULT_DEADLINE, interval=0.1):
    """Polls condition() until it returns something truthy, which is returned. The deadline only
    ends a wait that will not succeed; it is never what a test checks."""
    end = time.monotonic() + deadline
    last_error = None
    while True:
        try:
            value = condition()
            if value:
                return value
        except Exception as error:  # a probe that is not ready yet (no bus name, no file)
            last_error = error
        if time.monotonic() > end:
            detail = " (last error: %s)" % last_error if last_error else ""
            raise StepFailed("timed out waiting for %s%s" % (what, detail))
        time.sleep(interval)


def settle(condition, what, deadline=DEFAULT_DEADLINE, hold=1.0, interval=0.1):
    """Waits until condition() holds, then checks that it keeps holding for `hold` seconds: for
    "nothing happened" checks, which have no event to wait for."""
    wait_for(condition, what, deadline, interval)
    end = time.monotonic() + hold
    while time.monotonic() < end:
        if not condition():
            raise StepFailed("%s did not last" % what)
        time.sleep(interval)


def environment_reporter(path, then=""):
    """A shell command for a compositor to start once it is up: it writes the environment the
    compositor gives its children (display names, sockets) to `path`, all at once, then runs
    `then` (for a compositor that ends its session when its command exits)."""
    return "sh -c 'env > %s.part && mv %s.part %s%s'" % (
        path, path, path, " && " + then if then else "")


def child_environment(process, path, name, deadline=DEFAULT_DEADLINE):
    """Waits for environment_reporter's file and reads it; fails at once if the compositor
    exits first."""
    def read():
        if process.poll() is not None:
            raise StepFailed("%s exited (%s); see %s.log" % (name, process.returncode, name))
        if not os.path.exists(path):
            return None
        values = {}
        with open(path) as handle:
            for line in handle:
                key, _, value = line.rstrip("\n").partition("=")
                values[key] = value
        return values
    return wait_for(read, "%s to start" % name, deadline)


class LineReader:
    """Collects a process's output lines on a thread, so that tests can wait for a line while the
    process keeps running; everything is also written to a log file."""

    def __init__(self, stream, log_path):
        self._stream = stream
        self._lines = []
        self._lock = threading.Lock()
        self._log = open(log_path, "w", buffering=1, errors="replace")
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def _run(self):
        for raw in iter(self._stream.readline, b""):
            line = raw.decode("utf-8", "replace").rstrip("\n")
            with self._lock:
                self._lines.append(line)
            self._log.write(line + "\n")
        self._log.close()

    def lines(self):
        with self._lock:
            return list(self._lines)

    def mark(self):
        """A position to look for new lines from."""
        with self._lock:
            return len(self._lines)

    def since(self, mark):
        with self._lock:
            return self._lines[mark:]

    def join(self, timeout=5):
        self._thread.join(timeout)


class Session:
    """One scratch user session. Use as a context manager, or call close() in a finally."""

    def __init__(self, repo_dir, artifacts_dir, name="session"):
        self.repo_dir = os.path.abspath(repo_dir)
        self.artifacts_dir = os.path.abspath(artifacts_dir)
        os.makedirs(self.artifacts_dir, exist_ok=True)
        self.name = name
        self.marker = "TALLOWFERN_TEST_RUN=" + uuid.uuid4().hex
        self._processes = []
        self._closed = False
        self.app = None
        self.app_stdout = None
        self.app_stderr = None
        self.recorder = None
        self.recorder_out = None
        self.bus_address = None

        ensure_x11_socket_dir()
        self.root = tempfile.mkdtemp(prefix="tallowfern-%s-" % name)
        os.chown(self.root, TEST_UID, TEST_GID)
        os.chmod(self.root, 0o755)
        self.home = self._user_dir("home")
        self.config = self._user_dir("config")
        self.state = self._user_dir("state")
        self.data = self._user_dir("data")
        self.cache = self._user_dir("cache")
        self.runtime = self._user_dir("runtime", 0o700)
        self.vault = self._user_dir("vault")
        self.bin = self._user_dir("bin")
        self.env = {
            "PATH": "/usr/local/bin:/usr/bin:/bin",
            "HOME": self.home,
            "USER": pwd.getpwuid(TEST_UID).pw_name,
            "LOGNAME": pwd.getpwuid(TEST_UID).pw_name,
            "XDG_CONFIG_HOME": self.config,
            "XDG_STATE_HOME": self.state,
            "XDG_DATA_HOME": self.data,
            "XDG_CACHE_HOME": self.cache,
            "XDG_RUNTIME_DIR": self.runtime,
            "TALLOWFERN_VAULT": self.vault,
            "TMPDIR": "/tmp",
            "LANG": "C.UTF-8",
            "LC_ALL": "C.UTF-8",
        }
        key, value = self.marker.split("=", 1)
        self.env[key] = value
        atexit_register(self.close)

    # -- files ------------------------------------------------------------------------------

    def _user_dir(self, name, mode=0o755):
        path = os.path.join(self.root, name)
        os.makedirs(path, exist_ok=True)
        os.chown(path, TEST_UID, TEST_GID)
        os.chmod(path, mode)
        return path

    def write_user_file(self, path, text):
        """Writes a file, and any missing folders on its way, owned by the user."""
        parent = os.path.dirname(path)
        missing = []
        while not os.path.isdir(parent):
            missing.append(parent)
            parent = os.path.dirname(parent)
        for folder in reversed(missing):
            os.mkdir(folder)
            os.chown(folder, TEST_UID, TEST_GID)
        with open(path, "w", encoding="utf-8") as handle:
            handle.write(text)
        os.chown(path, TEST_UID, TEST_GID)

    def install_binary(self, path):
        """A copy of a binary where the user can run it: the build tree may be under a folder
        only root can enter."""
        target = os.path.join(self.bin, os.path.basename(path))
        shutil.copy2(path, target)
        os.chmod(target, 0o755)
        return target

    def write_settings(self, extra=""):
        """Settings that skip the first-run welcome and point at the scratch vault."""
        self.write_user_file(
            os.path.join(self.config, "Tallowfern", "Tallowfern.conf"),
            "[General]\nvaultPath=%s\nmorningBanner=false\n%s" % (self.vault, extra))

    def board_path(self, day=None):
        day = day or datetime.date.today()
        return os.path.join(self.vault, "01 Journal", "Boards", day.strftime("%Y-%m-%d") + ".md")

    def write_board(self, text=None):
        self.write_user_file(self.board_path(), text if text is not None else board_text())

    def read_board(self):
        try:
            with open(self.board_path(), encoding="utf-8") as handle:
                return handle.read()
        except FileNotFoundError:
            return ""

    # -- processes --------------------------------------------------------------------------

    def user_command(self, argv):
        return ["setpriv", "--reuid=%d" % TEST_UID, "--regid=%d" % TEST_GID, "--clear-groups",
                "--"] + list(argv)

    def spawn(self, argv, env=None, stdout=None, stderr=None, name=None, cwd=None):
        """Starts argv as the user in a process group of its own; close() ends it."""
        full_env = dict(self.env)
        if env:
            full_env.update(env)
        full_env = {k: v for k, v in full_env.items() if v is not None}
        process = subprocess.Popen(
            self.user_command(argv), env=full_env, cwd=cwd or self.home,
            stdin=subprocess.DEVNULL,
            stdout=stdout if stdout is not None else subprocess.DEVNULL,
            stderr=stderr if stderr is not None else subprocess.DEVNULL,
            start_new_session=True)
        process.tallowfern_name = name or os.path.basename(argv[0])
        self._processes.append(process)
        return process

    def spawn_logged(self, argv, log_name, env=None):
        """Starts argv with its stdout and stderr together in a log file."""
        handle = open(os.path.join(self.artifacts_dir, log_name), "wb")
        try:
            return self.spawn(argv, env=env, stdout=handle, stderr=subprocess.STDOUT,
                              name=log_name)
        finally:
            handle.close()

    def run(self, argv, env=None, timeout=30, check=True):
        """Runs a short command as the user and returns its stdout."""
        full_env = dict(self.env)
        if env:
            full_env.update(env)
        result = subprocess.run(self.user_command(argv), env=full_env, cwd=self.home,
                                stdin=subprocess.DEVNULL, capture_output=True, timeout=timeout)
        if check and result.returncode != 0:
            raise RuntimeError("%s failed (%d): %s" % (
                " ".join(argv), result.returncode, result.stderr.decode(errors="replace").strip()))
        return result.stdout.decode(errors="replace")

    def start_bus(self):
        """A private session bus, so the app's name cannot clash with anything on the machine."""
        config = os.path.join(self.repo_dir, "tests", "session-bus.conf")
        process = self.spawn(["dbus-daemon", "--config-file=" + config, "--nofork",
                              "--print-address=1"], stdout=subprocess.PIPE,
                             stderr=open(os.path.join(self.artifacts_dir, "dbus.log"), "wb"),
                             name="dbus-daemon")
        ready, _, _ = select.select([process.stdout], [], [], DEFAULT_DEADLINE)
        if not ready:
            raise StepFailed("the session bus printed no address")
        self.bus_address = process.stdout.readline().decode().strip()
        if not self.bus_address:
            raise StepFailed("the session bus did not start (see dbus.log)")
        self.env["DBUS_SESSION_BUS_ADDRESS"] = self.bus_address
        return self.bus_address

    def start_app(self, binary, env=None, args=()):
        """The app as the user, with the session's environment plus env (graphical variables such
        as WAYLAND_DISPLAY and DISPLAY come from the compositor)."""
        installed = self.install_binary(binary)
        full_env = {"QT_QPA_PLATFORM": None}
        # The app's own log, asked for when a run is being looked into.
        if os.environ.get("QT_LOGGING_RULES"):
            full_env["QT_LOGGING_RULES"] = os.environ["QT_LOGGING_RULES"]
        full_env.update(env or {})
        process = self.spawn([installed] + list(args), env=full_env,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, name="tallowfern")
        self.app = process
        self.app_stdout = LineReader(process.stdout, os.path.join(self.artifacts_dir,
                                                                  "tallowfern.stdout.log"))
        self.app_stderr = LineReader(process.stderr, os.path.join(self.artifacts_dir,
                                                                  "tallowfern.stderr.log"))
        return process

    def start_recorder(self, binary, env=None):
        """The click recorder as a native Wayland window."""
        installed = self.install_binary(binary)
        full_env = {"QT_QPA_PLATFORM": "wayland", "DISPLAY": None}
        full_env.update(env or {})
        process = self.spawn([installed], env=full_env, stdout=subprocess.PIPE,
                             stderr=open(os.path.join(self.artifacts_dir, "recorder.stderr.log"),
                                         "wb"),
                             name="recorder")
        self.recorder = process
        self.recorder_out = LineReader(process.stdout, os.path.join(self.artifacts_dir,
                                                                    "recorder.log"))
        return process

    def recorder_lines(self, mark=0, prefix=None):
        lines = self.recorder_out.since(mark)
        return [line for line in lines if prefix is None or line.startswith(prefix)]

    def app_running(self):
        return self.app is not None and self.app.poll() is None

    def app_log(self):
        lines = []
        if self.app_stderr:
            lines += self.app_stderr.lines()
        if self.app_stdout:
            lines += self.app_stdout.lines()
        return lines

    # -- D-Bus ------------------------------------------------------------------------------

    def dbus_call(self, method, *args, timeout=15):
        """Calls a method of the app; string arguments are passed as GVariant text."""
        argv = ["gdbus", "call", "--session", "--dest", BUS_NAME, "--object-path", OBJECT_PATH,
                "--method", INTERFACE + "." + method]
        argv += [gvariant_string(a) if isinstance(a, str) else str(a) for a in args]
        return self.run(argv, timeout=timeout).strip()

    def dbus_property(self, name):
        out = self.run(["gdbus", "call", "--session", "--dest", BUS_NAME, "--object-path",
                        OBJECT_PATH, "--method", "org.freedesktop.DBus.Properties.Get",
                        INTERFACE, name]).strip()
        return out  # e.g. "(<true>,)"

    def is_open(self):
        value = self.dbus_property("IsOpen")
        if "true" in value:
            return True
        if "false" in value:
            return False
        raise RuntimeError("unexpected IsOpen reply " + value)

    def name_on_bus(self, name):
        """Whether something owns `name` on the session bus; raises when the bus does not
        answer."""
        out = self.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus",
                        "--object-path", "/org/freedesktop/DBus", "--method",
                        "org.freedesktop.DBus.NameHasOwner", name], timeout=10)
        return "true" in out

    def app_on_bus(self):
        try:
            return self.name_on_bus(BUS_NAME)
        except RuntimeError:
            return False

    # -- cleanup ----------------------------------------------------------------------------

    def marked_pids(self):
        """Every process that carries this session's marker: what we started and what those
        started in turn."""
        needle = self.marker.encode()
        pids = []
        for entry in os.listdir("/proc"):
            if not entry.isdigit() or int(entry) == os.getpid():
                continue
            try:
                with open("/proc/%s/environ" % entry, "rb") as handle:
                    if needle in handle.read().split(b"\0"):
                        pids.append(int(entry))
            except OSError:
                pass
        return pids

    def stop(self, process, deadline=5.0):
        """Ends one process gently, then firmly."""
        if process.poll() is not None:
            return process.returncode
        try:
            os.killpg(process.pid, signal.SIGTERM)
        except ProcessLookupError:
            pass
        try:
            return process.wait(deadline)
        except subprocess.TimeoutExpired:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            return process.wait(deadline)

    def close(self):
        if self._closed:
            return
        self._closed = True
        # The app first, so that it does not see its compositor or bus go away under it.
        ordered = sorted(self._processes, key=lambda p: 0 if p is self.app else 1)
        for process in ordered:
            try:
                self.stop(process)
            except Exception as error:
                log("could not stop %s: %s" % (process.tallowfern_name, error))
        for _ in range(3):
            pids = self.marked_pids()
            if not pids:
                break
            for pid in pids:
                try:
                    os.kill(pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
            time.sleep(0.2)
        for reader in (self.app_stdout, self.app_stderr, self.recorder_out):
            if reader:
                reader.join()
        leftover = self.marked_pids()
        if leftover:
            log("processes left behind: %s" % leftover)
        shutil.rmtree(self.root, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()


def gvariant_string(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def ensure_x11_socket_dir():
    """XWayland, run as a user, cannot create /tmp/.X11-unix itself; it must be root's, 1777."""
    path = "/tmp/.X11-unix"
    if not os.path.isdir(path):
        try:
            os.mkdir(path, 0o1777)
        except FileExistsError:
            pass
    info = os.stat(path)
    if info.st_uid != 0 and os.geteuid() == 0:
        os.chown(path, 0, 0)
    if (info.st_mode & 0o7777) != 0o1777:
        os.chmod(path, 0o1777)


_atexit_done = []


def atexit_register(function):
    import atexit
    atexit.register(function)
    # Also on SIGTERM (CTest's timeout), which would otherwise skip atexit.
    if not _atexit_done:
        _atexit_done.append(True)

        def on_term(signum, frame):
            sys.exit(128 + signum)
        signal.signal(signal.SIGTERM, on_term)


def read_ppm(data):
    """(width, height, pixels) from a binary PPM (P6, maxval 255)."""
    fields = []
    position = 0
    while len(fields) < 4:
        while data[position:position + 1].isspace():
            position += 1
        if data[position:position + 1] == b"#":
            position = data.index(b"\n", position) + 1
            continue
        start = position
        while not data[position:position + 1].isspace():
            position += 1
        fields.append(data[start:position])
    if fields[0] != b"P6" or int(fields[3]) != 255:
        raise ValueError("not an 8-bit binary PPM")
    return int(fields[1]), int(fields[2]), data[position + 1:]


class Image:
    def __init__(self, width, height, pixels):
        self.width = width
        self.height = height
        self.pixels = pixels

    @classmethod
    def from_ppm(cls, data):
        return cls(*read_ppm(data))

    def pixel(self, x, y):
        offset = (y * self.width + x) * 3
        return tuple(self.pixels[offset:offset + 3])

    def extent(self, y, predicate, x_from=0, x_to=None):
        """(first, last) x on row y where predicate holds, or None."""
        xs = [x for x in range(x_from, x_to if x_to is not None else self.width)
              if predicate(self.pixel(x, y))]
        return (xs[0], xs[-1]) if xs else None

    def save_ppm(self, path):
        with open(path, "wb") as handle:
            handle.write(b"P6\n%d %d\n255\n" % (self.width, self.height) + bytes(self.pixels))


class InputActions:
    """Clicks, taps and chords on top of an input device's move(x, y), button(pressed) (the left
    button) and key(code, pressed), in whatever key codes the device takes."""

    def click(self, x, y):
        self.move(x, y)
        self.button(True)
        self.button(False)

    def tap(self, code):
        self.key(code, True)
        self.key(code, False)

    def chord(self, modifier, code):
        self.key(modifier, True)
        self.tap(code)
        self.key(modifier, False)


def is_black(rgb):
    return max(rgb) <= 8


def is_grey(rgb):
    return all(abs(c - 0x80) <= 8 for c in rgb)
