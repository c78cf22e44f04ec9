"""The steps every compositor's end-to-end test runs against the real app: where the notch sits,
what the pointer and keyboard do to it, and what lands in today's board. Another program's window
(the click recorder, a native Wayland window) fills the screen underneath, so that clicks and keys
that miss the app can be seen arriving there.

A compositor module supplies the session (start, client_env, recorder_env, start_input,
screenshot; close and what else KWin's and mutter's share come from Compositor) and an input
object with move, button and key in evdev codes; EvdevInput adds clicks and typing on top.
"""

import os
import shutil
import struct
import subprocess
import time
import traceback
import zlib

import waylandtest
from waylandtest import StepFailed, is_black, is_grey, log, settle, wait_for

# Helpers that talk D-Bus with file descriptors or hold a session run under Debian's own Python,
# where python3-gi puts PyGObject; the test itself may run under another one.
GI_PYTHON = "/usr/bin/python3"

STARTUP_DEADLINE = 40.0
DEADLINE = 10.0
# The panel takes the keyboard 0.15 s after opening; a wait many times that long.
KEYBOARD_DEADLINE = 5.0

WIDTH = 1920
HEIGHT = 1080

# Geometry on a 1920x1080 screen. The notch is 318 wide (x 801..1119) while today has cards
# left and 24 high; its top corners flare outwards, so its body starts a few pixels in. The open
# panel is 780 x 380 (x 570..1350) with the same flare, and casts a shadow below.
NOTCH_CENTRE = (960, 8)
NOTCH_INSIDE = [(960, 8), (812, 4), (1108, 4), (960, 22)]
NOTCH_OUTSIDE = [(300, 8), (796, 8), (1124, 8), (1700, 8), (960, 28), (700, 200), (1200, 300)]
PANEL_INSIDE = [(700, 200), (1200, 300), (590, 100), (1330, 100), (960, 378)]
PANEL_OUTSIDE = [(562, 100), (1358, 100), (960, 420)]
AWAY = (960, 700)
CLICK_TO_FOCUS = (300, 900)

BTN_LEFT = 272
KEY_ESC = 1
KEY_ENTER = 28
KEY_LEFTSHIFT = 42
KEY_LEFTALT = 56
KEY_SPACE = 57

# evdev codes of a US keyboard, the keymap both compositors give their virtual keyboards.
EVDEV = {" ": KEY_SPACE, "-": 12, ".": 52, ",": 51}
for _row, _first in (("1234567890", 2), ("qwertyuiop", 16), ("asdfghjkl", 30), ("zxcvbnm", 44)):
    for _index, _character in enumerate(_row):
        EVDEV[_character] = _first + _index


class EvdevInput(waylandtest.InputActions):
    """Typing, besides clicks, taps and chords, on a device that takes evdev codes."""

    def type_text(self, text):
        for character in text:
            lower = character.lower()
            if lower not in EVDEV:
                raise ValueError("no key for %r" % character)
            if character != lower:
                self.chord(KEY_LEFTSHIFT, EVDEV[lower])
            else:
                self.tap(EVDEV[lower])


