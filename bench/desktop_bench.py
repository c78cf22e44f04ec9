#!/usr/bin/env python3
"""All three desktop measurements on one private X server: start-up to the mapped window
(desktop_startup.py), idle CPU and wake-ups (desktop_idle.py) and idle resident memory
(desktop_memory.py), each of the app beside the minimal Qt Quick program.

Usage:
    bench/desktop_bench.py --build-dir build
        [--startups 15] [--warmups 1] [--idle 60] [--settle 5] [--memory-runs 3]
        [--compositor] [--wm 'openbox --sm-disable'] [--json FILE] [--verbose]

The defaults take about three minutes. Prints the three tables, then one line "JSON {...}" with
every figure. Exits non-zero when a measurement fails, e.g. a window is never mapped; it never
judges the figures themselves.
"""

from __future__ import annotations

import argparse
import sys

# Run from the source tree: leave no __pycache__ behind in it.
sys.dont_write_bytecode = True

import desktop_idle
import desktop_memory
import desktop_startup
from desktop_common import (Desktop, add_common_arguments, add_settle_argument,
                            resolve_programs, run_main, write_json)


def main() -> int:
    parser = argparse.ArgumentParser(description="Start-up, idle CPU and wake-ups, and memory "
                                                 "of the app beside a minimal Qt Quick window")
    add_common_arguments(parser)
    add_settle_argument(parser)
    for script in (desktop_startup, desktop_idle, desktop_memory):
        script.add_arguments(parser)
    args = parser.parse_args()
    for script in (desktop_startup, desktop_idle, desktop_memory):
        script.check_arguments(parser, args)
    resolve_programs(args)

    with Desktop(args) as desktop:
        print(desktop.describe())
        print(f"app: {args.app}\nminimal: {args.minimal}\n", flush=True)
        figures = {}
        for name, script in (("startup", desktop_startup), ("idle", desktop_idle),
                             ("memory", desktop_memory)):
            figures[name] = script.measure(desktop, args)
            script.report(figures[name], args)
            print(flush=True)
    figures["setup"] = {"desktop": desktop.describe(), "app": str(args.app),
                        "minimal": str(args.minimal)}
    write_json(args, figures)
    return 0


if __name__ == "__main__":
    run_main(main)
