#!/usr/bin/python3
"""What a screen reader learns of the open panel, read through AT-SPI as Orca would.

Starts a private session bus, the accessibility bus (at-spi-bus-launcher) on it, and the real
app on the X server in $DISPLAY with a scratch home, config and vault whose board has a card in
each lane; opens the panel with `tallowfern --open`, then reads the app's accessible tree with
pyatspi and checks roles, names and states: each card's round button names its card and reports
unchecked, mixed (under way) or checked; each arrow button names its card and where it goes; the
lanes and the tab buttons are named; no button, check box or tab is nameless.

Usage: atspi_tree.py --app BUILD/tallowfern --bus-config tests/session-bus.conf
Exit status 0 when every check holds, 1 otherwise (the tree as read is printed), 77 when the
accessibility bus cannot be started here.
"""

import argparse
import datetime
import os
import shutil
import subprocess
import sys
import tempfile
import time

SKIP = 77


def wait_until(what, check, timeout=20.0, step=0.1):
    """Polls `check` until it gives something true; that, or an error naming `what`."""
    deadline = time.monotonic() + timeout
    while True:
        found = check()
        if found:
            return found
        if time.monotonic() > deadline:
            raise TimeoutError(f"timed out waiting for {what}")
        time.sleep(step)


def name_has_owner(name):
    result = subprocess.run(
        ["dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus",
         "/org/freedesktop/DBus", "org.freedesktop.DBus.NameHasOwner", f"string:{name}"],
        capture_output=True, text=True, check=False)
    return result.returncode == 0 and "boolean true" in result.stdout


def scratch_environment(root):
    env = dict(os.environ)
    for name in ("home", "config", "state", "data", "cache", "runtime", "vault"):
        os.makedirs(os.path.join(root, name), mode=0o700, exist_ok=True)
    env.update({
        "HOME": os.path.join(root, "home"),
        "XDG_CONFIG_HOME": os.path.join(root, "config"),
        "XDG_STATE_HOME": os.path.join(root, "state"),
        "XDG_DATA_HOME": os.path.join(root, "data"),
        "XDG_CACHE_HOME": os.path.join(root, "cache"),
        "XDG_RUNTIME_DIR": os.path.join(root, "runtime"),
        "TALLOWFERN_VAULT": os.path.join(root, "vault"),
        "QT_QPA_PLATFORM": "xcb",
        "QT_QUICK_BACKEND": "software",
        "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
        "QT_ACCESSIBILITY": "1",
        "NO_AT_BRIDGE": "0",
    })
    for name in ("WAYLAND_DISPLAY", "XDG_SESSION_TYPE", "XDG_CURRENT_DESKTOP"):
        env.pop(name, None)
    return env


def write_board(vault):
    boards = os.path.join(vault, "01 Journal", "Boards")
    os.makedirs(boards, exist_ok=True)
    today = datetime.date.today().isoformat()
    with open(os.path.join(boards, today + ".md"), "w", encoding="utf-8") as board:
        board.write("---\n\nkanban-plugin: board\n\n---\n\n"
                    "## To do\n\n- [ ] Buy milk\n\n"
                    "## Doing\n\n- [ ] Paint the shed\n\n"
                    "## Done\n\n**Complete**\n- [x] Call Sam\n\n"
                    "%% kanban:settings\n```\n{\"kanban-plugin\":\"board\"}\n```\n%%\n")


def walk(accessible, depth=0, out=None, limit=4000):
    """Every accessible under `accessible` as (depth, role, name, states)."""
    import pyatspi
    if out is None:
        out = []
    if accessible is None or len(out) >= limit:
        return out
    try:
        role = accessible.getRoleName()
        name = accessible.name or ""
        states = {pyatspi.stateToString(s) for s in accessible.getState().getStates()}
        count = accessible.childCount
    except Exception:  # an object that went away while being read
        return out
    out.append((depth, role, name, states))
    for i in range(count):
        try:
            child = accessible.getChildAtIndex(i)
        except Exception:
            continue
        walk(child, depth + 1, out, limit)
    return out


def find_app(pyatspi):
    desktop = pyatspi.Registry.getDesktop(0)
    for i in range(desktop.childCount):
        app = desktop.getChildAtIndex(i)
        if app is not None and "tallowfern" in (app.name or "").lower():
            return app
    return None


