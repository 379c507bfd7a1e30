"""Keeps a browser: starts its driver, and when the standard input ends, whatever the reason, ends all that came of it
and removes its folder. Run as a program: keeper.py DRIVER; it says the driver's port."""

import ctypes
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile

PR_SET_CHILD_SUBREAPER = 36


def children():
    """Those of this process, orphans of theirs included."""
    with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as listed:
        return [int(pid) for pid in listed.read().split()]


def end_all():
    """Each round ends the children; theirs become ours."""
    while found := children():
        for pid in found:
            os.kill(pid, signal.SIGKILL)  # a child of ours that nobody else waits for, so the id is still its own
        for pid in found:
            os.waitpid(pid, 0)


def main():
    if ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        sys.exit("keeper: orphans cannot be adopted")
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(1))
    folder = tempfile.mkdtemp(prefix="desk-browser-")
    try:
        os.mkdir(os.path.join(folder, "tmp"))
        driver = subprocess.Popen(
            [sys.argv[1], "--port=0"],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            env={**os.environ, "HOME": folder, "TMPDIR": os.path.join(folder, "tmp"), "DBUS_SESSION_BUS_ADDRESS": "disabled:"},
        )
        for line in driver.stdout:
            started = re.search(rb"on port (\d+)", line)
            if started and int(started[1]) > 0:
                print(int(started[1]), folder, flush=True)
                sys.stdin.read()
                return
        sys.exit("keeper: the driver of the browser did not start")
    finally:
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            signal.signal(number, signal.SIG_IGN)
        end_all()
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
