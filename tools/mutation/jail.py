"""Where tests of changed code run. What was changed may signal, write and fork as nobody meant it: the jail has its own
processes, its own /tmp and /dev/shm, and bounds for memory and files, and all in it ends with the test."""

import os
import signal
import subprocess
import time

_SETUP = ('mount -t tmpfs -o size=2g tmpfs /dev/shm && '
          'case "$PWD" in /tmp/*) ;; *) mount -t tmpfs -o size=2g tmpfs /tmp ;; esac && '
          "ulimit -c 0 && ulimit -v 8000000 && "
          '"$@"\nexit $?')  # not exec: the first process of the jail would be deaf to its own signals

FAILED, PASSED, TIMED_OUT = "failed", "passed", "timed out"


def command(words):
    rights = [] if os.geteuid() == 0 else ["--map-root-user"]
    return ["setpriv", "--pdeathsig", "KILL", "unshare", *rights, "--mount", "--pid", "--fork", "--kill-child", "--mount-proc", "sh", "-c",
            _SETUP, "sh", *words]


def works():
    return run(["true"], os.getcwd(), {}, 10)[0] == PASSED


def run(words, cwd, environment, seconds):
    """How a test ended, and how long it took."""
    started = time.monotonic()
    child = subprocess.Popen(command(words), cwd=cwd, env={**os.environ, **environment}, stdin=subprocess.DEVNULL,
                             stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
    try:
        status = child.wait(seconds)
    except subprocess.TimeoutExpired:
        status = None
    finally:
        if child.poll() is None:
            os.killpg(child.pid, signal.SIGKILL)  # not waited for yet, so the number is still the child's
            child.wait()
    took = time.monotonic() - started
    return (TIMED_OUT if status is None else PASSED if status == 0 else FAILED), took
