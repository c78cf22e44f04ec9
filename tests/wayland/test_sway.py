#!/usr/bin/env python3
"""The real app on headless sway: where the notch sits, what the pointer and keyboard do to it,
and what lands in today's board. Another program's window (the click recorder) fills the screen
underneath, so that clicks and keys that miss the app can be seen arriving there.

Usage: test_sway.py APP RECORDER [ARTIFACTS_DIR]

One sway session for all steps, in order; a failed step is reported, leaves a screenshot and the
logs in ARTIFACTS_DIR, and the panel is put back closed before the next step runs.
"""

import json
import os
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import panelsteps  # noqa: E402
import sway  # noqa: E402
import waylandtest  # noqa: E402
from waylandtest import StepFailed, is_black, is_grey, log, settle, wait_for  # noqa: E402

STARTUP_DEADLINE = 40.0
DEADLINE = 10.0

# Geometry on a 1920x1080 output. No sampled point is where the pointer rests when it is sampled:
# the headless output draws the cursor into the picture grim takes.
NOTCH_CENTRE = (960, 8)
WIDE_NOTCH = 318
NOTCH_INSIDE = [(960, 8), (880, 12), (1040, 12)]
# Beside the notch even when cards make it wider, and under it.
NOTCH_OUTSIDE = [(300, 8), (760, 8), (1160, 8), (1700, 8), (960, 40), (700, 200), (1200, 300)]
AWAY = (960, 700)
CLICK_TO_FOCUS = (300, 900)


