#!/usr/bin/env python3
"""Opening and closing the panel: latency from the pointer resting on the sensor, and from Alt+N,
to the first frame on screen that shows the panel moving, and the frames on screen during the
open and close springs; of the app beside a reference panel in the same run, for each scene-graph
backend.

Everything is read from X events by bench_open_probe, which never polls, and timed as they reach
it (Xvfb's own stamps on crossings and Damage are stale): the pointer entering the sensor
(EnterNotify), Alt+N (an XInput 2.2 raw key event, which reaches the probe despite the app's key
grab: the N going down), every drawing into the panel window and every drawing on the screen
(Damage on the root window: without a compositing manager the server's own, with xcompmgr its
painting). After each drawing on the screen the probe reads two of its pixels on the panel's
centre line: just below the closed notch, which the opening panel covers, and just inside the
bottom edge of the open panel, which the closing panel uncovers (the probe paints the root grey).
A spring's first frame is the first that changed its pixel; what was drawn before it (a text
cursor, a focus change, the window reshaped or raised) is not counted. Its frames then run until
nothing was drawn for --quiet ms; damage within --merge ms of a frame's first is the same frame.

The reference, bench_reference_panel, has a sensor strip and a panel window of the app's sizes;
a black rectangle in it grows from the notch to 780x380 along the app's open spring (response
0.42 s, damping 0.78) at once when the pointer enters the strip or Alt+N comes (an X key grab as
the app's), and shrinks back along the close spring (0.34 s, 0.9). It has no content, shadow or
window shape, and its window is opaque. The app opens on hover only after its deliberate 100 ms
and closes 350 ms after the pointer has left; the hover ratio subtracts the 100 ms.

Each launch of either program first waits for its windows to be still, then runs --warmups
unmeasured cycles and --cycles measured ones. A cycle: the pointer jumps from the bottom-left
corner onto the sensor (xdotool) and the panel opens; the pointer goes back to the corner and it
closes; Alt+N opens it, Alt+N again closes it; each step from still windows. Every backend of
--backends (software = QT_QUICK_BACKEND=software, opengl = QSG_RHI_BACKEND=opengl, default =
neither, the binary's own choice) runs on the same private Xvfb, one program at a time, and the
report names what each process drew with; --compositing both repeats everything on a second one
with xcompmgr.

Usage:
    bench/desktop_open.py --build-dir build [--cycles 10] [--warmups 1]
        [--backends software,opengl] [--compositing off|on|both] [--quiet 200] [--merge 5]
        [--late 25] [--wm 'openbox --sm-disable'] [--env NAME=VALUE] [--json FILE]
        [--trace FILE] [--verbose]

The defaults take about five minutes; --compositing both twice that. Prints a latency table and a
spring-frame table per desktop and the ratios app/reference, then one line "JSON {...}". The
targets are printed beside the figures: the hover latency 100 ms plus one frame, Alt+N one frame
(16.7 ms at 60 Hz), no frame interval over --late ms (a frame dropped at 60 Hz). It never judges
the figures; it exits non-zero only when a measurement cannot be taken.
"""

from __future__ import annotations

import argparse
import os
import queue
import re
import statistics
import subprocess
import sys
import threading
import time
from dataclasses import dataclass
from pathlib import Path

# Run from the source tree: leave no __pycache__ behind in it.
sys.dont_write_bytecode = True

from desktop_common import (SENSOR_TITLE, BenchError, Desktop, Program, add_common_arguments,
                            check_executables, end_process, format_ratio, read_memory,
                            resolve_programs, run_main, table, write_json)
import openbench
from openbench import (NOTCH_HEIGHT, OPEN_HEIGHT, REFERENCE_PANEL_TITLE, REFERENCE_SENSOR_TITLE,
                       FrameWatch, add_cycle_arguments, check_cycle_arguments, cycle_setup,
                       cycles_note, intervals, latency_rows, latency_triggers, print_springs,
                       ratios, ratios_line, spread)

PANEL_TITLE = "Tallowfern"
KEYSYM_N = 0x6E
BACKENDS = {
    "software": {"QT_QUICK_BACKEND": "software"},
    "opengl": {"QSG_RHI_BACKEND": "opengl"},
    "default": {},
}


# --- the probe ----------------------------------------------------------------------------------

# Where the screen shows the panel moving, from the top of the panel window's centre line: just
# below the closed notch (as tall as the desktop's top panel, 24 without one), which the first
# opening frame covers, and just inside the bottom edge of the open panel, below its content,
# which the first closing frame uncovers. A spring starts from rest: its first frames move the
# edge by less than a pixel.
OPENING_POINT = (0, NOTCH_HEIGHT + 2)
CLOSING_POINT = (0, OPEN_HEIGHT - 2)


