#!/usr/bin/env python3
"""Resident memory of the idle, closed app beside the minimal Qt Quick program.

Each program is started once unmeasured on the private Xvfb (unless desktop_bench.py's start-ups
did that already), then again, left alone for --settle seconds after its window is mapped, and
read: VmRSS (and its anonymous and file parts) from /proc/PID/status, Pss and
its parts from /proc/PID/smaps_rollup. The programs run one after the other, never together, so
neither shares library pages with the other and Pss counts the libraries in full. With several
--memory-runs the median of each figure is shown. The target is app/minimal Pss of at most 1.3.
Pss still shares pages with whatever else runs on the machine: another Qt program started
meanwhile lowers it, so compare Pss from a quiet machine. VmRSS does not depend on that.

Usage:
    bench/desktop_memory.py --build-dir build [--memory-runs 3] [--settle 5]
                            [--compositor] [--wm 'openbox --sm-disable'] [--json FILE]

Prints a table in MiB and the ratios app/minimal, then a line "JSON {...}". Exits non-zero when a
window is not mapped or a program ends while settling.
"""

from __future__ import annotations

import argparse
import sys

# Run from the source tree: leave no __pycache__ behind in it.
sys.dont_write_bytecode = True

from desktop_common import (Desktop, Program, format_ratio, median, programs, ratio, read_memory,
                            run_script, table)

SHOWN = ["VmRSS", "RssAnon", "RssFile", "Pss", "Pss_Anon", "Pss_File", "Private_Dirty"]
TARGET_RATIO = 1.3


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--memory-runs", type=int, default=3, metavar="N",
                        help="starts of each program; the median is shown (default: 3)")


def check_arguments(parser: argparse.ArgumentParser, args: argparse.Namespace) -> None:
    if args.memory_runs < 1:
        parser.error("--memory-runs must be at least 1")


def read_one(desktop: Desktop, program: Program, args: argparse.Namespace) -> dict[str, int]:
    with desktop.settled(program, args.settle) as launch:
        return read_memory(launch.pid)


def measure(desktop: Desktop, args: argparse.Namespace) -> dict:
    app, minimal = programs(args)
    runs: dict[str, list[dict[str, int]]] = {app.label: [], minimal.label: []}
    for _ in range(args.memory_runs):
        for program in (app, minimal):
            runs[program.label].append(read_one(desktop, program, args))
    figures: dict = {}
    for label, readings in runs.items():
        keys = set.intersection(*(set(reading) for reading in readings))
        figures[label] = {key + "_kB": median([reading[key] for reading in readings])
                          for key in sorted(keys)}
    for key in ("VmRSS", "Pss"):
        figures[f"ratio_{key}"] = ratio(figures[app.label][key + "_kB"],
                                        figures[minimal.label][key + "_kB"])
    return figures


def report(figures: dict, args: argparse.Namespace) -> None:
    print(f"Resident memory after {args.settle:g} s settling, MiB "
          f"(median of {args.memory_runs} start(s) each)")
    rows = []
    for label in ("tallowfern", "minimal"):
        f = figures[label]
        rows.append([label] + [f"{f[key + '_kB'] / 1024:.1f}" if key + "_kB" in f else "-"
                               for key in SHOWN])
    print(table(["program"] + SHOWN, rows))
    for key in ("VmRSS", "Pss"):
        value = figures[f"ratio_{key}"]
        verdict = "" if value is None else (" (within 1.3)" if value <= TARGET_RATIO
                                            else " (above 1.3)")
        print(f"ratio tallowfern/minimal {key}: {format_ratio(value)}{verdict}")
    print("(Pss drops while other programs map the same libraries; VmRSS does not)")


if __name__ == "__main__":
    run_script(sys.modules[__name__], "memory", settle=True)
