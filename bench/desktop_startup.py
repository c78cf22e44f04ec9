#!/usr/bin/env python3
"""Start-up time: from spawning the program to its window being mapped.

For the app the window that counts is the sensor ("Tallowfern Sensor"), for the minimal Qt Quick
program its only window. bench_map_probe watches the root window for MapNotify before it spawns
the program, so nothing is polled; a reparenting window manager (--wm) counts when the frame that
holds the window is mapped. The two programs take turns, after unmeasured warm-up starts of 2 s
that fill the page cache and the shader caches, on one private Xvfb with the same scratch home.

Usage:
    bench/desktop_startup.py --build-dir build [--startups 15] [--warmups 1]
                             [--compositor] [--wm 'openbox --sm-disable'] [--json FILE]

Prints median, min and max per program and the ratio app/minimal, then a line "JSON {...}".
Exits non-zero when a window is not mapped within --map-timeout.
"""

from __future__ import annotations

import argparse
import sys

# Run from the source tree: leave no __pycache__ behind in it.
sys.dont_write_bytecode = True

from desktop_common import (Desktop, format_ratio, median, programs, ratio, run_script, table)


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--startups", type=int, default=15, metavar="N",
                        help="measured starts of each program (default: 15)")
    parser.add_argument("--warmups", type=int, default=1, metavar="N",
                        help="unmeasured starts of each program first (default: 1)")


def check_arguments(parser: argparse.ArgumentParser, args: argparse.Namespace) -> None:
    if args.startups < 1 or args.warmups < 0:
        parser.error("--startups must be at least 1 and --warmups not negative")


def measure(desktop: Desktop, args: argparse.Namespace) -> dict:
    app, minimal = programs(args)
    for _ in range(args.warmups):
        for program in (app, minimal):
            desktop.warm_up(program)
    times: dict[str, list[float]] = {app.label: [], minimal.label: []}
    for run in range(args.startups):
        # Taking turns spreads any drift of the machine over both programs alike.
        for program in (app, minimal) if run % 2 == 0 else (minimal, app):
            with desktop.start_up(program, hold=False) as launch:
                times[program.label].append(launch.mapped_ms)
    figures = {label: {"median_ms": median(values), "min_ms": min(values),
                       "max_ms": max(values), "runs_ms": values}
               for label, values in times.items()}
    figures["ratio_median"] = ratio(figures[app.label]["median_ms"],
                                    figures[minimal.label]["median_ms"])
    return figures


def report(figures: dict, args: argparse.Namespace) -> None:
    print(f"Start-up to mapped window, {args.startups} starts each, taking turns "
          f"({args.warmups} warm-up start(s) each not counted)")
    rows = [[label, f"{figures[label]['median_ms']:.1f}", f"{figures[label]['min_ms']:.1f}",
             f"{figures[label]['max_ms']:.1f}"] for label in ("tallowfern", "minimal")]
    print(table(["program", "median ms", "min ms", "max ms"], rows))
    print(f"ratio tallowfern/minimal (medians): {format_ratio(figures['ratio_median'])}")


if __name__ == "__main__":
    run_script(sys.modules[__name__], "startup", settle=False)