@dataclass
class Event:
    kind: str  # ready, enter, key, frame, screen, pixels, mark, end
    at: float  # CLOCK_MONOTONIC ms, when the probe received it
    words: list[str]


class OpenProbe:
    """bench_open_probe watching one program's windows; its lines arrive on a queue."""

    def __init__(self, desktop: Desktop, path: Path, sensor: str, panel: str, timeout: float,
                 trace=None, label: str = ""):
        command = [str(path), "--sensor", sensor, "--panel", panel, "--keysym", hex(KEYSYM_N),
                   "--timeout", str(timeout)]
        for dx, y in (OPENING_POINT, CLOSING_POINT):
            command += ["--point", str(dx), str(y)]
        self.desktop = desktop
        self._trace = trace
        self._label = label
        self.process = desktop.spawn(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self._events: queue.Queue[Event] = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()
        ready = self.next(timeout + 5)
        if ready is None or ready.kind != "ready":
            raise BenchError(f"bench_open_probe found no windows {sensor!r} and {panel!r}\n"
                             f"{desktop.log_tail()}")
        x, y, width, height = (int(word) for word in ready.words[3:7])
        self.sensor_centre = (x + width // 2, y + height // 2)
        self.keycode = int(ready.words[11])
        self.realtime = ready.words[12] == "1"
        if not self.keycode:
            raise BenchError("no key on the keyboard map gives n")

    def _read(self) -> None:
        for line in self.process.stdout:
            if self._trace:
                self._trace.write(f"{self._label} {line.decode()}")
            words = line.decode().split()
            if words:
                at = time.monotonic() * 1000 if words[0] == "ready" else float(words[1])
                self._events.put(Event(words[0], at, words))
        self._events.put(Event("end", time.monotonic() * 1000, []))

    def next(self, timeout: float) -> Event | None:
        try:
            event = self._events.get(timeout=max(0.0, timeout))
        except queue.Empty:
            return None
        if event.kind == "end":
            raise BenchError(f"bench_open_probe ended (status {self.process.wait()}): the "
                             f"program or its windows went away\n{self.desktop.log_tail()}")
        return event

    def pixels(self, timeout: float, note: str) -> list[str]:
        """The screen's pixels at the two points now, one value per point; `note` goes to the
        trace."""
        self.process.stdin.write(note.encode() + b"\n")
        self.process.stdin.flush()
        deadline = time.monotonic() + timeout
        marked = False
        while True:
            event = self.next(deadline - time.monotonic())
            if event is None:
                raise BenchError("bench_open_probe did not answer")
            marked = marked or event.kind == "mark"
            if marked and event.kind == "pixels":
                return event.words[2:]

    def stop(self) -> None:
        end_process(self.process)


@dataclass
class Spring:
    trigger: str
    first_ms: float  # from the input (or the pointer leaving) to the first frame on screen
    frames: list[float]  # on screen
    drawn: list[float]  # into the panel window


class Watch(FrameWatch):
    """One program's input and frames as the probe reports them, and the waits a cycle needs."""

    still = "the windows"

    def __init__(self, probe: OpenProbe, merge_ms: float, quiet_ms: float, timeout: float):
        super().__init__(quiet_ms, timeout)
        self.probe = probe
        self.merge_ms = merge_ms

    def next(self, timeout: float) -> Event | None:
        return self.probe.next(timeout)

    def wait_input(self, kind: str, keycode: int | None = None) -> Event:
        deadline = time.monotonic() + self.timeout
        while True:
            event = self.probe.next(deadline - time.monotonic())
            if event is None:
                raise BenchError(f"no {kind} event within {self.timeout:.0f} s")
            if event.kind == kind and (keycode is None or int(event.words[3]) == keycode):
                return event

    def spring(self, trigger: str, since: float, point: int, before: str) -> Spring:
        """The frames of one spring: from the first that changed the screen at `point` (whose
        pixel was `before`) until nothing was drawn for the quiet time. Frames that changed
        nothing there came before the spring began: a text cursor, a focus change, the panel
        raised or reshaped."""
        shown: list[float] = []
        drawn: list[float] = []
        batch: list[float] = []  # screen events since the last pixels
        last_drawn: float | None = None

        def add(times: list[float], at: float) -> None:
            # A frame may be put in several requests: what comes soon after its start is part of
            # it.
            if not times or at - times[-1] > self.merge_ms:
                times.append(at)

        for event in self.spring_events(trigger, since, shown):
            if event.kind == "frame":
                if shown:
                    add(drawn, event.at)
                last_drawn = event.at
            elif event.kind == "screen":
                if shown:
                    add(shown, event.at)
                else:
                    batch.append(event.at)
            elif event.kind == "pixels" and not shown and batch:
                if event.words[2 + point] != before:
                    shown.append(batch[0])
                    if last_drawn is not None:
                        drawn.append(last_drawn)
                batch.clear()
        return Spring(trigger, shown[0] - since, shown, drawn)


# --- one program --------------------------------------------------------------------------------


def gl_driver(pid: int) -> str:
    """What the process draws with, as its mapped libraries say."""
    try:
        maps = Path(f"/proc/{pid}/maps").read_text()
    except OSError:
        return "?"
    drivers = sorted(set(re.findall(r"/dri/(\w+)_dri\.so", maps)))
    if drivers:
        return "OpenGL (" + ", ".join(drivers) + ")"
    return "OpenGL (no DRI driver)" if "libGLX_mesa" in maps else "no OpenGL"


def one_cycle(desktop: Desktop, watch: Watch) -> list[Spring]:
    """Hover and leave, then Alt+N twice; each from still windows."""
    probe = watch.probe
    opening, closing = 0, 1
    springs = []

    watch.settle()
    before = probe.pixels(watch.timeout, "hover")
    desktop.move_pointer(*probe.sensor_centre)
    enter = watch.wait_input("enter")
    springs.append(watch.spring("hover", enter.at, opening, before[opening]))

    watch.settle()
    before = probe.pixels(watch.timeout, "leave")
    left = time.monotonic() * 1000
    desktop.park_pointer()
    springs.append(watch.spring("leave", left, closing, before[closing]))

    for trigger, point in (("key open", opening), ("key close", closing)):
        watch.settle()
        before = probe.pixels(watch.timeout, trigger.replace(" ", "-"))
        desktop.xdotool("key", "alt+n")
        key = watch.wait_input("key", probe.keycode)
        springs.append(watch.spring(trigger, key.at, point, before[point]))
    return springs


def measure_program(desktop: Desktop, program: Program, sensor: str, panel: str,
                    backend: str, args: argparse.Namespace) -> dict:
    env = BACKENDS[backend]
    desktop.park_pointer()
    with desktop.start_up(program, hold=True, env=env) as launch:
        probe = OpenProbe(desktop, args.open_probe, sensor, panel, args.map_timeout,
                          args.trace, f"{'xcompmgr' if desktop.args.compositor else 'plain'} "
                                      f"{backend} {program.label}")
        try:
            watch = Watch(probe, args.merge, args.quiet, args.timeout)
            springs: list[Spring] = []
            for cycle in range(args.warmups + args.cycles):
                done = one_cycle(desktop, watch)
                if cycle >= args.warmups:
                    springs += done
            if not launch.alive():
                raise BenchError(f"{program.label} ended during the measurement\n"
                                 f"{desktop.log_tail()}")
            driver = gl_driver(launch.pid)
            rss_kib = read_memory(launch.pid)["VmRSS"]
        finally:
            probe.stop()
    return summarise(springs, driver, rss_kib, probe.realtime, args.late)


# --- figures ------------------------------------------------------------------------------------


def spring_figures(springs: list[Spring], late_ms: float) -> dict:
    counts = [len(spring.frames) for spring in springs]
    figures = openbench.spring_figures(springs, late_ms)
    figures["frames"] = {"median": statistics.median(counts), "min": min(counts),
                         "max": max(counts), "values": counts}
    figures["drawn_interval"] = spread([gap for spring in springs
                                        for gap in intervals(spring.drawn)], keep=False)
    return figures


def summarise(springs: list[Spring], driver: str, rss_kib: int, realtime: bool,
              late: float) -> dict:
    by = {trigger: [s for s in springs if s.trigger == trigger]
          for trigger in ("hover", "leave", "key open", "key close")}
    return {
        "renderer": driver,
        "vmrss_kib_after": rss_kib,
        "probe_realtime": realtime,
        "latency": {trigger.replace(" ", "_"): spread([s.first_ms for s in springs_of])
                    for trigger, springs_of in by.items()},
        "open": spring_figures(by["hover"] + by["key open"], late),
        "close": spring_figures(by["leave"] + by["key close"], late),
    }


def report(desktop_label: str, runs: dict, args: argparse.Namespace) -> None:
    print(f"Latency to the first frame on screen that shows the panel moving, {desktop_label}, "
          f"{cycles_note(args)}")
    triggers = latency_triggers([("key_open", "Alt+N, opening"),
                                 ("key_close", "Alt+N, closing")])
    print(table(["backend", "program", "from", "median ms", "p95 ms", "max ms", "target ms"],
                latency_rows(runs, triggers)))
    print()
    print_springs(runs, "backend", args.late)
    print()
    for backend, figures in runs.items():
        app = figures["tallowfern"]
        print(f"{backend}: tallowfern draws with {app['renderer']}, VmRSS "
              f"{app['vmrss_kib_after'] / 1024:.0f} MiB after the cycles; reference with "
              f"{figures['reference']['renderer']}")
        r = figures["ratios"]
        print("  " + ratios_line(r, f"Alt+N open {format_ratio(r['key_open_latency'])}, Alt+N "
                                    f"close {format_ratio(r['key_close_latency'])}"))
    print(flush=True)


# --- main ---------------------------------------------------------------------------------------

def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    add_common_arguments(parser)
    parser.add_argument("--open-probe", type=Path,
                        help="the probe (default: BUILD_DIR/bench/bench_open_probe)")
    parser.add_argument("--reference", type=Path,
                        help="the reference panel (default: BUILD_DIR/bench/bench_reference_panel)")
    add_cycle_arguments(parser, "program and backend")
    parser.add_argument("--backends", default="software,opengl",
                        help="comma-separated, of " + ", ".join(BACKENDS) +
                             " (default: %(default)s)")
    parser.add_argument("--compositing", choices=("off", "on", "both"),
                        help="without xcompmgr, with it, or both one after the other (default: "
                             "off, or on with --compositor)")
    parser.add_argument("--merge", type=float, default=5.0, metavar="MS",
                        help="damage this soon after a frame's first is part of it (default: 5)")
    parser.add_argument("--trace", type=argparse.FileType("w"), metavar="FILE",
                        help="write every line of the probe to FILE, after the desktop, backend "
                             "and program; a cycle's steps show as 'mark' lines")
    args = parser.parse_args()
    backends = [name.strip() for name in args.backends.split(",") if name.strip()]
    unknown = [name for name in backends if name not in BACKENDS]
    if unknown or not backends:
        parser.error(f"--backends: unknown {', '.join(unknown) or 'empty list'}")
    check_cycle_arguments(parser, args)
    if args.merge < 0:
        parser.error("--merge must not be negative")
    modes = {"off": [False], "on": [True], "both": [False, True]}[
        args.compositing or ("on" if args.compositor else "off")]
    resolve_programs(args)
    build = args.build_dir
    args.open_probe = (args.open_probe or build / "bench" / "bench_open_probe").resolve()
    args.reference = (args.reference or build / "bench" / "bench_reference_panel").resolve()
    check_executables(args.open_probe, args.reference)

    app = Program("tallowfern", args.app, SENSOR_TITLE)
    reference = Program("reference", args.reference, REFERENCE_SENSOR_TITLE)
    figures: dict = {"desktops": {}}
    for composited in modes:
        desktop_args = argparse.Namespace(**vars(args))
        desktop_args.compositor = composited
        with Desktop(desktop_args) as desktop:
            label = desktop.describe()
            # Other work on the machine shows in frame intervals first.
            load = os.getloadavg()
            print(f"{label}; load average {load[0]:.2f} {load[1]:.2f} {load[2]:.2f}",
                  flush=True)
            runs = {}
            for index, backend in enumerate(backends):
                env = BACKENDS[backend]
                # Taking turns spreads any drift of the machine over both programs alike.
                order = [(app, SENSOR_TITLE, PANEL_TITLE),
                         (reference, REFERENCE_SENSOR_TITLE, REFERENCE_PANEL_TITLE)]
                if index % 2:
                    order.reverse()
                run = {}
                for program, sensor, panel in order:
                    run[program.label] = measure_program(desktop, program, sensor, panel,
                                                         backend, args)
                run["ratios"] = ratios(run["tallowfern"], run["reference"],
                                       ("key_open", "key_close"))
                run["environment"] = env
                runs[backend] = run
            report(label, runs, args)
        figures["desktops"]["xcompmgr" if composited else "plain"] = {
            "desktop": label, "load_average_before": load, "backends": runs}
    figures["setup"] = {"app": str(args.app), "reference": str(args.reference),
                        "merge_ms": args.merge, **cycle_setup(args)}
    write_json(args, {"open": figures})
    return 0


if __name__ == "__main__":
    run_main(main)
