#!/usr/bin/env python3
"""Changes the service, one line at a time, and looks whether a replay of what was recorded before names the step.

usage: name_changes.py TV [NUMBER...]

TV is vyrel-tv as it was built. All scenarios are recorded with it; then a copy of the checkout is built with each change
of changes.toml (or those with these numbers, from 1), and everything is replayed with that. A change passes when at least
one life shows a difference, and each that does has the expected step as the first. Takes some minutes.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import tomllib

HERE = pathlib.Path(__file__).resolve().parent
CHECKOUT = HERE.parents[1]
DIFFERENCE = re.compile(r"the first difference is at (\S+) .*\n  recorded  (.*)\n  now       (.*)\n")


def record(tv, folder):
    """All lives of all scenarios."""
    for scenario in sorted((CHECKOUT / "scenarios").glob("*.tv")):
        subprocess.run([tv, "run", "--quiet", scenario], check=True,
                       env={**os.environ, "VYREL_RECORDING": str(folder / scenario.stem)})
    return sorted(folder.iterdir())


def copy_checkout(to):
    kept = subprocess.run(["git", "-C", CHECKOUT, "ls-files", "-co", "--exclude-standard"], check=True,
                          capture_output=True, text=True).stdout.split()
    for name in kept:
        if (CHECKOUT / name).is_file():
            (to / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(CHECKOUT / name, to / name)


def build(checkout):
    """The program that replays, of the checkout as it is now."""
    if not (checkout / "build").exists():
        subprocess.run(["cmake", "--preset", "debug", "-S", checkout], check=True, cwd=checkout,
                       stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", checkout / "build" / "debug", "--target", "vyrel-replay"], check=True,
                   stdout=subprocess.DEVNULL)
    return checkout / "build" / "debug" / "tools" / "tv" / "replay" / "vyrel-replay"


def differences(replay, recordings):
    """What each life differs in: its name, the instant, what was recorded, what is now."""
    found = []
    for recording in recordings:
        result = subprocess.run([replay, recording], capture_output=True, text=True, check=False)
        difference = DIFFERENCE.search(result.stdout)
        if difference:
            found.append((recording.name, *difference.groups()))
        elif result.returncode != 0:
            found.append((recording.name, "?", result.stdout, result.stderr))
    return found


def changed(source, change):
    text = source.read_text(encoding="utf-8")
    if text.count(change["line"]) != 1:
        sys.exit(f"{change['file']}: {change['line']!r} stands there {text.count(change['line'])} times")
    source.write_text(text.replace(change["line"], change["becomes"]), encoding="utf-8")
    return text


def is_named(change, found):
    return bool(found) and all(re.search(change["recorded"], recorded) and re.search(change["now"], now)
                               for _, _, recorded, now in found)


def main(tv, numbers):
    with open(HERE / "changes.toml", "rb") as file:
        changes = tomllib.load(file)["change"]
    numbers = [int(number) for number in numbers] or range(1, len(changes) + 1)
    with tempfile.TemporaryDirectory() as folder:
        top = pathlib.Path(folder)
        (top / "recordings").mkdir()
        recordings = [path for path in record(tv, top / "recordings")]
        copy_checkout(top / "checkout")
        unchanged = differences(build(top / "checkout"), recordings)
        print(f"unchanged: {len(unchanged)} differences in {len(recordings)} lives", flush=True)
        missed = len(unchanged)
        for number in numbers:
            change = changes[number - 1]
            source = top / "checkout" / change["file"]
            before = changed(source, change)
            found = differences(build(top / "checkout"), recordings)
            source.write_text(before, encoding="utf-8")
            well = is_named(change, found)
            missed += not well
            print(f"{number:2} {'named in' if well else 'NOT NAMED:'} {len(found)} lives: {change['becomes'].strip()}")
            for name, instant, recorded, now in found[:1 if well else 5]:
                print(f"     {name} at {instant}\n       recorded {recorded[:150]}\n       now      {now[:150]}")
            sys.stdout.flush()
    return missed


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(1 if main(sys.argv[1], sys.argv[2:]) else 0)
