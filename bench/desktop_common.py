"""Shared parts of the desktop measurements (desktop_startup.py, desktop_idle.py,
desktop_memory.py, desktop_bench.py, desktop_open.py): a private X server with a scratch home,
starting a program through bench_map_probe, driving the pointer and keyboard with xdotool, and
reading a program's threads and memory from /proc.

Both programs, the app and the minimal Qt Quick window, get exactly the same environment: a clean
one built here (nothing inherited but PATH, LANG and TZ), QT_QPA_PLATFORM=xcb, no QT_*/QSG_*
overrides but those given with --env (and a scene-graph backend's that desktop_open.py sets for
both alike), a scratch HOME and XDG_* folders, a private session bus and an empty vault.

Only the Python 3.11 standard library; needs Xvfb and xdotool, optionally xcompmgr and a window
manager such as openbox, and dbus-daemon for the private session bus.
"""

from __future__ import annotations

import argparse
import contextlib
import ctypes
import json
import os
import shlex
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from dataclasses import dataclass, field
from pathlib import Path

SENSOR_TITLE = "Tallowfern Sensor"
MINIMAL_TITLE = "Tallowfern Bench Minimal"
REPO = Path(__file__).resolve().parent.parent
SESSION_BUS_CONFIG = REPO / "tests" / "session-bus.conf"
# Bottom left: as far from the top-centre sensor as the screen allows.
POINTER_PARK = (10, 1070)
CLOCK_TICKS = os.sysconf("SC_CLK_TCK")
WARM_UP_SECONDS = 2.0


class BenchError(Exception):
    """A measurement could not be taken; the scripts exit non-zero with this message."""


# --- command line -------------------------------------------------------------------------------


def add_common_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--build-dir", type=Path, default=REPO / "build",
                        help="build tree holding tallowfern and bench/ (default: %(default)s)")
    parser.add_argument("--app", type=Path, help="the app (default: BUILD_DIR/tallowfern)")
    parser.add_argument("--minimal", type=Path,
                        help="the minimal program (default: BUILD_DIR/bench/bench_minimal_quick)")
    parser.add_argument("--probe", type=Path,
                        help="the map probe (default: BUILD_DIR/bench/bench_map_probe)")
    parser.add_argument("--compositor", action="store_true",
                        help="run xcompmgr on the private display")
    parser.add_argument("--wm", metavar="COMMAND",
                        help="a window manager to run on the private display, e.g. 'openbox "
                             "--sm-disable'")
    parser.add_argument("--map-timeout", type=float, default=30.0, metavar="SECONDS",
                        help="give up when a window is not mapped within this (default: 30)")
    parser.add_argument("--json", type=Path, metavar="FILE",
                        help="also write the figures as JSON to FILE (a one-line copy is always "
                             "printed after the tables, starting with 'JSON ')")
    parser.add_argument("--env", action="append", default=[], metavar="NAME=VALUE",
                        help="set this in both programs' environment, e.g. "
                             "QT_QUICK_BACKEND=software (may be given more than once)")
    parser.add_argument("--verbose", action="store_true",
                        help="show the programs' own output (it is kept in a log otherwise)")


def add_settle_argument(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--settle", type=float, default=5.0, metavar="SECONDS",
                        help="leave the program alone this long after its window is mapped "
                             "(default: 5)")


def resolve_programs(args: argparse.Namespace) -> None:
    build = args.build_dir
    args.app = (args.app or build / "tallowfern").resolve()
    args.minimal = (args.minimal or build / "bench" / "bench_minimal_quick").resolve()
    args.probe = (args.probe or build / "bench" / "bench_map_probe").resolve()
    check_executables(args.app, args.minimal, args.probe)
    needed = ["Xvfb", "xdotool"] + (["xcompmgr"] if args.compositor else [])
    if args.wm:
        needed += [shlex.split(args.wm)[0], "xprop"]
    missing = [tool for tool in needed if not shutil.which(tool)]
    if missing:
        raise BenchError("missing tools: " + ", ".join(missing))


