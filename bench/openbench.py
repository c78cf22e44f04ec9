"""What the two panel-opening measurements share, desktop_open.py (a private Xvfb) and
sway_open.py (headless sway): the app's delays and springs the frames are held against, the
options that shape a cycle, the waits for a still screen and for a spring's frames, and the
figures and tables that set the app beside the reference panel.

Only the Python 3.11 standard library, like desktop_common.py.
"""

from __future__ import annotations

import argparse
import math
import time

from desktop_common import BenchError, format_ratio, ratio, table

REFERENCE_SENSOR_TITLE = "Tallowfern Bench Sensor"
REFERENCE_PANEL_TITLE = "Tallowfern Bench Panel"
# The app's NotchBehavior: the pointer rests this long on the sensor before the panel opens, and
# the open panel closes this long after the pointer has left it.
HOVER_DELAY_MS = 100.0
CLOSE_DELAY_MS = 350.0
FRAME_MS = 1000.0 / 60
# The closed notch on a desktop without a top panel of its own, and the open panel: their heights
# from the top of the panel's window.
NOTCH_HEIGHT = 24
OPEN_HEIGHT = 380
PROGRAMS = ("tallowfern", "reference")


def settling_ms(response: float, damping: float, tolerance: float = 1e-3) -> float:
    """How long the app's (underdamped) springs, and so its animations, last: until the
    oscillation's envelope stays within `tolerance` of the target."""
    w0 = 2 * math.pi / response
    return -math.log(tolerance * math.sqrt(1 - damping * damping)) / (damping * w0) * 1000


OPEN_SPRING_MS = settling_ms(0.42, 0.78)
CLOSE_SPRING_MS = settling_ms(0.34, 0.9)


# --- command line -------------------------------------------------------------------------------

def add_cycle_arguments(parser: argparse.ArgumentParser, per: str) -> None:
    """--cycles and --warmups, counted per `per`; --quiet, --late and --timeout."""
    parser.add_argument("--cycles", type=int, default=10, metavar="N",
                        help=f"measured cycles per {per} (default: 10)")
    parser.add_argument("--warmups", type=int, default=1, metavar="N",
                        help="unmeasured cycles first in each launch (default: 1)")
    parser.add_argument("--quiet", type=float, default=200.0, metavar="MS",
                        help="a spring's frames have ended when none came for this long "
                             "(default: 200)")
    parser.add_argument("--late", type=float, default=25.0, metavar="MS",
                        help="a frame interval over this counts as late (default: 25)")
    parser.add_argument("--timeout", type=float, default=10.0, metavar="SECONDS",
                        help="give up when an event or a frame does not come within this "
                             "(default: 10)")


def check_cycle_arguments(parser: argparse.ArgumentParser, args: argparse.Namespace) -> None:
    if args.cycles < 1 or args.warmups < 0 or args.quiet <= 0:
        parser.error("--cycles must be at least 1, --warmups not negative, --quiet positive")


def cycle_setup(args: argparse.Namespace) -> dict:
    """What the JSON's setup says of every run."""
    return {"cycles": args.cycles, "warmups": args.warmups, "quiet_ms": args.quiet,
            "open_spring_ms": OPEN_SPRING_MS, "close_spring_ms": CLOSE_SPRING_MS,
            "hover_delay_ms": HOVER_DELAY_MS}


# --- waiting on the screen ----------------------------------------------------------------------

class FrameWatch:
    """Drawing as it reaches the script, one timed event at a time (anything with `at`, in
    CLOCK_MONOTONIC ms), and the waits a cycle needs on it. Subclasses give next(timeout): the
    next event, or None when none came within the timeout."""

    # What settle()'s error says never stood still.
    still = "the screen"

    def __init__(self, quiet_ms: float, timeout: float):
        self.quiet_ms = quiet_ms
        self.timeout = timeout

    def next(self, timeout: float):
        raise NotImplementedError

    def settle(self) -> None:
        """Returns once nothing was drawn for the quiet time."""
        deadline = time.monotonic() + self.timeout
        while self.next(self.quiet_ms / 1000) is not None:
            if time.monotonic() > deadline:
                raise BenchError(f"{self.still} never stood still for {self.quiet_ms:.0f} ms "
                                 f"within {self.timeout:.0f} s")

    def spring_events(self, trigger: str, since: float, shown: list):
        """The events from `since` on while a spring lasts: until its first frame is in `shown`
        (the caller's list, filled as it goes) for at most the timeout, then until nothing came
        for the quiet time."""
        deadline = time.monotonic() + self.timeout
        while True:
            event = self.next(self.quiet_ms / 1000 if shown else deadline - time.monotonic())
            if event is None:
                if shown:
                    return
                raise BenchError(f"{trigger}: the screen did not change within "
                                 f"{self.timeout:.0f} s")
            if event.at >= since:
                yield event


# --- figures ------------------------------------------------------------------------------------

def percentile(values: list[float], share: float) -> float:
    """Nearest rank: a value that was measured, at or above `share` of them."""
    ordered = sorted(values)
    return ordered[max(0, math.ceil(share * len(ordered)) - 1)]


def spread(values: list[float], keep: bool = True) -> dict:
    """Median, 95th percentile and maximum; the values themselves too unless there are many."""
    if not values:
        return {"n": 0, "median_ms": None, "p95_ms": None, "max_ms": None}
    figures = {"n": len(values), "median_ms": percentile(values, 0.5),
               "p95_ms": percentile(values, 0.95), "max_ms": max(values)}
    if keep:
        figures["values_ms"] = [round(value, 3) for value in values]
    return figures


