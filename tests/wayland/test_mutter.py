#!/usr/bin/env python3
"""The real app on headless mutter, GNOME's compositor. mutter has no layer-shell, so the panel's
windows run through XWayland; the window beneath is native Wayland. Input comes from mutter's
RemoteDesktop interface; screenshots are put together from the app's X windows.

Usage: test_mutter.py APP RECORDER [ARTIFACTS_DIR]

One mutter session for all steps, in order; a failed step is reported, leaves a screenshot and
the logs in ARTIFACTS_DIR, and the panel is put back closed before the next step runs.
"""

import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import mutter  # noqa: E402
import panelsteps  # noqa: E402


class MutterTest(panelsteps.PanelTest):
    name = "mutter"
    shell_word = "xwayland"
    jump_is_seen = False
    # GNOME keeps its clock at the top centre: the notch sits a quarter in from the left.
    notch_x = panelsteps.WIDTH // 4

    def start_compositor(self, session):
        return mutter.Mutter(session).start()

    can_scroll = True

    def start_input(self):
        return self.compositor.start_input()

    def scroll(self, kind, x, y, dx, events, interval_ms):
        self.input.scroll(kind, x, y, dx, events, interval_ms)
        return True

    def save_diagnostics(self, name):
        with open(os.path.join(self.artifacts, "failed-%s-windows.txt" % name), "w") as handle:
            for window in self.compositor.x_windows():
                handle.write("%r\n" % window)


if __name__ == "__main__":
    sys.exit(panelsteps.main(sys.argv, MutterTest, __doc__))
