#!/usr/bin/env python3
"""Idle CPU time and wake-ups of the closed app, beside the minimal Qt Quick program.

Each program is started once unmeasured on the private Xvfb (unless desktop_bench.py's start-ups
did that already), then again with the pointer parked in the bottom-left corner, far from the
sensor, and left alone for --settle seconds. Then, over the next --idle seconds:
  - CPU time: utime + stime of the whole process from /proc/PID/stat (all threads, in clock ticks),
    and the nanosecond run time of its threads from /proc/PID/task/*/schedstat;
  - wake-ups: voluntary + nonvoluntary context switches summed over /proc/PID/task/*/status.
A thread that ends inside the window takes its switches with it, so it is listed by name and
counted as one wake-up (it woke at least to end) in "wake-ups incl. ended". An idle app should
wake up never; the threads that did wake are listed by name.

Usage:
    bench/desktop_idle.py --build-dir build [--idle 60] [--settle 5]
                          [--compositor] [--wm 'openbox --sm-disable'] [--json FILE]

Prints a table per program and the ratio app/minimal, then a line "JSON {...}". Exits non-zero
when a window is not mapped or a program ends during the measurement.
"""

from __future__ import annotations

import argparse
import sys
import time

# Run from the source tree: leave no __pycache__ behind in it.
sys.dont_write_bytecode = True

from desktop_common import (CLOCK_TICKS, BenchError, Desktop, Program, format_ratio, programs,
                            ratio, run_script, sample_process, table)


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--idle", type=float, default=60.0, metavar="SECONDS",
                        help="length of the measured idle window (default: 60)")


def check_arguments(parser: argparse.ArgumentParser, args: argparse.Namespace) -> None:
    if args.idle <= 0:
        parser.error("--idle must be positive")


def measure_one(desktop: Desktop, program: Program, args: argparse.Namespace) -> dict:
    with desktop.settled(program, args.settle) as launch:
        before = sample_process(launch.pid)
        time.sleep(args.idle)
        if not launch.alive():
            raise BenchError(f"{program.label} ended during the idle window\n"
                             f"{desktop.log_tail()}")
        after = sample_process(launch.pid)
    seconds = after.at - before.at

    threads = []
    cpu_ns = 0
    wakeups = 0
    for tid, now in after.threads.items():
        then = before.threads.get(tid)
        switches = now.voluntary + now.involuntary
        if then is not None:
            switches -= then.voluntary + then.involuntary
        ran = now.cpu_ns - (then.cpu_ns if then is not None else 0)
        cpu_ns += ran
        wakeups += switches
        if switches:
            threads.append({"tid": tid, "name": now.name, "wakeups": switches,
                            "cpu_ms": ran / 1e6})
    threads.sort(key=lambda thread: -thread["wakeups"])
    ended = [before.threads[tid].name for tid in before.threads if tid not in after.threads]
    return {
        "seconds": seconds,
        "cpu_ms": (after.ticks - before.ticks) * 1000 / CLOCK_TICKS,
        "cpu_ms_schedstat": cpu_ns / 1e6,
        "wakeups": wakeups,
        "wakeups_per_s": wakeups / seconds,
        "threads_before": len(before.threads),
        "threads_after": len(after.threads),
        "threads_ended": len(ended),
        "ended_threads": ended,
        "wakeups_incl_ended": wakeups + len(ended),
        "waking_threads": threads,
    }


def measure(desktop: Desktop, args: argparse.Namespace) -> dict:
    app, minimal = programs(args)
    figures = {program.label: measure_one(desktop, program, args) for program in (app, minimal)}
    figures["ratio_cpu"] = ratio(figures[app.label]["cpu_ms_schedstat"],
                                 figures[minimal.label]["cpu_ms_schedstat"])
    figures["ratio_wakeups"] = ratio(figures[app.label]["wakeups_incl_ended"],
                                     figures[minimal.label]["wakeups_incl_ended"])
    return figures


def report(figures: dict, args: argparse.Namespace) -> None:
    print(f"Idle, closed, pointer parked: {args.idle:g} s window after {args.settle:g} s settling")
    rows = []
    for label in ("tallowfern", "minimal"):
        f = figures[label]
        rows.append([label, f"{f['cpu_ms']:.0f}", f"{f['cpu_ms_schedstat']:.2f}",
                     str(f["wakeups"]), f"{f['wakeups_per_s']:.2f}",
                     str(f["wakeups_incl_ended"]),
                     f"{f['threads_before']}/{f['threads_after']}/{f['threads_ended']}"])
    print(table(["program", "CPU ms (ticks)", "CPU ms (schedstat)", "wake-ups", "per s",
                 "wake-ups incl. ended", "threads before/after/ended"], rows))
    print(f"ratio tallowfern/minimal: CPU {format_ratio(figures['ratio_cpu'])}, "
          f"wake-ups {format_ratio(figures['ratio_wakeups'])}")
    for label in ("tallowfern", "minimal"):
        waking = figures[label]["waking_threads"]
        ended = figures[label]["ended_threads"]
        if ended:
            print(f"{label}: threads that ended in the window: " + ", ".join(ended))
        if not waking:
            print(f"{label}: no running thread woke up")
            continue
        print(f"{label}: threads that woke up")
        print(table(["  thread", "tid", "wake-ups", "CPU ms"],
                    [[f"  {t['name']}", str(t["tid"]), str(t["wakeups"]), f"{t['cpu_ms']:.2f}"]
                     for t in waking]))


if __name__ == "__main__":
    run_script(sys.modules[__name__], "idle", settle=True)