def check_executables(*paths: Path) -> None:
    for path in paths:
        if not os.access(path, os.X_OK):
            raise BenchError(f"{path} is not an executable; build it first or pass its path")


@dataclass(frozen=True)
class Program:
    label: str
    path: Path
    title: str


def programs(args: argparse.Namespace) -> tuple[Program, Program]:
    return (Program("tallowfern", args.app, SENSOR_TITLE),
            Program("minimal", args.minimal, MINIMAL_TITLE))


# --- cleaning up --------------------------------------------------------------------------------

_libc = ctypes.CDLL(None, use_errno=True)
_PR_SET_PDEATHSIG = 1


def _die_with_us() -> None:
    # Runs in the child: whatever happens to this script, nothing it started outlives it.
    _libc.prctl(_PR_SET_PDEATHSIG, signal.SIGTERM)


def exit_cleanly_on_signals() -> None:
    """SIGTERM and SIGHUP unwind like Ctrl+C does, so every `finally` and `with` cleans up."""

    def unwind(signum, _frame):
        raise SystemExit(128 + signum)

    signal.signal(signal.SIGTERM, unwind)
    signal.signal(signal.SIGHUP, unwind)
    # Also when started in the background, where the shell leaves SIGINT ignored.
    signal.signal(signal.SIGINT, signal.default_int_handler)


def end_process(process: subprocess.Popen, grace: float = 5.0, terminate: bool = False) -> None:
    """Closes a process's stdin, which tells a helper to leave, and with `terminate` sends it
    SIGTERM as well; kills it when it is still there after `grace` seconds."""
    if process.stdin and not process.stdin.closed:
        try:
            process.stdin.close()
        except OSError:
            pass
    if terminate and process.poll() is None:
        process.terminate()
    try:
        process.wait(grace)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


# --- the private desktop ------------------------------------------------------------------------