class SwayTest(panelsteps.PanelTest):
    """Shares the picture, state and recorder helpers of the other compositors' tests; sway's own
    steps drive input through VNC in X keysyms and bind Alt+N in sway itself."""

    name = "sway"
    shell_word = "layer-shell"

    def __init__(self, app, recorder, artifacts):
        super().__init__(app, recorder, artifacts)
        self.sway = None

    def focus_recorder(self):
        """A click on the window beneath, so that it has the keyboard as the window a user is
        working in would."""
        self.input.click(*CLICK_TO_FOCUS)
        try:
            wait_for(self.recorder_has_keyboard, "the window beneath to have the keyboard", 3)
            return
        except StepFailed:
            pass
        # sway ignores a click on the window it already counts as focused, even when an X11
        # window of the app holds the keyboard; leaving the workspace and coming back resets
        # that. The step that checks the app keeps its hands off the keyboard reports it.
        log("the click did not give the window beneath the keyboard back; refocusing via sway")
        self.sway.swaymsg("workspace", "refocus")
        self.sway.swaymsg("workspace", "back_and_forth")
        wait_for(self.recorder_has_keyboard, "the window beneath to have the keyboard")

    def wait_keyboard_taken(self, mark, deadline=DEADLINE):
        # On Wayland the only outside sign that the panel has the keyboard is the window that
        # had it losing it.
        try:
            self.wait_recorder(mark, "focus out", deadline)
        except StepFailed:
            raise StepFailed("the panel opened but did not take the keyboard from the window "
                             "beneath")

    # -- steps ------------------------------------------------------------------------------

    def step_start(self):
        session = self.session
        session.start_bus()
        self.sway = sway.Sway(session).start()
        self.compositor = self.sway
        session.start_recorder(self.recorder_binary, env=self.sway.client_env())
        self.input = self.sway.start_input()
        self.input.move(*AWAY)
        # Maximized and painted all over before the app comes.
        self.wait_pixels(NOTCH_INSIDE + NOTCH_OUTSIDE, is_grey, "the recorder to fill the screen",
                         STARTUP_DEADLINE)
        self.input.click(*AWAY)  # the recorder has the keyboard, as the window a user works in
        session.write_settings()
        session.write_board()
        session.start_app(self.app_binary, env=self.sway.client_env())
        wait_for(lambda: session.app_running() and session.app_on_bus(),
                 "the app to own %s" % waylandtest.BUS_NAME, STARTUP_DEADLINE)
        self.wait_open(False, STARTUP_DEADLINE)

    def step_shell_choice(self):
        lines = wait_for(lambda: [l for l in self.session.app_stderr.lines() if "layer-shell" in l],
                         "the app to say it uses layer-shell", DEADLINE)
        log("app: " + lines[0])

    def step_placement(self):
        self.wait_pixels(NOTCH_INSIDE, is_black, "the black notch at the top centre")
        image = self.screen()
        wrong = [(x, y, image.pixel(x, y)) for x, y in NOTCH_OUTSIDE
                 if not is_grey(image.pixel(x, y))]
        if wrong:
            raise StepFailed("not the recorder's grey around the notch: %s" % wrong)
        # A card waits in To do, so the notch is the wide one, centred. Its top corners curve
        # outwards, so the body below them is a few pixels narrower than the full width.
        extent = image.extent(8, is_black)
        log("notch black at x %s on row 8" % (extent,))
        if not extent or not WIDE_NOTCH - 16 <= extent[1] - extent[0] + 1 <= WIDE_NOTCH + 2 or \
                abs((extent[0] + extent[1]) / 2 - 959.5) > 2:
            raise StepFailed("the notch with a waiting card is not %d wide at the top centre "
                             "(black at x %s)" % (WIDE_NOTCH, extent))

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
        for x, y in [(700, 200), (1200, 30)]:
            mark = self.recorder_mark()
            self.input.click(x, y)
            self.wait_recorder(mark, "press %d %d global %d %d" % (x, y, x, y))
            self.wait_recorder(mark, "release %d %d global %d %d" % (x, y, x, y))
        settle(lambda: self.session.is_open() is False, "the panel to stay closed", hold=0.5)

    def step_hover_opens(self):
        self.input.move(*NOTCH_CENTRE)
        self.wait_open(True)

    def step_flick_closes(self):
        # A quick flick with a mouse: a handful of motion events, the first ones still over the
        # panel, then away, with no pause between them.
        x, y = NOTCH_CENTRE
        for step in range(1, 6):
            self.input.move(x, y + (AWAY[1] - y) * step // 5)
        self.wait_open(False)

    def step_jump_away_closes(self):
        # An absolute device (tablet, touch, remote desktop) moves the pointer in one jump: the
        # panel never sees the pointer over it, only the notch losing it.
        self.input.move(*NOTCH_CENTRE)
        self.wait_open(True)
        self.input.move(*AWAY)
        self.wait_open(False)

    def open_with_alt_n(self, keyboard_deadline=DEADLINE):
        """Alt+N through sway's binding; returns whether the panel took the keyboard from the
        window beneath, or raises if that is required."""
        mark = self.recorder_mark()
        self.input.chord(sway.KEY_ALT_L, ord("n"))
        self.wait_open(True)
        self.wait_keyboard_taken(mark, keyboard_deadline)
        # The app puts the keyboard in the field 0.15 s after opening; keys sent before that
        # would have nowhere to go. This pause only paces the input, it checks nothing.
        time.sleep(0.4)

    def step_alt_n_types_task(self):
        self.focus_recorder()
        self.input.move(*AWAY)
        problems = []
        try:
            self.open_with_alt_n(keyboard_deadline=3)
        except StepFailed as error:
            if not self.session.is_open():
                raise
            problems.append(str(error))
        mark = self.recorder_mark()
        self.input.type_text("Buy milk")
        self.input.tap(sway.KEY_RETURN)
        try:
            wait_for(lambda: "- [ ] Buy milk\n" in self.session.read_board(),
                     "'- [ ] Buy milk' in today's board", DEADLINE if not problems else 3)
        except StepFailed as error:
            problems.append(str(error))
        typed = self.session.recorder_lines(mark, prefix="key ")
        if typed:
            problems.append("the window beneath got the typing: %s"
                            % "".join(line[4:] for line in typed))
        if not self.session.is_open():
            problems.append("the pinned panel closed while typing")
        if problems:
            raise StepFailed("; ".join(problems))

    def step_escape_closes(self):
        if not self.session.is_open():
            self.focus_recorder()
            self.input.move(*AWAY)
            self.open_with_alt_n()
        self.input.tap(sway.KEY_ESCAPE)
        self.wait_open(False)

    def step_click_outside_closes_pinned(self):
        self.focus_recorder()
        self.input.move(*AWAY)
        self.open_with_alt_n()
        settle(lambda: self.session.is_open(), "the pinned panel to stay open with the pointer "
               "away", hold=0.8)
        mark = self.recorder_mark()
        self.input.click(300, 700)
        self.wait_open(False)
        reached = self.session.recorder_lines(mark, prefix="press")
        log("the click reached the window beneath: %s" % (reached or "no"))

    def step_dbus(self):
        session = self.session
        session.dbus_call("AddTask", "Call the bank")
        wait_for(lambda: "- [ ] Call the bank\n" in session.read_board(),
                 "'- [ ] Call the bank' in today's board", DEADLINE)
        if "- [ ] Buy milk\n" not in session.read_board() and any(
                r[0] == "alt_n_types_task" and r[1] for r in self.results):
            raise StepFailed("adding a task lost 'Buy milk'")
        session.dbus_call("Open")
        self.wait_open(True)
        session.dbus_call("Close")
        self.wait_open(False)
        session.dbus_call("Toggle")
        self.wait_open(True)
        session.dbus_call("Toggle")
        self.wait_open(False)

    def step_still_running(self):
        session = self.session
        if not session.app_running():
            raise StepFailed("the app exited with %s" % session.app.returncode)
        bad = [line for line in session.app_log()
               if "QQmlApplicationEngine failed" in line or "Segmentation" in line]
        if bad:
            raise StepFailed("the app's log has: %s" % bad)
        if session.recorder.poll() is not None:
            raise StepFailed("the recorder exited with %s" % session.recorder.returncode)

    # -- running ----------------------------------------------------------------------------

    def save_diagnostics(self, name):
        with open(os.path.join(self.artifacts, "failed-%s-tree.json" % name), "w") as handle:
            json.dump(self.sway.tree(), handle, indent=1)

    def steps(self):
        return [("shell_choice", self.step_shell_choice),
                ("placement", self.step_placement),
                ("keyboard_stays_beneath", self.step_keyboard_stays_beneath),
                ("clicks_pass_through", self.step_clicks_pass_through),
                ("hover_opens", self.step_hover_opens),
                ("flick_closes", self.step_flick_closes),
                ("jump_away_closes", self.step_jump_away_closes),
                ("alt_n_types_task", self.step_alt_n_types_task),
                ("escape_closes", self.step_escape_closes),
                ("click_outside_closes_pinned", self.step_click_outside_closes_pinned),
                ("dbus", self.step_dbus),
                ("still_running", self.step_still_running)]


if __name__ == "__main__":
    sys.exit(panelsteps.main(sys.argv, SwayTest, __doc__))