class LineInput(EvdevInput):
    """A helper process that takes one input command a line and answers "ok" once the
    compositor has it, after first saying "ready"."""

    what = "input"

    def start_helper(self, session, command, env, log_name):
        errors = open(os.path.join(session.artifacts_dir, log_name), "wb")
        self.process = subprocess.Popen(
            command, env=env, cwd=session.home, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=errors, text=True, bufsize=1, start_new_session=True)
        errors.close()
        return self.process.stdout.readline().strip()

    def _send(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline().strip()
        if answer != "ok":
            raise StepFailed("%s %s: %s" % (self.what, command, answer or "helper gone"))

    def button(self, pressed, button=BTN_LEFT):
        self._send("button %d %s" % (button, "press" if pressed else "release"))

    def key(self, code, pressed):
        self._send("key %d %s" % (code, "press" if pressed else "release"))

    def close(self):
        if self.process.poll() is None:
            try:
                self.process.stdin.close()
            except OSError:
                pass
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()


class Compositor:
    """What the compositors of kwin.py and mutter.py share: each runs as the session's user on
    the session's private bus, logs to NAME.log among the artifacts, and takes input through a
    helper that lasts the whole test."""

    name = None

    def __init__(self, session, wayland_display):
        self.session = session
        self.process = None
        self.wayland_display = wayland_display
        self.x_display = None
        self.input = None

    @property
    def log_path(self):
        return os.path.join(self.session.artifacts_dir, self.name + ".log")

    def spawn(self, argv, env):
        """Starts the compositor, and the session's bus first when there is none yet."""
        if not self.session.bus_address:
            self.session.start_bus()
        self.process = self.session.spawn_logged(argv, self.name + ".log", env=env)
        return self.process

    def user_env(self):
        """The session's environment with what a program in this desktop sees, for the helpers
        run as its user."""
        return dict(self.session.env, **{k: v for k, v in self.client_env().items() if v})

    def close(self):
        if self.input:
            self.input.close()


def write_png(path, image):
    """Saves a waylandtest.Image (RGB) as PNG."""
    raw = b"".join(b"\0" + image.pixels[y * image.width * 3:(y + 1) * image.width * 3]
                   for y in range(image.height))

    def chunk(kind, payload):
        return (struct.pack(">I", len(payload)) + kind + payload
                + struct.pack(">I", zlib.crc32(kind + payload) & 0xffffffff))
    with open(path, "wb") as handle:
        handle.write(b"\x89PNG\r\n\x1a\n")
        handle.write(chunk(b"IHDR", struct.pack(">IIBBBBB", image.width, image.height, 8, 2,
                                                0, 0, 0)))
        handle.write(chunk(b"IDAT", zlib.compress(raw, 6)))
        handle.write(chunk(b"IEND", b""))


def is_dark(rgb):
    # The panel is black with near-black lanes on it; the recorder is mid grey.
    return max(rgb) <= 40


class PanelTest:
    # Whether a pointer that jumps from the notch straight onto another window, never moving over
    # the open panel, is seen leaving. XWayland loses that leave when the compositor still
    # thinks the pointer is over the notch's window beneath the panel.
    jump_is_seen = True
    # Whether scroll() can send touchpad strokes and wheel clicks with their source.
    can_scroll = False
    """Subclasses name the compositor, the word the app's log uses for its shell path, and start
    the compositor and its input."""

    name = None
    shell_word = None
    # Where the notch's centre is on the 1920-wide screen: the top centre unless the desktop
    # keeps something of its own there.
    notch_x = WIDTH // 2
    # Enter and Escape in the codes this test's input device takes.
    key_enter = KEY_ENTER
    key_escape = KEY_ESC

    def start_compositor(self, session):
        raise NotImplementedError

    def start_input(self):
        raise NotImplementedError

    def save_diagnostics(self, name):
        """What else the compositor can tell, beside a failed step's screenshot."""

    def __init__(self, app, recorder, artifacts):
        self.app_binary = app
        self.recorder_binary = recorder
        self.artifacts = artifacts
        self.repo = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
        self.helpers = []
        self.results = []
        # Whether "Buy milk" went into today's board, for the steps after.
        self.task_typed = False
        self.session = None
        self.compositor = None
        self.input = None

    # -- helpers ----------------------------------------------------------------------------

    def at(self, points):
        """Points laid out around the top centre, moved to where this desktop's notch is; those
        that fall off the screen are left out."""
        dx = self.notch_x - WIDTH // 2
        return [(x + dx, y) for x, y in points if 0 <= x + dx < WIDTH]

    def notch_outside(self):
        outside = self.at(NOTCH_OUTSIDE)
        if self.notch_x != WIDTH // 2:
            outside.append((WIDTH // 2, 8))  # the top centre stays the desktop's
        return outside

    def screen(self):
        return self.compositor.screenshot()

    def pixels_match(self, points, predicate):
        image = self.screen()
        return all(predicate(image.pixel(x, y)) for x, y in points)

    def describe_pixels(self, points):
        image = self.screen()
        return ", ".join("(%d,%d)=%s" % (x, y, image.pixel(x, y)) for x, y in points)

    def wait_pixels(self, points, predicate, what, deadline=DEADLINE):
        try:
            wait_for(lambda: self.pixels_match(points, predicate), what, deadline, interval=0.2)
        except StepFailed as error:
            raise StepFailed("%s; pixels: %s" % (error, self.describe_pixels(points)))

    def wait_open(self, expected, deadline=DEADLINE):
        wait_for(lambda: self.session.is_open() == expected, "IsOpen to be %s" % expected,
                 deadline)
        if expected:
            self.wait_pixels(self.at(PANEL_INSIDE), is_dark, "the panel to be drawn", deadline)
        else:
            self.wait_pixels(self.at(PANEL_INSIDE), is_grey,
                             "the panel to be gone from the screen",
                             deadline)

    def recorder_mark(self):
        return self.session.recorder_out.mark()

    def wait_recorder(self, mark, line, deadline=DEADLINE):
        wait_for(lambda: line in self.session.recorder_lines(mark),
                 "the recorder to log '%s'" % line, deadline)

    def recorder_has_keyboard(self):
        focus = self.session.recorder_lines(prefix="focus")
        return bool(focus) and focus[-1] == "focus in"

    def focus_recorder(self):
        """Gives the window beneath the keyboard, as the window a user is working in has it: a
        click on it when it does not have it already. A needless click is left out: mutter moves
        the X focus on a click too, and it ignored the panel's own focus request when that came
        within milliseconds of it (sooner than any hand reaches a shortcut)."""
        if self.recorder_has_keyboard():
            return
        self.input.click(*CLICK_TO_FOCUS)
        wait_for(self.recorder_has_keyboard, "the window beneath to have the keyboard")

    def wait_recorder_settled(self):
        """Compositors animate a newly shown window: mutter 43 scales it up from its centre, and
        on its headless backend the animation only moves on when something else redraws, such as
        the pointer moving. Until it ends clicks land scaled, so the pointer is stirred and a
        click repeated until one lands where it was aimed."""
        x, y = CLICK_TO_FOCUS
        exact = "press %d %d global %d %d" % (x, y, x, y)

        def lands():
            self.input.move(*AWAY)
            self.input.move(x, y)
            mark = self.recorder_mark()
            self.input.button(True)
            self.input.button(False)
            try:
                wait_for(lambda: self.session.recorder_lines(mark, prefix="press"),
                         "the click to arrive", 2)
            except StepFailed:
                return False
            return exact in self.session.recorder_lines(mark)
        wait_for(lands, "a click to land on the recorder where it was aimed", STARTUP_DEADLINE)

    def toggle(self):
        """What a user does to open the panel ready to type: D-Bus Toggle, as a desktop's custom
        keybinding does."""
        self.session.dbus_call("Toggle")

    def open_pinned(self):
        """Opens the panel with toggle() while the window beneath has the keyboard, and waits
        until the panel has it. On Wayland the only outside sign of that is the window that had
        it losing it."""
        self.focus_recorder()
        self.input.move(*AWAY)
        mark = self.recorder_mark()
        self.toggle()
        self.wait_open(True)
        try:
            self.wait_recorder(mark, "focus out", KEYBOARD_DEADLINE)
        except StepFailed:
            raise StepFailed("the panel opened but did not take the keyboard from the window "
                             "beneath")
        # The app moves the keyboard into the field 0.15 s after opening, on its own timer;
        # nothing outside shows that moment, so typing waits a little longer than that. This
        # paces the input; it checks nothing.
        time.sleep(0.5)

    # -- steps ------------------------------------------------------------------------------

    def step_start(self):
        session = self.session
        session.start_bus()
        self.compositor = self.start_compositor(session)
        session.start_recorder(self.recorder_binary, env=self.compositor.recorder_env())
        wait_for(lambda: session.recorder_lines(prefix="exposed"), "the recorder to be shown",
                 STARTUP_DEADLINE)
        exposed = session.recorder_lines(prefix="exposed")[0]
        if exposed != "exposed %d %d" % (WIDTH, HEIGHT):
            raise StepFailed("the recorder is not maximized over the screen: %s" % exposed)
        self.input = self.start_input()
        self.wait_recorder_settled()
        # The recorder has the keyboard, as the window a user works in.
        self.focus_recorder()
        self.input.move(*AWAY)
        session.write_settings()
        session.write_board()
        session.start_app(self.app_binary, env=self.compositor.client_env())
        wait_for(lambda: session.app_running() and session.app_on_bus(),
                 "the app to own %s" % waylandtest.BUS_NAME, STARTUP_DEADLINE)
        wait_for(lambda: session.is_open() is False, "the panel to be closed", DEADLINE)

    def step_shell_choice(self):
        lines = wait_for(lambda: [line for line in self.session.app_stderr.lines()
                                  if self.shell_word in line.lower()],
                         "the app to say it uses %s" % self.shell_word, DEADLINE)
        log("app: " + lines[0])

    def step_placement(self):
        self.wait_pixels(self.at(NOTCH_INSIDE), is_black, "the black notch where this desktop wants it",
                         STARTUP_DEADLINE)
        image = self.screen()
        wrong = [(x, y, image.pixel(x, y)) for x, y in self.notch_outside()
                 if not is_grey(image.pixel(x, y))]
        if wrong:
            raise StepFailed("not the window beneath around the notch: %s" % wrong)

    def step_keyboard_stays_beneath(self):
        # Starting and showing the notch must not take the keyboard from the user's window.
        mark = self.recorder_mark()
        self.input.type_text("ok")
        try:
            self.wait_recorder(mark, "key k")
        except StepFailed:
            raise StepFailed("typing no longer reaches the window beneath (its focus lines: %s)"
                             % self.session.recorder_lines(prefix="focus"))

    def step_clicks_pass_through(self):
        mark = self.recorder_mark()
        expected = []
        for x, y in [(700, 200), (1200, 30)]:
            self.input.click(x, y)
            expected += ["press %d %d global %d %d" % (x, y, x, y),
                         "release %d %d global %d %d" % (x, y, x, y)]
        try:
            wait_for(lambda: all(line in self.session.recorder_lines(mark) for line in expected),
                     "the clicks to reach the window beneath", DEADLINE)
        except StepFailed:
            raise StepFailed("clicks at (700,200) and (1200,30) did not all reach the window "
                             "beneath the closed panel; it logged %s"
                             % self.session.recorder_lines(mark))
        settle(lambda: self.session.is_open() is False, "the panel to stay closed", hold=0.5)

    def step_hover_opens(self):
        self.input.move(*self.at([NOTCH_CENTRE])[0])
        self.wait_open(True)
        image = self.screen()
        wrong = [(x, y, image.pixel(x, y)) for x, y in self.at(PANEL_OUTSIDE)
                 if not is_grey(image.pixel(x, y))]
        if wrong:
            raise StepFailed("the open panel reaches beyond its 780 x 380: %s" % wrong)

    def step_flick_closes(self):
        # A quick flick with a mouse: a handful of motion events, the first ones still over the
        # panel, then away, with no pause between them.
        x, y = self.at([NOTCH_CENTRE])[0]
        for step in range(1, 6):
            self.input.move(x, y + (AWAY[1] - y) * step // 5)
        self.wait_open(False)

    def step_jump_away_closes(self):
        # An absolute device (tablet, touch, remote desktop) moves the pointer in one jump: the
        # panel never sees the pointer over it, only the notch losing it.
        self.input.move(*self.at([NOTCH_CENTRE])[0])
        self.wait_open(True)
        self.input.move(*AWAY)
        self.wait_open(False)

    def step_exit_through_panel_closes(self):
        # The same exit as the flick, but with the pointer first moving inside the open panel,
        # as a slower hand does: tells a missed leave of the sensor from a missed leave of the
        # panel.
        self.input.move(*self.at([NOTCH_CENTRE])[0])
        self.wait_open(True)
        self.input.move(*self.at([(960, 200)])[0])
        self.input.move(*AWAY)
        self.wait_open(False)

    def step_types_task(self):
        problems = []
        try:
            self.open_pinned()
        except StepFailed as error:
            if not self.session.is_open():
                raise
            problems.append(str(error))
        mark = self.recorder_mark()
        self.input.type_text("Buy milk")
        self.input.tap(self.key_enter)
        try:
            wait_for(lambda: "- [ ] Buy milk\n" in self.session.read_board(),
                     "'- [ ] Buy milk' in today's board", DEADLINE if not problems else 3)
        except StepFailed as error:
            problems.append(str(error))
        typed = self.session.recorder_lines(mark, prefix="key")
        if typed:
            problems.append("the window beneath got the typing: %s" % typed)
        if not self.session.is_open():
            problems.append("the pinned panel closed while typing")
        if problems:
            raise StepFailed("; ".join(problems))
        self.task_typed = True

    def step_click_outside_closes_pinned(self):
        if not self.session.is_open():
            self.open_pinned()
        settle(lambda: self.session.is_open(), "the pinned panel to stay open with the pointer "
               "away", hold=0.8)
        mark = self.recorder_mark()
        self.input.click(300, 700)
        self.wait_open(False)
        reached = self.session.recorder_lines(mark, prefix="press")
        log("the click reached the window beneath: %s" % (reached or "no"))

    def step_escape_closes(self):
        # Straight after typing (the sway test's order) the panel is still open and pinned.
        if not self.session.is_open():
            self.open_pinned()
        self.input.tap(self.key_escape)
        self.wait_open(False)

    def scroll(self, kind, x, y, dx, events, interval_ms):
        """Scrolls sideways at x, y: `kind` "finger" is a two-finger stroke on a touchpad, ended
        as the compositor ends one; "wheel" is clicks of a tilt wheel. None where the compositor
        offers no way to send either with its source."""
        return None

    def tab(self):
        value = self.session.dbus_property("Tab")
        for name in ("board", "notes", "settings"):
            if "'%s'" % name in value:
                return name
        raise StepFailed("unexpected Tab reply " + value)

    def step_swipe_switches_tab(self):
        """A two-finger stroke over the open panel switches tabs, once a stroke, as the events
        arrive through the compositor and Qt; a tilt wheel never does."""
        session = self.session
        session.dbus_call("Open")
        self.wait_open(True)
        if self.tab() != "board":
            raise StepFailed("the panel opened on the %s tab, not the board" % self.tab())
        x, y = self.at([(960, 250)])[0]
        # Scroll values grow to the right; a stroke to the left goes to the next tab.
        self.scroll("finger", x, y, -12, 10, 12)
        wait_for(lambda: self.tab() == "notes", "a leftward stroke to show the Notes tab")
        self.scroll("wheel", x, y, 15, 6, 60)
        settle(lambda: self.tab() == "notes", "the Notes tab to stay after tilt-wheel clicks",
               hold=1.0)
        self.scroll("finger", x, y, 12, 10, 12)
        wait_for(lambda: self.tab() == "board", "a rightward stroke to show the board again")
        session.dbus_call("Close")
        self.wait_open(False)

    def step_dbus(self):
        session = self.session
        session.dbus_call("AddTask", "Call the bank")
        wait_for(lambda: "- [ ] Call the bank\n" in session.read_board(),
                 "'- [ ] Call the bank' in today's board", DEADLINE)
        if self.task_typed and "- [ ] Buy milk\n" not in session.read_board():
            raise StepFailed("adding a task lost 'Buy milk'")
        session.dbus_call("Open")
        self.wait_open(True)
        session.dbus_call("Close")
        self.wait_open(False)

    def step_still_running(self):
        session = self.session
        if not session.app_running():
            raise StepFailed("the app exited with %s" % session.app.returncode)
        if session.recorder.poll() is not None:
            raise StepFailed("the recorder exited with %s" % session.recorder.returncode)
        if self.compositor.process.poll() is not None:
            raise StepFailed("%s exited with %s" % (self.name,
                                                    self.compositor.process.returncode))

    def extra_steps(self):
        """(name, step) pairs a compositor's test adds before the D-Bus step."""
        return []

    def steps(self):
        """(name, step) pairs run in order after the start."""
        steps = [("shell_choice", self.step_shell_choice),
                 ("placement", self.step_placement),
                 ("keyboard_stays_beneath", self.step_keyboard_stays_beneath),
                 ("clicks_pass_through", self.step_clicks_pass_through),
                 ("hover_opens", self.step_hover_opens),
                 ("flick_closes", self.step_flick_closes)]
        if self.jump_is_seen:
            steps.append(("jump_away_closes", self.step_jump_away_closes))
        steps += [("exit_through_panel_closes", self.step_exit_through_panel_closes),
                  ("toggle_types_task", self.step_types_task),
                  ("click_outside_closes_pinned", self.step_click_outside_closes_pinned),
                  ("escape_closes", self.step_escape_closes)]
        steps += self.extra_steps()
        if self.can_scroll:
            steps.append(("swipe_switches_tab", self.step_swipe_switches_tab))
        else:
            log("no touchpad strokes on %s: the swipe step is left out" % self.name)
        steps += [("dbus", self.step_dbus), ("still_running", self.step_still_running)]
        return steps

    # -- running ----------------------------------------------------------------------------

    def recover(self):
        """Puts the panel back closed and the pointer away after a failed step."""
        try:
            if self.input:
                self.input.button(False)
                self.input.move(*AWAY)
            if self.session.app_running() and self.session.app_on_bus():
                if self.session.is_open():
                    self.session.dbus_call("Close")
                wait_for(lambda: self.session.is_open() is False, "the panel to close", 5)
        except Exception as error:
            log("could not put the panel back closed: %s" % error)

    def save_failure(self, name):
        try:
            self.compositor.screenshot(os.path.join(self.artifacts, "failed-%s.png" % name))
        except Exception as error:
            log("no screenshot: %s" % error)
        try:
            self.save_diagnostics(name)
        except Exception as error:
            log("no diagnostics: %s" % error)

    def run_step(self, name, function, essential=False):
        log("step %s" % name)
        try:
            function()
        except Exception as error:
            detail = str(error) if isinstance(error, StepFailed) else traceback.format_exc()
            print("FAIL %s: %s" % (name, detail), flush=True)
            self.results.append((name, False))
            if self.compositor:
                self.save_failure(name)
            if essential:
                raise
            self.recover()
            return False
        print("PASS %s" % name, flush=True)
        self.results.append((name, True))
        return True

    def run(self):
        self.session = waylandtest.Session(self.repo, self.artifacts, self.name)
        try:
            self.run_step("start", self.step_start, essential=True)
            for name, step in self.steps():
                self.run_step(name, step)
        except Exception:
            pass
        finally:
            if self.compositor:
                self.compositor.close()
            self.session.close()
        failed = [name for name, ok in self.results if not ok]
        print("%d steps, %d failed%s; logs in %s" % (
            len(self.results), len(failed), (": " + ", ".join(failed)) if failed else "",
            self.artifacts), flush=True)
        return 1 if failed else 0


def main(argv, test_class, usage, helpers=0):
    """Runs test_class with APP RECORDER, then `helpers` more binaries, then an optional
    artifacts folder, from argv; 77 (CTest's skip) without root."""
    if len(argv) < 3 + helpers:
        print(usage)
        return 2
    binaries = [os.path.abspath(path) for path in argv[1:3 + helpers]]
    rest = argv[3 + helpers:]
    artifacts = os.path.abspath(rest[0] if rest else "artifacts-tst_%s_e2e" % test_class.name)
    if os.geteuid() != 0:
        print("SKIP: needs root to run the session as another user")
        return 77
    shutil.rmtree(artifacts, ignore_errors=True)
    os.makedirs(artifacts)
    test = test_class(binaries[0], binaries[1], artifacts)
    test.helpers = binaries[2:]
    return test.run()