class Desktop:
    """A private Xvfb (plus compositor, window manager and session bus) and a scratch home.

    Use as a context manager; leaving it stops everything it started and removes the scratch
    folder, also on errors and Ctrl+C.
    """

    def __init__(self, args: argparse.Namespace):
        self.args = args
        self._processes: list[subprocess.Popen] = []
        self.display = ""
        self.env: dict[str, str] = {}
        self._warm: set[str] = set()

    def __enter__(self) -> Desktop:
        self.root = Path(tempfile.mkdtemp(prefix="tallowfern-bench-"))
        try:
            self._log = open(self.root / "programs.log", "w+b")
            self._start()
        except BaseException:
            self.__exit__(None, None, None)
            raise
        return self

    def __exit__(self, *_exc) -> None:
        for process in reversed(self._processes):
            end_process(process, 3.0, terminate=True)
        self._processes.clear()
        if hasattr(self, "_log"):
            self._log.close()
        shutil.rmtree(self.root, ignore_errors=True)

    def _spawn(self, command: list[str], **kwargs) -> subprocess.Popen:
        process = subprocess.Popen(command, preexec_fn=_die_with_us, start_new_session=True,
                                   **kwargs)
        self._processes.append(process)
        return process

    def _output(self) -> dict:
        if self.args.verbose:
            return {}
        return {"stdout": self._log, "stderr": self._log}

    def _start(self) -> None:
        read_end, write_end = os.pipe()
        try:
            # -noreset: like a desktop, the server lives on when the last client leaves; a reset
            # between two programs would refuse the next connection for a moment.
            self._spawn(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1920x1080x24",
                         "-nolisten", "tcp", "-noreset"], pass_fds=(write_end,),
                        **self._output())
            os.close(write_end)
            write_end = -1
            number = b""
            while not number.endswith(b"\n"):
                chunk = os.read(read_end, 16)
                if not chunk:
                    raise BenchError("Xvfb did not start")
                number += chunk
        finally:
            os.close(read_end)
            if write_end >= 0:
                os.close(write_end)
        self.display = ":" + number.decode().strip()

        home = self.root / "home"
        folders = {
            "HOME": home,
            "XDG_CONFIG_HOME": home / ".config",
            "XDG_STATE_HOME": home / ".local" / "state",
            "XDG_DATA_HOME": home / ".local" / "share",
            "XDG_CACHE_HOME": home / ".cache",
            "XDG_RUNTIME_DIR": self.root / "runtime",
            "TALLOWFERN_VAULT": self.root / "vault",
        }
        for folder in folders.values():
            folder.mkdir(parents=True, exist_ok=True)
        folders["XDG_RUNTIME_DIR"].chmod(0o700)
        # Not a first start and no morning greeting: either would open the panel by itself, and
        # the measurements are of the closed app.
        settings = folders["XDG_CONFIG_HOME"] / "Tallowfern" / "Tallowfern.conf"
        settings.parent.mkdir(parents=True)
        settings.write_text(f"[General]\nvaultPath={folders['TALLOWFERN_VAULT']}\n"
                            "morningBanner=false\n")

        self.env = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"),
                    "LANG": os.environ.get("LANG", "C.UTF-8"),
                    "DISPLAY": self.display, "QT_QPA_PLATFORM": "xcb"}
        if "TZ" in os.environ:
            self.env["TZ"] = os.environ["TZ"]
        self.env.update({name: str(path) for name, path in folders.items()})
        for setting in self.args.env:
            name, _, value = setting.partition("=")
            self.env[name] = value

        if shutil.which("dbus-daemon") and SESSION_BUS_CONFIG.exists():
            bus = self._spawn(["dbus-daemon", f"--config-file={SESSION_BUS_CONFIG}", "--nofork",
                               "--print-address=1"], stdout=subprocess.PIPE, env=self.env,
                              stderr=None if self.args.verbose else self._log)
            address = bus.stdout.readline().decode().strip()
            if not address:
                raise BenchError("dbus-daemon did not start")
            self.env["DBUS_SESSION_BUS_ADDRESS"] = address
        self.session_bus = "DBUS_SESSION_BUS_ADDRESS" in self.env

        if self.args.compositor:
            self._spawn(["xcompmgr"], env=self.env, **self._output())
        if self.args.wm:
            self._spawn(shlex.split(self.args.wm), env=self.env, **self._output())
            self._wait_for_wm()
        self.park_pointer()

    def _wait_for_wm(self) -> None:
        # A window manager announces itself with _NET_SUPPORTING_WM_CHECK on the root window.
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            out = subprocess.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"], env=self.env,
                                 capture_output=True, text=True).stdout
            if "window id" in out:
                return
            time.sleep(0.1)
        raise BenchError(f"window manager {self.args.wm!r} did not start")

    def park_pointer(self) -> None:
        self.move_pointer(*POINTER_PARK)

    def move_pointer(self, x: int, y: int) -> None:
        self.xdotool("mousemove", str(x), str(y))

    def xdotool(self, *arguments: str) -> None:
        done = subprocess.run(["xdotool", *arguments], env=self.env, capture_output=True,
                              text=True)
        if done.returncode != 0:
            raise BenchError(f"xdotool {' '.join(arguments)} failed: {done.stderr.strip()}\n"
                             f"{self.log_tail()}")

    def spawn(self, command: list[str], **kwargs) -> subprocess.Popen:
        """Starts a helper on the private display; it is stopped with the desktop at the latest."""
        kwargs.setdefault("env", self.env)
        kwargs.setdefault("stderr", None if self.args.verbose else self._log)
        return self._spawn(command, **kwargs)

    def describe(self) -> str:
        parts = [f"Xvfb {self.display} 1920x1080x24"]
        parts.append("xcompmgr" if self.args.compositor else "no compositor")
        parts.append(f"window manager: {self.args.wm}" if self.args.wm else "no window manager")
        parts.append("private session bus" if self.session_bus else "no session bus")
        parts += self.args.env
        return ", ".join(parts)

    def log_tail(self, lines: int = 20) -> str:
        if self.args.verbose:
            return ""
        self._log.flush()
        text = (self.root / "programs.log").read_text(errors="replace").splitlines()
        return "\n".join(text[-lines:])

    def warm_up(self, program: Program, always: bool = True) -> None:
        """An unmeasured start that runs for a moment. The first start in a fresh home reads the
        libraries from disk and fills the shader caches in XDG_CACHE_HOME (7 MiB more memory
        than any later start); it must render its first frame before it is stopped for that."""
        if always or program.label not in self._warm:
            with self.start_up(program, hold=True):
                time.sleep(WARM_UP_SECONDS)
            self._warm.add(program.label)

    def start_up(self, program: Program, hold: bool,
                 env: dict[str, str] | None = None) -> Launch:
        """Starts `program` through the probe and returns once its window is mapped; `env` is
        added to the desktop's environment for this start only."""
        command = [str(self.args.probe), "--name", program.title,
                   "--timeout", str(self.args.map_timeout)]
        if hold:
            command.append("--hold")
        command += ["--", str(program.path)]
        probe = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                 stderr=None if self.args.verbose else self._log,
                                 env={**self.env, **(env or {})},
                                 preexec_fn=_die_with_us, start_new_session=True)
        line = probe.stdout.readline().decode()
        words = line.split()
        if len(words) != 4 or words[0] != "mapped":
            status = probe.wait()
            probe.stdin.close()
            probe.stdout.close()
            raise BenchError(f"{program.label}: no window titled {program.title!r} was mapped "
                             f"(probe exit status {status})\n{self.log_tail()}")
        return Launch(probe, program, float(words[1]), int(words[2]), words[3])

    @contextlib.contextmanager
    def settled(self, program: Program, seconds: float) -> Iterator[Launch]:
        """`program` started with the pointer parked (after an unmeasured start, unless it had
        one) and left alone for `seconds`; stopped when the `with` ends."""
        self.warm_up(program, always=False)
        self.park_pointer()
        with self.start_up(program, hold=True) as launch:
            time.sleep(seconds)
            if not launch.alive():
                raise BenchError(f"{program.label} ended while settling\n{self.log_tail()}")
            yield launch


