#!/usr/bin/env python3
"""The real app on headless sway: where the notch sits, what the pointer and keyboard do to it,
and what lands in today's board. Another program's window (the click recorder) fills the screen
underneath, so that clicks and keys that miss the app can be seen arriving there.

Usage: test_sway.py APP RECORDER VIRTUAL_SWIPE [ARTIFACTS_DIR]

One sway session for all steps, in order; a failed step is reported, leaves a screenshot and the
logs in ARTIFACTS_DIR, and the panel is put back closed before the next step runs.
"""

import json
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import panelsteps  # noqa: E402
import sway  # noqa: E402
import waylandtest  # noqa: E402
from panelsteps import AWAY, CLICK_TO_FOCUS, NOTCH_CENTRE, STARTUP_DEADLINE  # noqa: E402
from waylandtest import StepFailed, is_black, is_grey, log, settle, wait_for  # noqa: E402

# Geometry on a 1920x1080 output. No sampled point is where the pointer rests when it is sampled:
# the headless output draws the cursor into the picture grim takes.
WIDE_NOTCH = 318
NOTCH_INSIDE = [(960, 8), (880, 12), (1040, 12)]
# Beside the notch even when cards make it wider, and under it.
NOTCH_OUTSIDE = [(300, 8), (760, 8), (1160, 8), (1700, 8), (960, 40), (700, 200), (1200, 300)]


class SwayTest(panelsteps.PanelTest):
    """Shares the picture, state and recorder helpers of the other compositors' tests; sway's own
    steps drive input through VNC in X keysyms and bind Alt+N in sway itself."""

    name = "sway"
    shell_word = "layer-shell"
    key_enter = sway.KEY_RETURN
    key_escape = sway.KEY_ESCAPE
    can_scroll = True

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

    def toggle(self):
        """Alt+N through sway's binding."""
        self.input.chord(sway.KEY_ALT_L, ord("n"))

    def scroll(self, kind, x, y, dx, events, interval_ms):
        # VNC only knows wheel buttons; a virtual pointer of our own sends the axis source and
        # stop a touchpad's strokes come with.
        swipe = self.session.install_binary(self.helpers[0])
        self.session.run([swipe, kind, str(x), str(y), str(dx), str(events), str(interval_ms)],
                         env=self.sway.client_env())
        return True

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

    def step_dbus(self):
        super().step_dbus()
        session = self.session
        session.dbus_call("Toggle")
        self.wait_open(True)
        session.dbus_call("Toggle")
        self.wait_open(False)

    def step_still_running(self):
        super().step_still_running()
        bad = [line for line in self.session.app_log()
               if "QQmlApplicationEngine failed" in line or "Segmentation" in line]
        if bad:
            raise StepFailed("the app's log has: %s" % bad)

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
                ("alt_n_types_task", self.step_types_task),
                ("escape_closes", self.step_escape_closes),
                ("click_outside_closes_pinned", self.step_click_outside_closes_pinned),
                ("swipe_switches_tab", self.step_swipe_switches_tab),
                ("dbus", self.step_dbus),
                ("still_running", self.step_still_running)]


if __name__ == "__main__":
    sys.exit(panelsteps.main(sys.argv, SwayTest, __doc__, helpers=1))
