"""One mutant tried: compiled, compared, linked into the programs whose tests can see it, and tested until one fails."""

import collections
import dataclasses
import pathlib
import threading

from mutation import jail

DIED, LIVED, NO_CODE, SAME_CODE = "died", "lived", "does not compile", "same code"
COUNTED = (DIED, LIVED)


@dataclasses.dataclass
class Outcome:
    end: str
    by: str = ""       # the test that failed
    how: str = ""      # failed or timed out
    choice: str = ""   # what was put in
    tried: int = 0     # how many tests ran
    seeing: int = 0    # how many can see it
    seconds: float = 0.0


class Bench:
    """What trials share: the originals' objects, and which tests were the telling ones so far."""

    def __init__(self, build, reach, patience):
        self.build, self.reach, self.patience = build, reach, patience
        self.texts, self.objects, self.optimized = {}, {}, {}
        self.kills = collections.Counter()
        self.lock = threading.Lock()

    def text(self, source):
        if source not in self.texts:
            self.texts[source] = (self.build.tree / source).read_text(encoding="utf-8")
        return self.texts[source]

    def original(self, source, folder):
        """The object of the unchanged source, compiled as the changed ones are."""
        if source not in self.objects:
            made = self.build.compile(source, self.text(source), folder)
            self.objects[source] = made.read_bytes() if made else b""
        return self.objects[source]

    def is_same_optimized(self, source, changed, folder):
        """Whether the optimizer makes the same of the changed text as of the source."""
        if source not in self.optimized:
            self.optimized[source] = self.build.optimized(source, self.text(source), folder)
        return self.build.optimized(source, changed, folder) == self.optimized[source]

    def sees(self, program, test):
        """Whether the test fails on this program, and how. One that does not end has seen something only when it ends with
        the unchanged program now, on a system that is as busy: else it gets more time."""
        limit = self.patience * test.seconds + 10
        while True:
            how, _ = jail.run([str(program), *test.words[1:]], test.cwd, dict(test.environment), limit)
            if how != jail.TIMED_OUT:
                return how
            usual, _ = jail.run(test.words, test.cwd, dict(test.environment), limit / 2)
            if usual == jail.PASSED:
                return how
            limit *= 2

    def ordered(self, mutant):
        """The tests that can see it, those first that cost little and see little else, most of it near the change, or that told
        of this source before; those of one program together, since each program is linked for itself."""
        names = self.reach.tests_of(mutant, self.text(mutant.file))
        with self.lock:
            worth = {name: self._cost(mutant.file, self.reach.tests[name]) for name in names}
        programs = collections.defaultdict(list)
        for name in sorted(names, key=lambda name: (worth[name], name)):
            programs[self.reach.tests[name].program].append(name)
        return sorted(programs.items(), key=lambda item: worth[item[1][0]])

    def _cost(self, source, test):
        near = test.own.get(self.build.area(source), 0.01)
        return (test.seconds + 0.05) * (test.lines + 20) / near**2 / (1 + self.kills[source, test.name])

    def count_kill(self, source, name):
        with self.lock:
            self.kills[source, name] += 1


def _compile(bench, mutant, folder):
    text = bench.text(mutant.file)
    original = bench.original(mutant.file, folder)
    for choice in mutant.choices:
        changed = mutant.applied(text, choice)
        made = bench.build.compile(mutant.file, changed, folder)
        if made:
            return choice, changed, made, made.read_bytes() == original
    return "", "", None, False


def run(bench, mutant, folder, budget):
    """Tries the mutant in this folder, which only this call uses; `budget` bounds the tests' usual seconds, in all."""
    choice, changed, made, same = _compile(bench, mutant, folder)
    if not made:
        return Outcome(NO_CODE)
    if same:
        return Outcome(SAME_CODE, choice=choice)
    outcome = Outcome(LIVED, choice=choice)
    programs = bench.ordered(mutant)
    outcome.seeing = sum(len(names) for _, names in programs)
    for program, names in programs:
        if budget <= 0:
            break
        to = folder / pathlib.Path(program).name
        if not bench.build.link(program, mutant.file, made, to):
            continue
        for name in names:
            test = bench.reach.tests[name]
            if budget <= 0:
                break
            budget -= test.seconds
            outcome.tried += 1
            how = bench.sees(to, test)
            if how != jail.PASSED:
                bench.count_kill(mutant.file, name)
                outcome.end, outcome.by, outcome.how = DIED, name, how
                break
        to.unlink()
        if outcome.end == DIED:
            return outcome
    if bench.is_same_optimized(mutant.file, changed, folder):
        outcome.end = SAME_CODE
    return outcome