class Launch:
    """A program started by the probe, with the time its window took to map."""

    def __init__(self, probe: subprocess.Popen, program: Program, mapped_ms: float, pid: int,
                 window: str):
        self.probe = probe
        self.program = program
        self.mapped_ms = mapped_ms
        self.pid = pid
        self.window = window

    def __enter__(self) -> Launch:
        return self

    def __exit__(self, *_exc) -> None:
        self.stop()

    def alive(self) -> bool:
        return Path(f"/proc/{self.pid}").exists() and self.probe.poll() is None

    def stop(self) -> None:
        if self.probe.stdin and not self.probe.stdin.closed:
            try:
                self.probe.stdin.close()
            except BrokenPipeError:
                pass
        try:
            self.probe.wait(10)
        except subprocess.TimeoutExpired:
            end_process(self.probe, 3.0, terminate=True)
        if self.probe.stdout:
            self.probe.stdout.close()


# --- /proc --------------------------------------------------------------------------------------


@dataclass
class ThreadSample:
    name: str
    cpu_ns: int
    voluntary: int
    involuntary: int


@dataclass
class ProcessSample:
    at: float
    ticks: int  # utime + stime of the whole process, all threads, also those that ended
    threads: dict[int, ThreadSample] = field(default_factory=dict)


def _status_fields(path: Path) -> dict[str, str]:
    fields = {}
    for line in path.read_text().splitlines():
        key, _, value = line.partition(":")
        fields[key] = value.strip()
    return fields