def check(nodes):
    """The failures, one line each."""
    failures = []

    def find(role, name):
        return [n for n in nodes if n[1] == role and n[2] == name]

    def expect(role, name, has=(), lacks=()):
        found = find(role, name)
        if not found:
            failures.append(f"no {role} named {name!r}")
            return
        states = found[0][3]
        for state in has:
            if state not in states:
                failures.append(f"{role} {name!r} is not {state}: {sorted(states)}")
        for state in lacks:
            if state in states:
                failures.append(f"{role} {name!r} is {state}: {sorted(states)}")

    expect("check box", "Mark “Buy milk” done", lacks=("checked", "indeterminate"))
    expect("check box", "Mark “Paint the shed” done", has=("indeterminate",), lacks=("checked",))
    expect("check box", "Move “Call Sam” back to To do", has=("checked",))
    expect("push button", "Move “Buy milk” to Doing")
    expect("push button", "Move “Paint the shed” to Done")
    expect("page tab", "Board", has=("selected",))
    expect("page tab", "Notes", lacks=("selected",))
    for lane in ("To do, 1 card", "Doing, 1 card", "Done, 1 card"):
        if not any(n[2] == lane for n in nodes):
            failures.append(f"no lane named {lane!r}")
    for depth, role, name, states in nodes:
        if role in ("push button", "check box", "page tab", "toggle button", "radio button") \
                and not name.strip():
            failures.append(f"a nameless {role} at depth {depth}: {sorted(states)}")
    return failures


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--app", required=True)
    parser.add_argument("--bus-config", required=True)
    parser.add_argument("--timeout", type=float, default=30.0)
    parser.add_argument("--verbose", action="store_true", help="print the tree when it passes too")
    args = parser.parse_args()

    launcher = shutil.which("at-spi-bus-launcher") or "/usr/libexec/at-spi-bus-launcher"
    if not os.access(launcher, os.X_OK):
        print("at-spi-bus-launcher is missing (at-spi2-core)")
        return SKIP
    if "DISPLAY" not in os.environ:
        print("no X server in $DISPLAY")
        return SKIP

    root = tempfile.mkdtemp(prefix="tallowfern-atspi-")
    processes = []
    try:
        bus = subprocess.Popen(["dbus-daemon", f"--config-file={args.bus_config}", "--nofork",
                                "--print-address=1"], stdout=subprocess.PIPE, text=True)
        processes.append(bus)
        address = bus.stdout.readline().strip()
        if not address:
            print("the private session bus did not start")
            return 1
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = address
        env = scratch_environment(root)
        env["DBUS_SESSION_BUS_ADDRESS"] = address
        write_board(env["TALLOWFERN_VAULT"])

        a11y = subprocess.Popen([launcher, "--launch-immediately"], env=env,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        processes.append(a11y)
        try:
            wait_until("the accessibility bus", lambda: name_has_owner("org.a11y.Bus"))
        except TimeoutError:
            print("the accessibility bus did not start")
            return SKIP

        log = open(os.path.join(root, "app.log"), "w", encoding="utf-8")
        app = subprocess.Popen([args.app], env=env, stdout=log, stderr=subprocess.STDOUT)
        processes.append(app)

        def opened():
            result = subprocess.run([args.app, "--open"], env=env, capture_output=True,
                                    check=False)
            return result.returncode == 0

        wait_until("the app to answer --open", opened, timeout=args.timeout, step=0.2)

        # Imported only now: it reaches the accessibility bus through the session bus.
        import pyatspi

        nodes = []

        def press_board_tab(accessible):
            """The first run opens on Settings: the Board tab is pressed as Orca would."""
            if accessible is None:
                return
            if accessible.getRoleName() == "page tab" and accessible.name == "Board":
                action = accessible.queryAction()
                for i in range(action.nActions):
                    if action.getName(i) in ("press", "click", "activate", "Press"):
                        action.doAction(i)
                        return
                action.doAction(0)
                return
            for i in range(accessible.childCount):
                press_board_tab(accessible.getChildAtIndex(i))

        def complete():
            nonlocal nodes
            target = find_app(pyatspi)
            if target is None:
                return False
            nodes = walk(target)
            if any(n[1] == "page tab" and n[2] == "Board" and "selected" not in n[3]
                   for n in nodes):
                press_board_tab(target)
                return False
            return not check(nodes)

        try:
            wait_until("the open panel's accessible tree", complete, timeout=args.timeout,
                       step=0.5)
        except TimeoutError:
            pass
        failures = check(nodes) if nodes else ["the app never showed up on the accessibility bus"]
        if failures:
            print("FAIL")
            for failure in failures:
                print("  " + failure)
            print("The tree as read:")
            for depth, role, name, states in nodes:
                print(f"{'  ' * depth}{role}: {name!r} {sorted(states)}")
            log.flush()
            with open(os.path.join(root, "app.log"), encoding="utf-8", errors="replace") as f:
                print("The app's output:\n" + f.read()[-4000:])
            return 1
        if args.verbose:
            for depth, role, name, states in nodes:
                print(f"{'  ' * depth}{role}: {name!r} {sorted(states)}")
        print(f"PASS: {len(nodes)} accessible objects read, every check holds")
        return 0
    finally:
        for process in reversed(processes):
            if process.poll() is None:
                process.terminate()
                try:
                    process.wait(timeout=5)
                except subprocess.TimeoutExpired:
                    process.kill()
        shutil.rmtree(root, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