def intervals(frames: list[float]) -> list[float]:
    return [b - a for a, b in zip(frames, frames[1:])]


def spring_figures(springs: list, late_ms: float) -> dict:
    """How long springs' frames (each spring's `frames`, times in ms) lasted and how evenly they
    came; how many frames each had is the caller's to add."""
    gaps = [gap for spring in springs for gap in intervals(spring.frames)]
    return {
        "springs": len(springs),
        "duration": spread([spring.frames[-1] - spring.frames[0] for spring in springs]),
        "interval": spread(gaps, keep=False),
        "late": sum(1 for gap in gaps if gap > late_ms),
        "late_springs": sum(1 for spring in springs
                            if any(gap > late_ms for gap in intervals(spring.frames))),
        "late_limit_ms": late_ms,
    }


def ratios(app: dict, reference: dict, latencies: tuple[str, ...]) -> dict:
    """App over reference, of the medians: the hover latency less the app's delay, the other
    `latencies`, and the frame intervals of both springs (their p95 too)."""
    def of(numerator: float | None, denominator: float | None) -> float | None:
        if numerator is None or denominator is None:
            return None
        return ratio(numerator, denominator)

    latency_app, latency_reference = app["latency"], reference["latency"]
    hover = latency_app["hover"]["median_ms"]
    figures = {"hover_latency_less_delay": of(None if hover is None else hover - HOVER_DELAY_MS,
                                              latency_reference["hover"]["median_ms"])}
    for key in latencies:
        figures[key + "_latency"] = of(latency_app[key]["median_ms"],
                                       latency_reference[key]["median_ms"])
    for spring in ("open", "close"):
        for figure in ("median", "p95"):
            figures[f"{spring}_interval_{figure}"] = of(
                app[spring]["interval"][f"{figure}_ms"],
                reference[spring]["interval"][f"{figure}_ms"])
    return figures


# --- output -------------------------------------------------------------------------------------

def ms(value: float | None) -> str:
    return "n/a" if value is None else f"{value:.1f}"


def latency_triggers(inputs: list[tuple[str, str]]) -> list[tuple[str, str, str]]:
    """(key, label, target ms) of the latency table's rows: the pointer resting on the sensor,
    the (key, label) `inputs`, which should show a frame at once, and the pointer leaving."""
    frame = f"{FRAME_MS:.1f}"
    # The app's own delays come before its frame; the reference has none.
    return ([("hover", "pointer on sensor", f"{HOVER_DELAY_MS:.0f}+{frame}")] +
            [(key, label, frame) for key, label in inputs] +
            [("leave", "pointer leaves", f"{CLOSE_DELAY_MS:.0f}+{frame}")])


def cycles_note(args: argparse.Namespace) -> str:
    return (f"{args.cycles} cycle(s) per program ({args.warmups} warm-up cycle(s) not counted; "
            f"p95 is the nearest rank, the maximum for fewer than 20 cycles)")


def latency_rows(runs: dict, triggers: list[tuple[str, str, str]], more=None) -> list[list[str]]:
    """A row per run, trigger (of latency_triggers) and program: median, p95, maximum and
    target; `more(figures, key)` adds cells from the program's figures."""
    frame = f"{FRAME_MS:.1f}"
    rows = []
    for run, figures in runs.items():
        for key, label, target in triggers:
            for program in PROGRAMS:
                values = figures[program]["latency"][key]
                row = [run, program, label, ms(values["median_ms"]), ms(values["p95_ms"]),
                       ms(values["max_ms"]), target if program == "tallowfern" else frame]
                if more:
                    row += more(figures[program], key)
                rows.append(row)
    return rows


def print_springs(runs: dict, run_column: str, late_ms: float, frames_are: str = "") -> None:
    """The table of the springs' frames, a row per run, spring and program; `frames_are` says
    what counts as a frame where that needs saying."""
    print(f"Frames on screen during the springs{frames_are}, medians per spring and intervals "
          f"of all of them (the springs settle in: open {OPEN_SPRING_MS:.0f} ms, the app's "
          f"content 60 ms later; close {CLOSE_SPRING_MS:.0f} ms); 'late' = intervals over "
          f"{late_ms:.0f} ms")
    rows = []
    for run, figures in runs.items():
        for spring in ("open", "close"):
            for program in PROGRAMS:
                f = figures[program][spring]
                rows.append([run, program, spring, f"{f['frames']['median']:.0f}",
                             ms(f["duration"]["median_ms"]), ms(f["interval"]["median_ms"]),
                             ms(f["interval"]["p95_ms"]), ms(f["interval"]["max_ms"]),
                             f"{f['late']}/{f['interval']['n']}",
                             f"{f['late_springs']}/{f['springs']}"])
    print(table([run_column, "program", "spring", "frames", "duration ms", "interval median",
                 "p95", "max", "late", "springs with late"], rows))


def ratios_line(r: dict, inputs: str) -> str:
    """ratios() in words; `inputs` names the latencies between the hover's and the frames'."""
    return (f"ratios tallowfern/reference (medians; hover less the {HOVER_DELAY_MS:.0f} ms "
            f"delay): hover {format_ratio(r['hover_latency_less_delay'])}, {inputs}; frame "
            f"interval open {format_ratio(r['open_interval_median'])} (p95 "
            f"{format_ratio(r['open_interval_p95'])}), close "
            f"{format_ratio(r['close_interval_median'])} (p95 "
            f"{format_ratio(r['close_interval_p95'])})")
