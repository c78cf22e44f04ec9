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


class KWinTest(panelsteps.PanelTest):
    name = "kwin"
    shell_word = "layer-shell"

    def start_compositor(self, session):
        return kwin.KWin(session).start()

    def start_input(self):
        return self.compositor.start_input(self.helpers[0])


if __name__ == "__main__":
    sys.exit(panelsteps.main(sys.argv, KWinTest, __doc__, helpers=1))