def sample_process(pid: int) -> ProcessSample:
    stat = Path(f"/proc/{pid}/stat").read_text()
    # The command name may hold spaces and parentheses; the fields follow the last ')'.
    rest = stat[stat.rindex(")") + 2:].split()
    sample = ProcessSample(time.monotonic(), int(rest[11]) + int(rest[12]))
    for task in Path(f"/proc/{pid}/task").iterdir():
        try:
            status = _status_fields(task / "status")
            cpu_ns = int((task / "schedstat").read_text().split()[0])
        except (FileNotFoundError, ProcessLookupError):
            continue  # the thread ended while being read
        sample.threads[int(task.name)] = ThreadSample(
            status.get("Name", "?"), cpu_ns, int(status["voluntary_ctxt_switches"]),
            int(status["nonvoluntary_ctxt_switches"]))
    return sample


def read_memory(pid: int) -> dict[str, int]:
    """VmRSS and friends from status, Pss and the rest from smaps_rollup; all in KiB."""
    status = _status_fields(Path(f"/proc/{pid}/status"))
    memory = {"VmRSS": int(status["VmRSS"].split()[0]),
              "RssAnon": int(status["RssAnon"].split()[0]),
              "RssFile": int(status["RssFile"].split()[0])}
    rollup = Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()[1:]
    for line in rollup:
        key, _, value = line.partition(":")
        if value.strip().endswith("kB"):
            memory[key] = int(value.split()[0])
    return memory


# --- output -------------------------------------------------------------------------------------


def table(headers: list[str], rows: list[list[str]]) -> str:
    widths = [max(len(str(cell)) for cell in column) for column in zip(headers, *rows)]
    lines = ["  ".join(str(h).ljust(w) if i == 0 else str(h).rjust(w)
                       for i, (h, w) in enumerate(zip(headers, widths)))]
    lines.append("  ".join("-" * w for w in widths))
    for row in rows:
        lines.append("  ".join(str(c).ljust(w) if i == 0 else str(c).rjust(w)
                               for i, (c, w) in enumerate(zip(row, widths))))
    return "\n".join(lines)


def ratio(numerator: float, denominator: float) -> float | None:
    return numerator / denominator if denominator else None


def format_ratio(value: float | None) -> str:
    return "n/a" if value is None else f"{value:.2f}"


def median(values: list[float]) -> float:
    return statistics.median(values)


def write_json(args: argparse.Namespace, figures: dict) -> None:
    """One line of JSON on stdout, prefixed so it can be picked out of the tables, and --json."""
    print("JSON " + json.dumps(figures, sort_keys=True))
    if args.json:
        args.json.write_text(json.dumps(figures, indent=2, sort_keys=True) + "\n")


def run_main(main) -> None:
    """Runs a script's main with clean-up on signals and a short message for measurement errors."""
    exit_cleanly_on_signals()
    try:
        sys.exit(main())
    except BenchError as error:
        print(f"error: {error}", file=sys.stderr)
        sys.exit(1)
    except KeyboardInterrupt:
        print("interrupted", file=sys.stderr)
        sys.exit(130)


def run_script(script, key: str, settle: bool) -> None:
    """The whole of a single-measurement script: its arguments, one private desktop, its
    measurement, its report and its JSON under `key`."""
    def main() -> int:
        parser = argparse.ArgumentParser(description=script.__doc__.split("\n")[0])
        add_common_arguments(parser)
        if settle:
            add_settle_argument(parser)
        script.add_arguments(parser)
        args = parser.parse_args()
        script.check_arguments(parser, args)
        resolve_programs(args)
        with Desktop(args) as desktop:
            print(desktop.describe())
            figures = script.measure(desktop, args)
        script.report(figures, args)
        write_json(args, {key: figures})
        return 0

    run_main(main)
