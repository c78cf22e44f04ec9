"""Runs a Wayland client's test binary inside headless sway, as the session's unprivileged user,
and exits with its status: 77 (CTest's skip) without root.

    run_in_sway.py BINARY ARTIFACTS [ARGS...]
"""

import os
import shutil
import subprocess
import sys

import waylandtest
from sway import Sway


def main(argv):
    if len(argv) < 3:
        print(__doc__)
        return 2
    binary, artifacts, args = os.path.abspath(argv[1]), os.path.abspath(argv[2]), argv[3:]
    if os.geteuid() != 0:
        print("SKIP: needs root to run the session as another user")
        return 77
    shutil.rmtree(artifacts, ignore_errors=True)
    os.makedirs(artifacts)
    with waylandtest.Session(os.getcwd(), artifacts, "client") as session:
        sway = Sway(session).start()
        installed = session.install_binary(binary)
        env = dict(session.env, **sway.client_env())
        env.pop("DISPLAY", None)
        env["QT_QPA_PLATFORM"] = "wayland"
        result = subprocess.run(session.user_command([installed] + args), env=env,
                                cwd=session.home, stdin=subprocess.DEVNULL, timeout=240)
        return result.returncode


if __name__ == "__main__":
    sys.exit(main(sys.argv))
