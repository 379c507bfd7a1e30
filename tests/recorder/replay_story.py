#!/usr/bin/env python3
"""Records the lives of the service in a scenario, and replays each of them.

usage: replay_story.py TV SCENARIO

No life may differ from itself, each is replayed to its end, and nothing but the recordings is left.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

NO_DIFFERENCE = re.compile(r"(.*): no difference in (\d+) records(, .* long|, until .* where the recording ends)")


def written(folder, count):
    """The recordings of so many lives. Each is written by a process of its own, which may be late."""
    end = time.monotonic() + 30
    while time.monotonic() < end:
        lives = sorted(folder.iterdir())
        if len(lives) >= count and all(life.stat().st_size > 0 for life in lives):
            break
        time.sleep(0.01)
    return lives


def main(tv, scenario):
    with tempfile.TemporaryDirectory() as folder:
        recording = pathlib.Path(folder) / "recording"
        environment = {**os.environ, "VYREL_RECORDING": str(recording)}
        subprocess.run([tv, "run", "--quiet", scenario], check=True, env=environment)
        plugs = sum(line.split("#")[0].split()[:1] == ["plug"]
                    for line in pathlib.Path(scenario).read_text(encoding="utf-8").splitlines())
        lives = written(recording.parent, plugs)
        if len(lives) != plugs:
            sys.exit(f"{len(lives)} lives were recorded, and the set is plugged in {plugs} times")
        replay = subprocess.run([tv, "replay", *lives], capture_output=True, text=True, check=False)
        print(replay.stdout, replay.stderr, sep="", end="")
        told = [NO_DIFFERENCE.fullmatch(line) for line in replay.stdout.splitlines()]
        if replay.returncode != 0 or replay.stderr or not all(told):
            sys.exit("it is not the same")
        # A life has hundreds of records before its loop runs.
        if [line[1] for line in told] != [str(life) for life in lives] or any(int(line[2]) < 100 for line in told):
            sys.exit("not all that was recorded was replayed")
        if sorted(recording.parent.iterdir()) != lives:
            sys.exit("the replay left something behind")
    return 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
