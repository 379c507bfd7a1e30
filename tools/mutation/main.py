"""The run: from the command line to the list of those that lived."""

import collections
import dataclasses
import fcntl
import json
import os
import pathlib
import re
import shutil
import signal
import sys
import tempfile
import threading
import time

from mutation import build as building
from mutation import jail, mutants, reach, trial

# Other than the service and the settings store: what these reach of them, others reach better.
_LEFT_OUT = r"^(linux|recorder|harness|sim\.|fuzz|ctl|companion|tv_(why|run|timeline|language|front)_test)"


def _arguments(parser):
    parser.add_argument("--seed", type=int, default=1, help="the number that starts the draw (1)")
    parser.add_argument("--count", type=int, default=400, help="how many changes that count (400)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="how many are tried at once")
    parser.add_argument("--again", action="store_true", help="try those anew that lived before")
    parser.add_argument("--only", default="", help="of the drawn ones, only those whose name matches this expression")
    parser.add_argument("--budget", type=float, default=60, help="seconds that a change's tests usually take, at most (60)")
    parser.add_argument("--longest", type=float, default=20, help="leave out tests that take longer, in seconds (20)")
    parser.add_argument("--patience", type=float, default=8, help="how many times its usual time a test may take (8)")
    parser.add_argument("--left-out", default=_LEFT_OUT, help="leave out tests whose names match this expression")
    parser.add_argument("--list", action="store_true", help="only list the draw, without building anything")
    return parser


def _say(text):
    print(text, flush=True)


class Results:
    """One line of JSON for each change that was tried; the last one for a change holds. What was found on other sources, or
    of another draw, is passed over."""

    def __init__(self, path, state, drawn):
        self.path, self.state, self.found = path, state, {}
        for line in path.read_text(encoding="utf-8").splitlines() if path.exists() else []:
            try:
                entry = json.loads(line)
            except ValueError:
                continue  # the line that an interruption cut
            number = entry.pop("number")
            if entry.pop("sources") == state and number < len(drawn) and drawn[number].name == entry["name"]:
                self.found[number] = entry
        self.file = path.open("a", encoding="utf-8")
        self.lock = threading.Lock()

    def add(self, number, mutant, outcome):
        entry = {"name": mutant.name, "before": mutant.before, **dataclasses.asdict(outcome)}
        with self.lock:
            self.found[number] = entry
            self.file.write(json.dumps({"number": number, "sources": self.state, **entry}) + "\n")
            self.file.flush()


class Draw:
    """Hands out numbers of the draw, none beyond what is needed for the count."""

    def __init__(self, results, total, count):
        self.results, self.total, self.count = results, total, count
        self.next, self.busy, self.lock = 0, 0, threading.Lock()
        self.stopped = False

    def take(self):
        while not self.stopped:
            with self.lock:
                while self.next < self.total and self.next in self.results.found:
                    self.next += 1
                counted = sum(entry["end"] in trial.COUNTED for entry in self.results.found.values())
                if self.next >= self.total or counted >= self.count:
                    return None
                if counted + self.busy < self.count:
                    self.busy += 1
                    self.next += 1
                    return self.next - 1
            time.sleep(0.2)  # what is under way may not count
        return None

    def give_back(self):
        with self.lock:
            self.busy -= 1


def _work(draw, drawn, bench, results, folder, budget):
    while (number := draw.take()) is not None:
        started = time.monotonic()
        try:
            outcome = trial.run(bench, drawn[number], folder, budget)
        except Exception:
            draw.stopped = True
            raise
        outcome.seconds = round(time.monotonic() - started, 1)
        results.add(number, drawn[number], outcome)
        draw.give_back()
        if outcome.end in trial.COUNTED:
            _say(f"{number:5} {outcome.end:5} {outcome.seconds:6.1f} s  {drawn[number].name}"
                 f"{'  by ' + outcome.by if outcome.by else ''}")


def _report(results, drawn, count):
    numbers = [number for number in sorted(results.found) if results.found[number]["end"] in trial.COUNTED][:count]
    kinds = collections.defaultdict(lambda: [0, 0])
    for number in numbers:
        kinds[drawn[number].kind][results.found[number]["end"] == trial.DIED] += 1
    lived = [number for number in numbers if results.found[number]["end"] == trial.LIVED]
    ends = collections.Counter(entry["end"] for entry in results.found.values())
    late = sum(results.found[number]["how"] == jail.TIMED_OUT for number in numbers)
    _say(f"\n{len(numbers)} changes, {len(numbers) - len(lived)} died ({late} of them by a test that did not end), "
         f"{len(lived)} lived; besides, {ends[trial.NO_CODE]} did not compile and {ends[trial.SAME_CODE]} were the same code")
    for kind, (alive, dead) in sorted(kinds.items()):
        _say(f"  {kind:14} {dead:4} of {alive + dead:4} died")
    for number in lived:
        entry = results.found[number]
        _say(f"lived: #{number} {entry['name']}\n    {' '.join(entry['before'].split())[:100]!r} -> "
             f"{' '.join(entry['choice'].split())[:100]!r}; {entry['tried']} of {entry['seeing']} tests")
    return len(lived)


def _stop_in_order():
    """However it is ended, the run ends what it started."""
    def stop(number, _frame):
        raise SystemExit(128 + number)
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, stop)


def run(checkout, parser):
    options = _arguments(parser).parse_args()
    drawn = mutants.drawn(checkout, options.seed)
    if options.list:
        for number, mutant in enumerate(drawn[:options.count]):
            _say(f"{number:5} {mutant.name}")
        return 0
    _stop_in_order()
    folder = checkout / "build" / "mutate"
    folder.mkdir(parents=True, exist_ok=True)
    with (folder / "lock").open("w", encoding="utf-8") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            sys.exit(f"{folder} is in use by another run")
        if not jail.works():
            sys.exit("changed code runs in namespaces of its own, and this system gives none: run as root")
        return _run(checkout, folder, options)


def _prepare(checkout, folder, options):
    build = building.Build(checkout, folder)
    _say("building the copy")
    build.make(build.links)
    build.make_headers()
    tests = reach.listed(build, re.compile(options.left_out))
    found = reach.Reach(build, tests, options.longest)
    found.make(_say)
    for name, end in found.left_out().items():
        _say(f"left out, since it {end} without a change: {name}")
    return build, found


def _run(checkout, folder, options):
    build, found = _prepare(checkout, folder, options)
    drawn = mutants.drawn(build.tree, options.seed)
    results = Results(folder / f"seed-{options.seed}.jsonl", building.areas(build.tree), drawn)
    only = re.compile(options.only)
    if options.again:
        for number, entry in list(results.found.items()):
            if entry["end"] == trial.LIVED and only.search(entry["name"]):
                del results.found[number]
    bench = trial.Bench(build, found, options.patience)
    draw = Draw(results, len(drawn), options.count)
    for left in folder.glob("work-*"):  # of a run that was killed
        shutil.rmtree(left)
    with tempfile.TemporaryDirectory(prefix="work-", dir=folder) as top:
        workers = []
        for job in range(options.jobs):
            own = pathlib.Path(top) / str(job)
            own.mkdir()
            workers.append(threading.Thread(target=_work, daemon=True,
                                            args=(draw, drawn, bench, results, own, options.budget)))
        try:
            for worker in workers:
                worker.start()
            for worker in workers:
                while worker.is_alive():
                    worker.join(0.5)
        finally:
            draw.stopped = True
            for worker in workers:
                worker.join()
    return 1 if _report(results, drawn, options.count) else 0
