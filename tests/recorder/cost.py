"""What recording costs: the instructions of the process with the service while an evening is told, with and without it.

usage: cost.py VYREL_TV SCENARIO

Counted by callgrind, which no other load on the machine changes, from the process's start to its end, of the first life
in the scenario. Exit status 1 when recording takes more than MOST. ./bench has a row of it.
"""

import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile

MOST = 1.05
CONFIGURATION = """<busconfig><type>system</type><listen>unix:path={}/bus</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*" eavesdrop="true"/>
<allow send_type="method_call"/><allow send_type="signal"/><allow receive_sender="*"/></policy></busconfig>"""


def of_the_set(scenario):
    """The lines that the set's process carries out, to the end of its first life."""
    for line in pathlib.Path(scenario).read_text(encoding="utf-8").splitlines():
        word = line.split(" ")[0]
        if word == "unplug":
            break
        if line.strip() and not line.startswith("#") and word not in ("expect", "story", "within", "save"):
            yield line
    yield "unplug"


def drive(lines, end):
    with end, end.makefile("rw", encoding="utf-8") as stream:
        for line in lines:
            stream.write(line + "\n")
            stream.flush()
            for answer in stream:
                if answer.startswith('{"done"'):
                    break


def instructions(program, lines):
    """Of one life; the recorder's own process, which another processor takes, is not in it."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "set").mkdir()
        (folder / "bus.conf").write_text(CONFIGURATION.format(folder), encoding="utf-8")
        bus = subprocess.Popen(["dbus-daemon", f"--config-file={folder}/bus.conf", "--nofork", "--print-address"],
                               stdout=subprocess.PIPE, text=True)
        try:
            address = bus.stdout.readline().strip()
            mine, other = socket.socketpair()
            lines = [line.replace("@", str(folder)) for line in lines]
            with other:
                counted = subprocess.Popen(
                    ["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/out.%p", program, "--set-process",
                     str(other.fileno()), str(folder / "set"), "0", "0"],
                    pass_fds=[other.fileno()], stderr=subprocess.DEVNULL,
                    env={**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": address})
            drive(lines, mine)
            counted.wait(timeout=120)
            text = (folder / f"out.{counted.pid}").read_text(encoding="utf-8")
        finally:
            bus.send_signal(signal.SIGTERM)
            bus.wait()
        size = sum(path.stat().st_size for path in folder.glob("recording*"))
        return int(re.search(r"^totals: (\d+)", text, flags=re.M)[1]), size


def figures(program, scenario):
    """Instructions without a recording, with one, and the bytes of the recording."""
    lines = list(of_the_set(scenario))
    without, _ = instructions(program, lines)
    return without, *instructions(program, ["record @/recording", *lines])


def main(program, scenario):
    without, recorded, size = figures(program, scenario)
    ratio = recorded / without
    print(f"{without / 1e6:.1f} M instructions, recorded {recorded / 1e6:.1f} M: {ratio:.3f}; {size} bytes on the disk")
    return 0 if ratio <= MOST and size > 0 else 1


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
