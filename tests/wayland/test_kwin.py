#!/usr/bin/env python3
"""The real app on headless KWin, Plasma's compositor. KWin offers layer-shell, so the panel is a
native Wayland surface here, like the window beneath. Input comes from KWin's fake-input
protocol; screenshots from KWin's ScreenShot2 interface.

Usage: test_kwin.py APP RECORDER FAKE_INPUT [ARTIFACTS_DIR]

One KWin session for all steps, in order; a failed step is reported, leaves a screenshot and the
logs in ARTIFACTS_DIR, and the panel is put back closed before the next step runs.
"""

import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import kwin  # noqa: E402
import panelsteps  # noqa: E402
from panelsteps import KEY_LEFTALT  # noqa: E402
from waylandtest import StepFailed, wait_for  # noqa: E402

KEY_N = 49
QT_KEY_ALT = 0x01000023


class KWinTest(panelsteps.PanelTest):
    name = "kwin"
    shell_word = "layer-shell"

    def start_compositor(self, session):
        return kwin.KWin(session).start()

    def start_input(self):
        return self.compositor.start_input(self.helpers[0])

    def extra_steps(self):
        return [("global_shortcut", self.step_global_shortcut)]

    def step_global_shortcut(self):
        """Alt+N with a native Wayland window at work: KDE's global shortcut service delivers
        it, the panel opens ready to type, and the window never sees the key. Alt+N again
        closes it."""
        self.focus_recorder()
        mark = self.recorder_mark()
        self.input.chord(KEY_LEFTALT, KEY_N)
        self.wait_open(True)
        wait_for(lambda: self.session.recorder_lines(mark, prefix="focus"),
                 "the panel to take the keyboard from the window beneath")
        # The window sees Alt go down, as it would for any shortcut, but never the N.
        typed = [line for line in self.session.recorder_lines(mark, prefix="key")
                 if line != "keycode %d" % QT_KEY_ALT]
        if typed:
            raise StepFailed("the window beneath got the shortcut: %s" % typed)
        self.input.chord(KEY_LEFTALT, KEY_N)
        self.wait_open(False)
        through = "Alt+N through KDE global shortcuts"
        if not any(through in line for line in self.session.app_stderr.lines()):
            raise StepFailed("the app did not log '%s'" % through)


if __name__ == "__main__":
    # Which mechanism took the key is logged at debug level.
    os.environ["QT_LOGGING_RULES"] = "tallowfern.shortcut.debug=true"
    sys.exit(panelsteps.main(sys.argv, KWinTest, __doc__, helpers=1))
